#include "App/SleepTriggers.h"

#include "App/AppEquivalents.h"
#include "fakes/FakeFrontmost.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <memory>

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FakeModel final : public SleepModel {
  public:
    std::vector<std::string> apps;
    bool sleeping = false;
    std::vector<bool> writes;

    [[nodiscard]] const std::vector<std::string>& mutedApps() const override { return apps; }
    [[nodiscard]] bool isSleeping() const override { return sleeping; }
    void setSleeping(bool value) override {
        sleeping = value;
        writes.push_back(value);
    }
};

struct SleepTriggersTest : testing::Test {
    FakeModel model;
    test::FakeFrontmost frontmost;
    std::unique_ptr<SleepTriggers> triggers;

    void follow(std::vector<std::string> apps) {
        model.apps = std::move(apps);
        triggers = std::make_unique<SleepTriggers>(model, frontmost);
    }

    static std::vector<std::string> lines() { return test::LogCapture::shared().lines(LogLevel::info); }
};

TEST_F(SleepTriggersTest, SleepsWhileAListedApplicationIsInFrontAndSaysSo) {
    follow({"com.apple.FaceTime", "org.example.Call"});
    frontmost.activate("com.apple.FaceTime");
    frontmost.activate("org.example.Call"); // from one listed application to another: nothing happens
    frontmost.activate("org.example.Editor");
    frontmost.activate("org.example.Browser");
    frontmost.activate("org.example.Call");
    frontmost.activate(std::nullopt);
    EXPECT_THAT(model.writes, ElementsAre(true, false, true, false));
    EXPECT_THAT(lines(), ElementsAre("sleep trigger: muted (frontmost com.apple.FaceTime)",
                                     "sleep trigger: awake (frontmost org.example.Editor)",
                                     "sleep trigger: muted (frontmost org.example.Call)",
                                     "sleep trigger: awake (frontmost unknown)"));
}

TEST_F(SleepTriggersTest, StaysAwakeForEverythingElse) {
    follow({"com.apple.FaceTime", ""});
    for (const char* other :
         {"com.apple.facetime", "com.apple.FaceTime ", "com.apple.FaceTime2", "FaceTime"}) {
        frontmost.activate(other);
        EXPECT_FALSE(model.sleeping) << other;
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(SleepTriggersTest, FollowsOnlyWhileItLives) {
    follow({"org.example.Call"});
    EXPECT_TRUE(frontmost.isFollowed());
    triggers.reset();
    frontmost.activate("org.example.Call");
    EXPECT_FALSE(model.sleeping);
}

TEST_F(SleepTriggersTest, TheDefaultListMeansTheApplicationsOfThisSystemToo) {
    follow(SleepTriggers::defaultMutedApps());
    for (const char* app : {"us.zoom.xos", "Zoom", "us.zoom.Zoom", "teams", "teams-for-linux",
                            "com.github.IsmaelMartinez.teams_for_linux", "com.microsoft.Teams",
                            "zoom-client_zoom-client", "teams-for-linux_teams-for-linux"}) {
        frontmost.activate("org.example.Editor");
        frontmost.activate(app);
        EXPECT_TRUE(model.sleeping) << app;
    }
    for (const char* app : {"zoom", "Teams", "us.zoom"}) {
        frontmost.activate(app);
        EXPECT_FALSE(model.sleeping) << app;
    }
}

TEST(AppEquivalents, LeadOneWayOnly) {
    EXPECT_FALSE(meansApplication("Zoom", "us.zoom.xos"));
    EXPECT_FALSE(meansApplication("us.zoom.Zoom", "Zoom"));
    EXPECT_THAT(equivalentsOf("com.apple.FaceTime"), IsEmpty());
}

} // namespace
} // namespace keysong
