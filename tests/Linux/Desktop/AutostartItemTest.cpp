#include "Linux/Desktop/AutostartItem.h"

#include "Linux/Files/LinuxDurableFiles.h"
#include "fakes/FakePlaces.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace keysong::test {
namespace {

using Status = LoginItem::Status;

class AutostartItemTest : public testing::Test {
  public:
    AutostartItemTest() {
        places.userConfigFolder = folder.path();
        places.homeFolder = "/home/anna";
    }
    [[nodiscard]] AutostartItem item(const std::filesystem::path& executable = "/usr/bin/keysong") const {
        return {places, files, executable};
    }

    TempFolder folder;
    FakePlaces places;
    LinuxDurableFiles files;
    const std::string entry = "autostart/com.orlen.keysong.desktop";
};

TEST_F(AutostartItemTest, ComesGoesAndCanBeSwitchedOffByTheDesktop) {
    AutostartItem login = item();
    EXPECT_EQ(login.status(), Status::notRegistered);
    login.registerItem();
    EXPECT_EQ(login.status(), Status::enabled);
    login.unregisterItem();
    EXPECT_EQ(login.status(), Status::notRegistered);
    for (const char* off : {"Hidden=true", "Hidden = true", "X-GNOME-Autostart-enabled=false"}) {
        folder.write(entry,
                     std::string("[Desktop Entry]\nType=Application\nName=K\nExec=keysong\n") + off + "\n");
        EXPECT_EQ(login.status(), Status::disabled) << off;
    }
    // Only the main group counts.
    folder.write(entry, "[Desktop Entry]\nType=Application\nName=K\nExec=keysong\n[Other]\nHidden=true\n");
    EXPECT_EQ(login.status(), Status::enabled);
    folder.write(entry, std::string(200'000, 'x'));
    EXPECT_EQ(login.status(), Status::disabled);
    login.registerItem();
    EXPECT_EQ(login.status(), Status::enabled);
}

TEST_F(AutostartItemTest, OnlyAnInstalledProgramCounts) {
    for (const char* place : {"/usr/bin/keysong", "/usr/local/bin/keysong", "/opt/keysong/bin/keysong",
                              "/opt/bin/keysong", "/home/anna/.local/bin/keysong"}) {
        EXPECT_TRUE(item(place).isInstalled()) << place;
    }
    for (const char* place : {"/home/anna/keysong/build/dev/bin/keysong", "/usr/src/keysong/bin/keysong",
                              "/home/berta/.local/bin/keysong", "/tmp/keysong", "keysong", ""}) {
        EXPECT_FALSE(item(place).isInstalled()) << place;
    }
}

TEST_F(AutostartItemTest, QuotesTheCommandAsDesktopEntriesWantIt) {
    EXPECT_EQ(AutostartItem::execLine("/usr/bin/keysong"), "/usr/bin/keysong");
    EXPECT_EQ(AutostartItem::execLine("/opt/my app/bin/keysong"), "\"/opt/my app/bin/keysong\"");
    EXPECT_EQ(AutostartItem::execLine("/opt/100%/keysong"), "/opt/100%%/keysong");
    EXPECT_EQ(AutostartItem::execLine("/opt/a\"b$c\\d"), R"("/opt/a\\"b\\$c\\\\d")");
}

TEST_F(AutostartItemTest, WithoutAPlaceItSaysSo) {
    places.userConfigFolder.clear();
    AutostartItem login = item();
    EXPECT_EQ(login.status(), Status::notRegistered);
    EXPECT_THROW(login.registerItem(), LoginItemError);
}

} // namespace
} // namespace keysong::test
