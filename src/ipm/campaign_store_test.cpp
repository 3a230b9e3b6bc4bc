#include "ipm/ipm.h"

#include "diag/testing/recording_log_sink.h"
#include "frame/testing/fake_settings.h"
#include "ipm/testing/fake_ipm_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using frame_testing::FakeSettings;
using frame_testing::FakeSettingsNode;
using ipm_testing::FakeIpmHost;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

cv::Value Campaign(double width, double height, double validity, double displayCount) {
    cv::Value campaign(cv::Value::Type::kDict);
    campaign[L"url"] = L"https://example.test/page.html";
    campaign[L"width"] = width;
    campaign[L"height"] = height;
    campaign[L"validity"] = validity;
    campaign[L"display_count"] = displayCount;
    return campaign;
}

std::wstring Current(const Ipm& ipm) {
    cv::Value campaign(L"untouched");
    ipm.GetCurrentCampaign(campaign);
    return campaign.ToString().GetString();
}

class CampaignStoreTest : public testing::Test {
protected:
    CampaignStoreTest() { m_host.settings = &m_settings; }

    FakeSettingsNode& Node() { return m_settings.nodes[L"/Ipm"]; }
    std::vector<std::wstring> Logged() const { return m_host.log.Texts(); }

    FakeSettings m_settings;
    FakeIpmHost m_host;
};

TEST_F(CampaignStoreTest, TheCampaignAndTheFlagSurviveARestartWithNumbersCutTowardZero) {
    {
        Ipm ipm(&m_host);
        ipm.Init();
        EXPECT_EQ(Current(ipm), L"{  }") << "a first run leaves an empty dictionary";
        EXPECT_THAT(Logged(), Contains(L"16|Ipm::_LoadCampaignFromDisk|no campaign found"));
        ipm.UpdateCurrentCampaign(Campaign(738.9, -1.5, 4102444800123.0, 2.9));
        ipm.SetState(false);
        ipm._UninitPush();
    }
    EXPECT_EQ(Node().strings[L"url"], L"https://example.test/page.html");
    EXPECT_EQ(Node().ints[L"width"], 738);
    EXPECT_EQ(Node().ints[L"height"], -1);
    EXPECT_EQ(Node().int64s[L"validity"], 4102444800123);
    EXPECT_EQ(Node().ints[L"display_count"], 2);
    EXPECT_FALSE(Node().bools[L"state"]);
    EXPECT_THAT(Logged(), Contains(HasSubstr(L"16|Ipm::_SaveCampaignToDisk|Saved campaign {")));
    EXPECT_THAT(Logged(), Contains(HasSubstr(L"validity 4102444800123")));

    m_host.log.Clear();
    Ipm restarted(&m_host);
    EXPECT_TRUE(restarted.State());
    restarted.Init();
    EXPECT_FALSE(restarted.State());
    cv::Value loaded;
    restarted.GetCurrentCampaign(loaded);
    EXPECT_EQ(loaded.At(L"width").AsNumber(), 738.0);
    EXPECT_EQ(loaded.At(L"validity").AsNumber(), 4102444800123.0);
    EXPECT_EQ(loaded.At(L"display_count").AsNumber(), 2.0);
    EXPECT_THAT(Logged(), Contains(L"16|Ipm::_LoadStateFromDisk|loaded state 0"));
    EXPECT_THAT(Logged(), Contains(HasSubstr(L"|Ipm::_LoadCampaignFromDisk|loaded campaign {")));
    EXPECT_TRUE(m_settings.Balanced());
    restarted._UninitPush();
}

TEST_F(CampaignStoreTest, ANodeWithoutAllFiveKeysIsNoCampaignAndKeepsItsKeys) {
    Node().strings[L"url"] = L"u";
    Node().ints[L"width"] = 1;
    Node().ints[L"height"] = 2;
    Node().int64s[L"validity"] = 3;
    // display_count stored as the wrong type counts as missing.
    Node().int64s[L"display_count"] = 4;
    Ipm ipm(&m_host);
    ipm.Init();
    EXPECT_EQ(Current(ipm), L"{  }");
    EXPECT_THAT(Logged(), Contains(L"16|Ipm::_LoadCampaignFromDisk|no campaign found"));
    EXPECT_EQ(Node().ints.size(), 2u);
    EXPECT_TRUE(ipm.State()) << "no state key keeps the flag";
    ipm._UninitPush();
    EXPECT_THAT(Logged(), Not(Contains(HasSubstr(L"loaded state"))));
}

