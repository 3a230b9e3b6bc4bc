// The agent module as a host sees it: loaded by name, reached through its factory exports.
#include "nexilo/exports.h"
#include "nexilo/nexilo_agent_interface.h"
#include "platform/error_codes.h"
#include "platform/module_loader.h"

#include <gtest/gtest.h>

namespace {

TEST(ModuleExportsTest, TheFactoryRefusesUnknownNamesWithNotFound) {
    platform::ModuleResult loaded = platform::LoadModule(L"NexiloAgent.dll");
    ASSERT_TRUE(loaded.module) << loaded.error;
    auto create = reinterpret_cast<CvCreateObjectFn>(
        platform::FindExport(loaded.module.get(), kCvCreateObjectName).address);
    auto destroy = reinterpret_cast<CvDestroyObjectFn>(
        platform::FindExport(loaded.module.get(), kCvDestroyObjectName).address);
    ASSERT_NE(create, nullptr);
    ASSERT_NE(destroy, nullptr);

    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(create(L"Nexilo.NoSuchClass", kIidNexiloAgent, &object), platform::kErrorNotFound);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(create(L"Nexilo.NoSuchClass", kIidNexiloAgent, nullptr),
              platform::kErrorInvalidParameter);
    destroy(L"Nexilo.NoSuchClass", nullptr); // ignored in silence
}

} // namespace
