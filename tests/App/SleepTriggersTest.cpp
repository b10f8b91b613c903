#include "App/AppEquivalents.h"
#include "App/ModelFixture.h"

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct SleepTriggersTest : test::ModelFixture {
    std::vector<bool> changes;

    void follow() {
        model->bootstrap();
        test::LogCapture::shared().clear();
        QObject::connect(model.get(), &AppState::isSleepingChanged,
                         [this] { changes.push_back(model->isSleeping()); });
    }
    static std::vector<std::string> lines() { return test::LogCapture::shared().lines(LogLevel::info); }
    void follow(const std::vector<std::string>& apps) {
        preferences->setStringArray("mutedApps", apps);
        follow();
    }
};

TEST_F(SleepTriggersTest, SleepsWhileAListedApplicationIsInFrontAndSaysSo) {
    follow({"com.apple.FaceTime", "org.example.Call"});
    frontmost.activate("com.apple.FaceTime");
    frontmost.activate("org.example.Call"); // from one listed application to another: nothing happens
    frontmost.activate("org.example.Editor");
    frontmost.activate("org.example.Browser");
    frontmost.activate("org.example.Call");
    frontmost.activate(std::nullopt);
    EXPECT_THAT(changes, ElementsAre(true, false, true, false));
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
        EXPECT_FALSE(model->isSleeping()) << other;
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(SleepTriggersTest, FollowsOnlyWhileItLives) {
    follow({"org.example.Call"});
    EXPECT_TRUE(frontmost.isFollowed());
    model.reset();
    EXPECT_FALSE(frontmost.isFollowed());
}

TEST_F(SleepTriggersTest, TheDefaultListMeansTheApplicationsOfThisSystemToo) {
    follow();
    for (const char* app : {"us.zoom.xos", "Zoom", "us.zoom.Zoom", "teams", "teams-for-linux",
                            "com.github.IsmaelMartinez.teams_for_linux", "com.microsoft.Teams",
                            "zoom-client_zoom-client", "teams-for-linux_teams-for-linux", "zoom"}) {
        frontmost.activate("org.example.Editor");
        frontmost.activate(app);
        EXPECT_TRUE(model->isSleeping()) << app;
    }
    for (const char* app : {"ZOOM", "Teams", "us.zoom"}) {
        frontmost.activate(app);
        EXPECT_FALSE(model->isSleeping()) << app;
    }
}

TEST(AppEquivalents, LeadOneWayOnly) {
    EXPECT_FALSE(meansApplication("Zoom", "us.zoom.xos"));
    EXPECT_FALSE(meansApplication("us.zoom.Zoom", "Zoom"));
    EXPECT_THAT(equivalentsOf("com.apple.FaceTime"), IsEmpty());
}

} // namespace
} // namespace keysong