// Each row starts from a stored campaign and updates it with a value of another shape.
TEST_F(CampaignStoreTest, ACampaignOfTheWrongShapeIsHeldInMemoryAndWrittenOnlyUpToItsFault) {
    cv::Value fourEntries(cv::Value::Type::kArray);
    for (int i = 0; i < 4; ++i) {
        fourEntries.Append(cv::Value(i));
    }
    cv::Value threeEntries(cv::Value::Type::kArray);
    for (int i = 0; i < 3; ++i) {
        threeEntries.Append(cv::Value(i));
    }
    cv::Value withoutCount = Campaign(5, 6, 7, 0);
    cv::Value noCount(cv::Value::Type::kDict);
    for (const auto& entry : withoutCount) {
        if (std::wstring(entry.key.GetString()) != L"display_count") {
            noCount[entry.key.GetString()] = entry.value;
        }
    }
    cv::Value textWidth = Campaign(0, 6, 7, 8);
    textWidth[L"width"].Clear();
    textWidth[L"width"] = L"wide";

    const struct {
        const char* name;
        cv::Value update;
        const char* thrown;    // null: nothing thrown
        const wchar_t* logged; // an error line, or null
        std::int32_t width;    // in the node afterwards
        std::int32_t count;
    } cases[] = {
        {"null writes nothing", cv::Value(), nullptr, nullptr, 100, 9},
        {"empty dictionary", cv::Value(cv::Value::Type::kDict),
         "exception: invalid type [string != null], [null]", nullptr, 100, 9},
        {"a missing key after others", noCount, "exception: invalid type [number != 0], [null]",
         nullptr, 5, 9},
        {"a text width", textWidth, "exception: invalid type [number != 3], [wide]", nullptr, 100,
         9},
        {"three entries", threeEntries, nullptr,
         L"4|Ipm::_SaveCampaignToDisk|invalid campaign data [ 0, 1, 2 ]", 100, 9},
        {"four entries", fourEntries, "exception: invalid type [dict != array]", nullptr, 100, 9},
        {"a number", cv::Value(5), "exception: invalid type[array|dict != number], [5]", nullptr,
         100, 9},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        m_host.log.Clear();
        Ipm ipm(&m_host);
        ipm.UpdateCurrentCampaign(Campaign(100, 200, 300, 9));
        std::string thrown;
        try {
            ipm.UpdateCurrentCampaign(c.update);
        } catch (const cv::ValueException& exception) {
            thrown = exception.what();
        }
        if (c.thrown != nullptr) {
            EXPECT_THAT(thrown, HasSubstr(c.thrown));
        } else {
            EXPECT_EQ(thrown, "");
        }
        if (c.logged != nullptr) {
            EXPECT_THAT(Logged(), Contains(c.logged));
        }
        EXPECT_EQ(Current(ipm), c.update.ToString().GetString()) << "replaced before the check";
        EXPECT_EQ(Node().ints[L"width"], c.width);
        EXPECT_EQ(Node().ints[L"display_count"], c.count);
        EXPECT_EQ(Node().strings[L"url"], L"https://example.test/page.html");
    }
    EXPECT_TRUE(m_settings.Balanced()) << "a node is given back also when a key throws";
}

TEST_F(CampaignStoreTest, WithoutPluginOrNodeTheCampaignLivesForThisRunOnly) {
    for (const bool withPlugin : {false, true}) {
        SCOPED_TRACE(withPlugin);
        m_host.log.Clear();
        m_host.settings = withPlugin ? &m_settings : nullptr;
        m_settings.withoutNodes = true;
        Ipm ipm(&m_host);
        ipm.Init();
        EXPECT_EQ(Current(ipm), L"null");
        ipm.UpdateCurrentCampaign(Campaign(1, 2, 3, 4));
        ipm.SetState(false);
        EXPECT_THAT(Current(ipm), HasSubstr(L"display_count"));
        const std::wstring reason = withPlugin ? L"could not find node /Ipm" : L"no hkSettings";
        for (const wchar_t* function : {L"Ipm::_LoadStateFromDisk", L"Ipm::_LoadCampaignFromDisk",
                                        L"Ipm::_SaveCampaignToDisk", L"Ipm::_SaveStateToDisk"}) {
            EXPECT_THAT(Logged(), Contains(L"4|" + std::wstring(function) + L"|" + reason));
        }
        ipm._UninitPush();
    }
    EXPECT_TRUE(m_settings.nodes.empty());
}

TEST_F(CampaignStoreTest, TheTestCampaignIsSavedBeforeItIsAnnouncedOnce) {
    Ipm ipm(&m_host);
    ipm.TriggerTestCampaign(3);
    const std::wstring text = Ipm::TestCampaign(3).ToString().GetString();
    EXPECT_EQ(m_host.fired, std::vector<std::wstring>{L"new_campaign " + text});
    EXPECT_EQ(Current(ipm), text);
    EXPECT_EQ(Node().ints[L"display_count"], 3);
    EXPECT_EQ(Node().ints[L"width"], 738);
    EXPECT_EQ(Node().ints[L"height"], 400);
    EXPECT_EQ(Node().int64s[L"validity"], 1638761288);
    EXPECT_THAT(Node().strings[L"url"], HasSubstr(L"/cvipm/3467/163068/windows/JA96iNwLCe.html"));
    const auto logged = Logged();
    EXPECT_THAT(logged, Contains(L"16|Ipm::TriggerTestCampaign|sending new_campaign " + text));
}

} // namespace
