#include "devkit/nodeservice/node_service.h"

#include "platform/testing/files.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace devkit::nodeservice {
namespace {

using testing::HasSubstr;
using testing::Not;

// Keeps what the state file held at each set, to show that the state comes first.
class StateAtSet final : public platform::NamedEvents {
public:
    explicit StateAtSet(std::filesystem::path file) : m_file(std::move(file)) {}

    platform::NamedEventResult CreateOrOpen(const std::wstring& name) override {
        names.push_back(name);
        platform::NamedEventResult result;
        if (refuse) {
            result.failedAt = platform::NamedEventStage::kCreate;
            result.error = platform::kErrorAccessDenied;
            return result;
        }
        result.event = std::make_unique<Event>(*this);
        return result;
    }

    std::vector<std::wstring> names;
    std::vector<std::string> statesAtSet;
    bool refuse = false;

private:
    struct Event final : platform::NamedEvent {
        explicit Event(StateAtSet& owner) : owner(owner) {}
        bool Set() override {
            owner.statesAtSet.push_back(platform_testing::ReadFile(owner.m_file));
            return true;
        }
        std::uint32_t Wait(std::uint32_t) override { return platform::kWaitFailed; }
        StateAtSet& owner;
    };
    std::filesystem::path m_file;
};

class NodeServiceTest : public testing::Test {
protected:
    Outcome Run(const std::vector<std::string>& args) {
        return RunNodeService(args, m_file, m_events, L"Global\\{event}");
    }

    platform_testing::TempDir m_dir;
    std::filesystem::path m_file = m_dir.Path() / "node" / "state.json";
    StateAtSet m_events{m_file};
};

TEST_F(NodeServiceTest, EachWordWritesTheUserBeforeItSignals) {
    platform_testing::WriteFile(m_file, R"({"apps": {"a": {"name": "A"}}})");
    Outcome outcome = Run({"login", "--user_token=T1", "--device_id=D1"});
    ASSERT_EQ(outcome.exitCode, kExitOk) << outcome.error;
    EXPECT_EQ(outcome.output, "login: user_token T1, device_id D1\n");
    ASSERT_EQ(m_events.statesAtSet.size(), 1u);
    EXPECT_THAT(m_events.statesAtSet[0], HasSubstr(R"("user_token": "T1")"));
    EXPECT_THAT(m_events.statesAtSet[0], HasSubstr(R"("device_id": "D1")"));
    EXPECT_THAT(m_events.statesAtSet[0], HasSubstr(R"("name": "A")")) << "the rest is kept";

    ASSERT_EQ(Run({"switch_account"}).exitCode, kExitOk);
    ASSERT_EQ(Run({"switch_account"}).exitCode, kExitOk);
    ASSERT_EQ(m_events.statesAtSet.size(), 3u);
    EXPECT_THAT(m_events.statesAtSet[1], Not(HasSubstr("T1")));
    EXPECT_THAT(m_events.statesAtSet[1], Not(HasSubstr("D1")));
    EXPECT_NE(m_events.statesAtSet[1], m_events.statesAtSet[2]) << "a new identity each time";

    outcome = Run({"logout"});
    ASSERT_EQ(outcome.exitCode, kExitOk);
    EXPECT_THAT(m_events.statesAtSet[3], Not(HasSubstr("user")));
    EXPECT_THAT(m_events.statesAtSet[3], HasSubstr(R"("name": "A")"));
    EXPECT_EQ(m_events.names, std::vector<std::wstring>(4, L"Global\\{event}"));
}

TEST_F(NodeServiceTest, BadInputGetsItsCodeAndMessageAndSignalsNobody) {
    const std::string broken = R"({"user": [1, 2]})";
    const struct {
        std::vector<std::string> args;
        bool brokenFile;
        int exitCode;
        const char* message;
    } cases[] = {
        {{}, false, kExitUsage, "no word"},
        {{"signin"}, false, kExitUsage, "unknown word \"signin\""},
        {{"logout", "--user_token=T"}, false, kExitUsage, "logout takes no option"},
        {{"login", "--user=T"}, false, kExitUsage, "login takes no option \"--user=T\""},
        {{"login", "--user_token="}, false, kExitUsage, "login takes no option"},
        {{"login", "--device_id=a", "--device_id=b"}, false, kExitUsage, "given twice"},
        {{"login"}, true, kExitStateFile, "\"user\" is no object (left as it is)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        platform_testing::WriteFile(m_file, c.brokenFile ? broken : "{}");
        const Outcome outcome = Run(c.args);
        EXPECT_EQ(outcome.exitCode, c.exitCode);
        EXPECT_THAT(outcome.error, HasSubstr("ProductNodeService: "));
        EXPECT_THAT(outcome.error, HasSubstr(c.message));
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(platform_testing::ReadFile(m_file), c.brokenFile ? broken : "{}");
    }
    EXPECT_TRUE(m_events.names.empty());

    platform_testing::WriteFile(m_file, "{}");
    m_events.refuse = true;
    const Outcome outcome = Run({"logout"});
    EXPECT_EQ(outcome.exitCode, kExitSignal);
    EXPECT_THAT(outcome.error, HasSubstr("the state is written, but the user-changed event"));
}

} // namespace
} // namespace devkit::nodeservice
