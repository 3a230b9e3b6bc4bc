#include "devkit/cvzc/push_folder.h"

#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace devkit::cvzc {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(PushFolderTest, MessageFilesGiveTypeTargetAndBytes) {
    struct Row {
        const char* file;
        const char* shape; // "type app/device bytes", or the error's start
    };
    for (const Row& row : {
             Row{R"({"type": "notification", "message": {"b": [1, 2], "a": "x"}})",
                 R"(notification all/all {"b":[1,2],"a":"x"})"},
             Row{R"({"type": "event", "target": {"app_id": "A", "device_id": "D"},
                     "text": "not json\u0000at all"})",
                 "event A/D not json"},
             Row{R"({"type": "event", "target": {"device_id": "D"}, "message": 3})",
                 "event all/D 3"},
             Row{"{", "line 1"},
             Row{"[]", "a message file is a JSON object"},
             Row{R"({"message": {}})", "\"type\" must be a string"},
             Row{R"({"type": "e", "target": [], "text": ""})", "\"target\" must be an object"},
             Row{R"({"type": "e", "target": {"app_id": 1}, "text": ""})",
                 "\"target.app_id\" must be a string"},
             Row{R"({"type": "e", "text": "", "message": {}})", "give exactly one"},
             Row{R"({"type": "e"})", "give exactly one"},
             Row{R"({"type": "e", "text": 1})", "\"text\" must be a string"},
         }) {
        const ParsedPush parsed = ParsePushFile(row.file);
        const std::string shape =
            parsed.message ? parsed.message->type + " " + parsed.message->appId + "/" +
                                 parsed.message->deviceId + " " + parsed.message->bytes.c_str()
                           : parsed.error;
        EXPECT_THAT(shape, testing::StartsWith(row.shape)) << row.file;
    }
    const ParsedPush raw = ParsePushFile(R"({"type": "e", "text": "a\u0000b"})");
    ASSERT_TRUE(raw.message);
    EXPECT_EQ(raw.message->bytes, std::string("a\0b", 3));
}

TEST(PushFolderTest, DroppedFilesListInTheirOrderAndPartialOnesAreSkipped) {
    platform_testing::TempDir dir;
    const auto folder = dir.Path() / "push";
    EXPECT_TRUE(ListPushFiles(folder).empty());
    std::string error;
    const auto first = DropPushFile(folder, "1", error);
    const auto second = DropPushFile(folder, "2", error);
    ASSERT_TRUE(first && second) << error;
    platform_testing::WriteFile(folder / "half.partial", "{");
    EXPECT_THAT(ListPushFiles(folder),
                ElementsAre(first->filename().string(), second->filename().string()));
    EXPECT_EQ(platform_testing::ReadFile(*second), "2");
}

} // namespace
} // namespace devkit::cvzc
