// The event sink's record and the JSON text of the values the host prints.
#include "devkit/common/devkit_home.h"
#include "devkit/host/event_sink_plugin.h"
#include "devkit/host/json_text.h"
#include "platform/testing/temp_dir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace devkit::host {
namespace {

TEST(EventSinkPluginTest, RecordsOneLinePerCallWithNullsAndEscapes) {
    platform_testing::TempDir dir;
    const std::filesystem::path record = dir.Path() / "host" / "evsink.jsonl";
    EventSinkPlugin sink(record);
    EXPECT_EQ(sink.QueryInterface(kIidDeviceDetectionEvents),
              static_cast<IDeviceDetectionEvents*>(&sink));
    EXPECT_EQ(sink.SetUserData(L"T\"1", L"D\u00e91", L"app"), 0u);
    EXPECT_EQ(sink.SetUserData(nullptr, L"", nullptr), 0u);
    EXPECT_EQ(sink.Calls(), 2u);
    std::string text;
    ASSERT_TRUE(ReadWholeFile(record, text));
    EXPECT_EQ(text, "{\"call\":\"SetUserData\",\"user_token\":\"T\\\"1\",\"device_id\":"
                    "\"D\xc3\xa9"
                    "1\",\"app_id\":\"app\"}\n"
                    "{\"call\":\"SetUserData\",\"user_token\":null,\"device_id\":\"\","
                    "\"app_id\":null}\n");
}

TEST(EventSinkPluginTest, ReportsARecordThatCannotBeWritten) {
    platform_testing::TempDir dir;
    EventSinkPlugin sink(dir.Path()); // a folder, not a file
    EXPECT_EQ(sink.SetUserData(L"T", L"D", L"A"), 31u);
}

TEST(JsonTextTest, KeepsNumbersKindsAndOrder) {
    cv::Value value;
    value[L"z"] = 2.9;
    value[L"a"] = 5;
    value[L"big"] = 1e300;
    value[L"nan"] = std::numeric_limits<double>::quiet_NaN();
    value[L"text"] = L"tab\there \u20ac";
    value[L"list"].Append(cv::Value(true));
    value[L"list"].Append(cv::Value());
    value[L"empty"] = cv::Value(cv::Value::Type::kDict);
    EXPECT_EQ(ValueToJsonText(value),
              "{\"z\":2.9,\"a\":5,\"big\":1e+300,\"nan\":null,\"text\":\"tab\\there "
              "\xe2\x82\xac\",\"list\":[true,null],\"empty\":{}}");
    EXPECT_EQ(ValueToJsonText(cv::Value()), "null");
    EXPECT_EQ(ValueToJsonText(cv::Value(-0.5)), "-0.5");
    EXPECT_EQ(JsonString(static_cast<const wchar_t*>(nullptr)), "null");
    EXPECT_EQ(JsonString(std::string_view("bad \xff byte")), "\"bad \xef\xbf\xbd byte\"");
}

} // namespace
} // namespace devkit::host
