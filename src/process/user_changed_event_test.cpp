#include "process/user_changed_event.h"

#include "platform/environment.h"

#include <gtest/gtest.h>

namespace {

TEST(UserChangedEventTest, ATestNamespaceIsAppendedAsOneSafeWord) {
    const struct {
        const wchar_t* space; // null: unset
        const wchar_t* name;
    } cases[] = {
        {nullptr, L"Global\\{D05A3E6C-81F7-4C29-B6E3-5A17F2C94D08}"},
        {L"", L"Global\\{D05A3E6C-81F7-4C29-B6E3-5A17F2C94D08}"},
        {L"run-7_a", L"Global\\{D05A3E6C-81F7-4C29-B6E3-5A17F2C94D08}.run-7_a"},
        {L"a\\b/c d.\u00e9", L"Global\\{D05A3E6C-81F7-4C29-B6E3-5A17F2C94D08}.a_b_c_d__"},
    };
    for (const auto& c : cases) {
        platform::WriteEnvironmentVariable(process::kEventNamespaceVariable, c.space);
        EXPECT_EQ(process::UserChangedEventName(), c.name);
    }
    platform::WriteEnvironmentVariable(process::kEventNamespaceVariable, nullptr);
}

} // namespace
