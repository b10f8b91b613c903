// Each desktop's part is played by a file, a socket, an X server or the settings' own store.

#include "Linux/Pointers/PointerFollower.h"
#include "Linux/System/FileDescriptor.h"
#include "fakes/FakePlaces.h"
#include "support/Eventually.h"
#include "support/PlainThreads.h"
#include "support/PrivateXServer.h"
#include "support/TempFolder.h"
#include "support/XTestClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace keysong {
namespace {

using test::eventually;

const PointerDevice touchpad{true, 1, 2, "Pad", "/dev/input/event1005"};

/// Sway as far as its list of inputs goes. It serves one client, one message at a time.
class FakeSway {
  public:
    explicit FakeSway(const std::string& path) : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_.get(), 1), 0);
    }

    void accept() { client_.reset(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)); }
    /// The type of the next message; its text is left.
    std::uint32_t take() {
        std::array<char, 14> header{};
        EXPECT_EQ(recv(client_.get(), header.data(), header.size(), MSG_WAITALL), 14);
        std::uint32_t words[2];
        std::memcpy(words, header.data() + 6, sizeof words);
        std::string text(words[0], ' ');
        if (!text.empty()) { // a reading of nothing would wait for something
            EXPECT_GT(recv(client_.get(), text.data(), text.size(), MSG_WAITALL), 0);
        }
        return words[1];
    }
    void send(std::uint32_t type, const std::string& text, std::uint32_t claimed = 0) {
        const std::uint32_t words[] = {std::max(claimed, static_cast<std::uint32_t>(text.size())), type};
        std::string message = "i3-ipc";
        message.append(reinterpret_cast<const char*>(words), sizeof words);
        message += text;
        for (const char byte : message) { // as badly cut as may be
            EXPECT_EQ(::send(client_.get(), &byte, 1, MSG_NOSIGNAL), 1);
        }
    }
    /// The client has gone.
    bool isLeft() {
        char byte = 0;
        return recv(client_.get(), &byte, 1, 0) == 0;
    }

  private:
    FileDescriptor listener_;
    FileDescriptor client_;
};

struct PointerSourcesTest : testing::Test {
    test::PlainThreads threads;
    test::FakePlaces places;
    test::TempFolder folder;

    static PointerSettings chosen(const PointerFollower& follower, const PointerDevice& device = touchpad) {
        return settingsOf(device, follower.choices()->rules());
    }
    static bool becomes(const PointerFollower& follower, const PointerSettings& wanted) {
        return eventually([&] { return chosen(follower) == wanted; });
    }
};

TEST_F(PointerSourcesTest, KdesFileIsFollowed) {
    places.userConfigFolder = folder.path();
    places.variables["WAYLAND_DISPLAY"] = "wayland-0";
    places.variables["XDG_CURRENT_DESKTOP"] = "KDE";
    folder.write("kcminputrc", "[Libinput][1][2][Pad]\nTapToClick=false\n");
    const PointerFollower follower(places, threads);
    EXPECT_TRUE(becomes(follower, {.tap = false}));
    folder.write("kcminputrc.new", "[Libinput][1][2][Pad]\nLeftHanded=true\n");
    std::filesystem::rename(folder.path() / "kcminputrc.new", folder.path() / "kcminputrc");
    EXPECT_TRUE(becomes(follower, {.leftHanded = true}));
    std::filesystem::remove(folder.path() / "kcminputrc");
    EXPECT_TRUE(becomes(follower, {}));
}

TEST_F(PointerSourcesTest, SwaysListIsAskedForAgainWhenAnInputChanges) {
    const std::string path = folder.path() / "sway";
    FakeSway sway(path);
    places.variables["WAYLAND_DISPLAY"] = "wayland-1";
    places.variables["SWAYSOCK"] = path;
    const PointerFollower follower(places, threads);
    sway.accept();
    EXPECT_EQ(sway.take(), 2U);
    EXPECT_EQ(sway.take(), 100U);
    sway.send(2, R"({"success": true})");
    sway.send(100, R"([{"name": "Pad", "vendor": 1, "product": 2, "libinput": {"tap": "disabled"}}])");
    EXPECT_TRUE(becomes(follower, {.tap = false}));
    sway.send(0x80000015, R"({"change": "libinput_config"})");
    EXPECT_EQ(sway.take(), 100U);
    sway.send(100, R"([{"name": "Pad", "vendor": 1, "product": 2, "libinput": {"tap": "enabled"}}])");
    EXPECT_TRUE(becomes(follower, {.tap = true}));
    sway.send(100, "", 0xFFFFFFFF);
    EXPECT_TRUE(sway.isLeft()) << "too much is not taken";
    EXPECT_EQ(chosen(follower), PointerSettings{.tap = true});
}

