#include "frame/exported_object_declaration.h"
#include "frame/object_registry.h"
#include "platform/error_codes.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

int g_alive = 0;
bool g_throwOnConstruction = false;

// Classes told apart by the last word of their identifier.
template <std::uint32_t Tag>
class Thing : public ICvBaseInterface {
public:
    static constexpr CvIid kIid{{1, 2, 3, Tag}};
    explicit Thing(int given = 0) : given(given) {
        if (g_throwOnConstruction) {
            throw std::runtime_error("refused");
        }
        ++g_alive;
    }
    virtual ~Thing() { --g_alive; }
    void* QueryInterface(CvIid iid) override {
        return iid == kIidCvBaseInterface || iid == kIid ? this : nullptr;
    }
    int given;
};
using Widget = Thing<1>;
using Gadget = Thing<2>;

class ObjectRegistryTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_alive = 0;
        g_throwOnConstruction = false;
    }
    void TearDown() override {
        EXPECT_EQ(g_alive, 0);
        EXPECT_EQ(g_objectRegistryHolder.Holders(), 0) << "this program declares nothing static";
        EXPECT_EQ(g_objectRegistryHolder.Instance(), nullptr);
    }
};

TEST_F(ObjectRegistryTest, UnknownNamesAndRefusedIdentifiersLeaveNothingBehind) {
    void* object = nullptr;
    // Without declarations a call makes a registry for itself and drops it again.
    EXPECT_EQ(CreateExportedObject(L"Test.Widget", Widget::kIid, &object),
              platform::kErrorNotFound);
    EXPECT_EQ(g_objectRegistryHolder.Instance(), nullptr);
    ExportedObjectDeclaration<Widget> declaration(L"Test.Widget");
    const std::pair<const wchar_t*, CvIid> refused[] = {
        {L"Test.Nothing", Widget::kIid}, {nullptr, Widget::kIid}, {L"Test.Widget", Gadget::kIid}};
    for (const auto& [name, iid] : refused) {
        object = reinterpret_cast<void*>(1);
        EXPECT_EQ(CreateExportedObject(name, iid, &object), platform::kErrorNotFound);
        EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(g_alive, 0) << "the refused object was destroyed";
    EXPECT_EQ(CreateExportedObject(L"Test.Widget", Widget::kIid, nullptr),
              platform::kErrorInvalidParameter);
    // A constructor's exception leaves through the call, and the registry stays usable.
    g_throwOnConstruction = true;
    EXPECT_THROW(CreateExportedObject(L"Test.Widget", Widget::kIid, &object), std::runtime_error);
    g_throwOnConstruction = false;
    ASSERT_EQ(CreateExportedObject(L"Test.Widget", Widget::kIid, &object), 0u);
    DestroyExportedObject(L"Test.Widget", static_cast<Widget*>(object));
}

TEST_F(ObjectRegistryTest, DestroysOnlyByTheNameOfTheObjectsClass) {
    ExportedObjectDeclaration<Widget> widgets(L"Test.Widget");
    ExportedObjectDeclaration<Gadget> gadgets(L"Test.Gadget");
    void* widget = nullptr;
    void* gadget = nullptr;
    ASSERT_EQ(CreateExportedObject(L"Test.Widget", kIidCvBaseInterface, &widget), 0u);
    ASSERT_EQ(CreateExportedObject(L"Test.Gadget", kIidCvBaseInterface, &gadget), 0u);
    auto* widgetBase = static_cast<ICvBaseInterface*>(widget);
    auto* gadgetBase = static_cast<ICvBaseInterface*>(gadget);
    DestroyExportedObject(L"Test.Unknown", widgetBase);
    DestroyExportedObject(L"Test.Widget", gadgetBase);
    EXPECT_EQ(g_alive, 2);
    DestroyExportedObject(L"Test.Widget", widgetBase);
    DestroyExportedObject(L"Test.Gadget", gadgetBase);
    EXPECT_EQ(g_alive, 0);
}

TEST_F(ObjectRegistryTest, TheFirstDeclarationOfANameStaysAndEachHoldsTheRegistry) {
    ExportedObjectDeclaration<Widget> first(L"Test.Shared");
    void* object = nullptr;
    {
        ExportedObjectDeclaration<Gadget> second(L"Test.Shared");
        EXPECT_EQ(g_objectRegistryHolder.Count(), 2) << "one reference per declaration";
        ASSERT_EQ(CreateExportedObject(L"Test.Shared", Widget::kIid, &object), 0u);
        EXPECT_EQ(g_objectRegistryHolder.Count(), 2) << "a call holds it only for its length";
        DestroyExportedObject(L"Test.Shared", static_cast<Widget*>(object));
        EXPECT_EQ(CreateExportedObject(L"Test.Shared", Gadget::kIid, &object),
                  platform::kErrorNotFound);
    }
    // Unloading a declaration erases every entry of its name, the first one's too.
    EXPECT_EQ(g_objectRegistryHolder.Count(), 1);
    EXPECT_EQ(CreateExportedObject(L"Test.Shared", Widget::kIid, &object),
              platform::kErrorNotFound);
}

TEST_F(ObjectRegistryTest, ADeclarationMayConstructItsObjectsWithWhatItIsGiven) {
    ExportedObjectDeclaration<Widget> declaration(
        L"Test.Widget", [](void* memory) { return new (memory) Widget(42); });
    void* object = nullptr;
    ASSERT_EQ(CreateExportedObject(L"Test.Widget", Widget::kIid, &object), 0u);
    EXPECT_EQ(static_cast<Widget*>(object)->given, 42);
    DestroyExportedObject(L"Test.Widget", static_cast<Widget*>(object));
}

} // namespace
