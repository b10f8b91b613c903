#include "Linux/Frontmost/WaylandFrontmost.h"

#include "Linux/Files/LinuxPlaces.h"
#include "support/FrontmostFollower.h"
#include "support/PrivateSway.h"

#include <gmock/gmock.h>

namespace keysong {
namespace {

using testing::ElementsAre;

struct WaylandFrontmostTest : testing::Test {
    test::PrivateSway sway;
    LinuxPlaces places;

    void SetUp() override { ASSERT_TRUE(sway.start()) << "sway does not start"; }

    static InstalledApplications::List applications() {
        return {{"org.example.First", "", "", "", "First Window", true}};
    }
};

TEST_F(WaylandFrontmostTest, FollowsWindowsThroughSwitchesAndDeathsOfTheCompositorToo) {
    sway.openWindow("second"); // before anybody follows
    test::FrontmostFollower follower(makeWaylandFrontmost(places), applications());
    ASSERT_TRUE(follower.hears("second"));
    ASSERT_TRUE(follower.follows("wlr-foreign-toplevel"));
    sway.openWindow("First Window");
    ASSERT_TRUE(follower.hears("org.example.First"));
    ASSERT_TRUE(sway.command("[app_id=\"second\"] focus"));
    ASSERT_TRUE(follower.hears("second"));
    ASSERT_TRUE(sway.command("[app_id=\"First Window\"] focus"));
    ASSERT_TRUE(follower.hears("org.example.First"));
    ASSERT_TRUE(sway.command("[app_id=\"First Window\"] kill"));
    ASSERT_TRUE(follower.hears("second"));
    // No switch has let a "none" through, but an empty workspace is one.
    EXPECT_THAT(follower.told(),
                ElementsAre("second", "org.example.First", "second", "org.example.First", "second"));
    ASSERT_TRUE(sway.command("workspace 2"));
    ASSERT_TRUE(follower.hears("none"));

    ASSERT_TRUE(sway.command("workspace 1"));
    ASSERT_TRUE(follower.hears("second"));
    sway.kill();
    ASSERT_TRUE(follower.hears("none"));
    ASSERT_TRUE(follower.follows("none"));
    ASSERT_TRUE(sway.start());
    ASSERT_TRUE(follower.follows("wlr-foreign-toplevel"));
    sway.openWindow("First Window");
    EXPECT_TRUE(follower.hears("org.example.First"));
}

} // namespace
} // namespace keysong