TEST_F(PointerSourcesTest, AnXServersPropertiesAreFollowed) {
    test::PrivateXServer server;
    ASSERT_TRUE(server.start());
    const test::XTestClient client(server.display());
    const auto mouse = client.deviceNamed("Xvfb mouse");
    client.setNode(mouse, "/dev/input/event1005");
    client.setChoice(mouse, "libinput Tapping Enabled", std::string_view("\0", 1));
    client.setChoice(mouse, "libinput Click Method Enabled", std::string_view("\0\1", 2));
    client.setChoice(mouse, "libinput Tapping Button Mapping Enabled", std::string_view("\0\1", 2));
    client.setChoice(mouse, "libinput Send Events Mode Enabled", std::string_view("\0\1", 2));
    places.variables["DISPLAY"] = server.display();
    const PointerFollower follower(places, threads);
    PointerSettings settings{.enabled = true,
                             .tap = false,
                             .tapButtons = TapButtons::leftMiddleRight,
                             .clickMethod = ClickMethod::fingers};
    EXPECT_TRUE(becomes(follower, settings));
    client.setChoice(mouse, "libinput Left Handed Enabled", std::string_view("\1", 1));
    settings.leftHanded = true;
    EXPECT_TRUE(becomes(follower, settings));
    client.setChoice(mouse, "libinput Click Method Enabled", std::string_view("\1\0", 2));
    settings.clickMethod = ClickMethod::areas;
    EXPECT_TRUE(becomes(follower, settings));
}

TEST_F(PointerSourcesTest, GnomesSettingsAreFollowed) {
    // The library's own way to keep settings in a file.
    setenv("GSETTINGS_BACKEND", "keyfile", 1);
    setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    places.variables["WAYLAND_DISPLAY"] = "wayland-0";
    places.variables["XDG_CURRENT_DESKTOP"] = "ubuntu:GNOME";
    const std::string file = "glib-2.0/settings/keyfile";
    folder.write(file, "[org/gnome/desktop/peripherals/touchpad]\n"
                       "tap-to-click=true\nclick-method='areas'\nleft-handed='mouse'\n"
                       "[org/gnome/desktop/peripherals/mouse]\nleft-handed=true\n");
    const PointerFollower follower(places, threads);
    if (!eventually([&] { return chosen(follower).tap.has_value(); })) {
        GTEST_SKIP() << "needs GNOME's schemas of settings";
    }
    EXPECT_EQ(chosen(follower).tap, true);
    EXPECT_EQ(chosen(follower).clickMethod, ClickMethod::areas);
    EXPECT_EQ(chosen(follower).leftHanded, true);
    EXPECT_EQ(chosen(follower).enabled, true);
    EXPECT_EQ(chosen(follower, {.isTouchpad = false}).leftHanded, true);
    EXPECT_EQ(chosen(follower, {.isTouchpad = false}).tap, std::nullopt);
    folder.write(file, "[org/gnome/desktop/peripherals/touchpad]\n"
                       "tap-to-click=false\nclick-method='fingers'\nleft-handed='right'\n"
                       "send-events='disabled'\ntap-button-map='lmr'\n");
    EXPECT_TRUE(eventually([&] {
        const PointerSettings now = chosen(follower);
        return now.tap == false && now.clickMethod == ClickMethod::fingers && now.leftHanded == false &&
               now.enabled == false && now.tapButtons == TapButtons::leftMiddleRight;
    }));
}

TEST_F(PointerSourcesTest, WithoutADesktopNothingIsChosen) {
    EXPECT_EQ(chosen(PointerFollower(places, threads)), PointerSettings());
    places.variables["WAYLAND_DISPLAY"] = "wayland-0";
    places.variables["SWAYSOCK"] = folder.path() / "nothing";
    EXPECT_EQ(chosen(PointerFollower(places, threads)), PointerSettings());
}

} // namespace
} // namespace keysong
