// The inspection page as a person sees it: loaded in a headless browser after a short day, with
// its script run, showing the timeline.
#include "devkit/cloud/emulator_client.h"
#include "devkit/cloud/inspection.h"
#include "devkit/cloud/testing/running_emulator.h"
#include "platform/testing/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>

namespace {

using namespace devkit::cloud;
using testing::HasSubstr;

std::string FindBrowser() {
    for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser"}) {
        if (std::filesystem::exists(path)) {
            return path;
        }
    }
    return {};
}

// The DOM after the page's script ran, as the browser prints it.
std::string RenderedPage(const std::string& browser, const std::string& url,
                         const std::filesystem::path& profile) {
    const std::string command = browser +
                                " --headless --no-sandbox --disable-gpu --no-first-run"
                                " --user-data-dir=" +
                                profile.string() + " --virtual-time-budget=5000 --dump-dom " + url +
                                " 2>/dev/null";
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        std::array<char, 4096> buffer;
        for (std::size_t got; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
            output.append(buffer.data(), got);
        }
        pclose(pipe);
    }
    return output;
}

TEST(InspectionPageTest, ShowsTheDayAsATimelineInAHeadlessBrowser) {
    const std::string browser = FindBrowser();
    if (browser.empty()) {
        GTEST_SKIP() << "no chromium here; scripts/setup installs it";
    }
    devkit_testing::RunningEmulator emulator;
    const EmulatorClient client(emulator.Url());
    const std::string source = R"({"user_token": "T1", "app_id": "A", "device_id": "D1"})";
    client.Ask("nexilo/user_info", 5000, 1,
               R"({"jsonrpc": "2.0", "method": "getInfo", "id": 1, "params": {"nexilo_source": )" +
                   source + "}}");
    client.Ask("nexilo/ping", 5000, 1,
               R"({"jsonrpc": "2.0", "method": "ping", "id": 2, "params": {"nexilo_source": )" +
                   source + "}}");
    client.Post("/telemetry", R"({"name": "m_product_configured"})");
    client.Post("/push", R"({"type": "notification", "message": {"text": "<b>hello</b>"}})");

    platform_testing::TempDir profile;
    const std::string page = RenderedPage(browser, emulator.Url() + "/", profile.Path());
    ASSERT_THAT(page, HasSubstr("Nexilo cloud emulator"));
    EXPECT_THAT(page, HasSubstr("updated ")) << "the script reached the emulator";
    EXPECT_THAT(page, HasSubstr(R"(<span id="count-ping">ping: 1</span>)"));
    EXPECT_THAT(page, HasSubstr(R"(<span id="count-request">request: 1</span>)"));
    EXPECT_THAT(page, HasSubstr(R"(<td class="subject">m_product_configured</td>)"));
    EXPECT_THAT(page, HasSubstr(R"(<td class="subject">notification to all/all</td>)"));
    EXPECT_THAT(page, HasSubstr("&lt;b&gt;hello&lt;/b&gt;")) << "shown as text, never as markup";
    EXPECT_THAT(page, testing::Not(HasSubstr("<b>hello</b>")));
}

} // namespace
