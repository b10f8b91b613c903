#pragma once

#include "Program/ProgramFixture.h"
#include "support/AccessibleClient.h"
#include "support/WaveFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>

namespace keysong::test {

/// The program in a desktop of its own: a display with a window manager, an accessibility bus, two sound
/// sets.
class DesktopFixture : public ProgramFixture {
  public:
    using Node = AccessibleClient::Node;

    void SetUp() override {
        for (const char* needed : {"openbox", "dbus-daemon", "/usr/libexec/at-spi-bus-launcher"}) {
            if (!ChildProcess::isInstalled(needed)) {
                GTEST_SKIP() << needed << " is not installed";
            }
        }
        ProgramFixture::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        // Installed to a place of its own, with credits.
        executable = home.makeFolder("install/bin") / "keysong";
        std::filesystem::copy_file(KEYSONG_PROGRAM, executable);
        std::filesystem::copy_file(KEYSONG_SETTINGS, home.path() / "install/bin/keysong-settings");
        credits = home.write("install/share/keysong/CREDITS.txt", "Somebody recorded this.\n");
        writeSet("alpaca", "Alpaca");
        writeSet("holy-panda", "Holy Panda");
        const auto opener =
            home.write("tools/xdg-open", "#!/bin/sh\necho \"${1#file://}\" >>\"$HOME/opened\"\n");
        std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
        setting.environment["PATH"] = opener.parent_path().string() + ":" + std::getenv("PATH");
        setting.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1";
        setting.environment["KEYSONG_LOG"] = "1";
        setting.environment["LC_ALL"] = "C.UTF-8";
        manager.start({"openbox", "--sm-disable"}, setting);
        eyes.emplace();
        hands.emplace(server.display());
        keyboard = hands->deviceNamed("Xvfb keyboard");
    }

    void TearDown() override {
        // No error goes unseen, whatever else the test looked at.
        std::istringstream log(textOf("log"));
        for (std::string line; std::getline(log, line);) {
            EXPECT_TRUE(line.find(" error ") == std::string::npos ||
                        (!expectedError.empty() && line.find(expectedError) != std::string::npos))
                << line;
        }
    }

    /// Starts the program and shows its settings.
    void openSettings() {
        launch(program);
        ASSERT_EQ(control({"settings"}), "");
        ASSERT_TRUE(eventually([&] {
            return bool(find("frame", "Keysong Settings")) && bool(find("label", "Granted"));
        })) << textOf("log");
    }

    /// Closes them with the keyboard, and waits until their program has ended.
    void closeSettings() {
        // The window without a manager that gives it the focus has none.
        EXPECT_TRUE(eventually([&] {
            hands->key(keyboard, KEY_LEFTCTRL, true);
            hands->tap(keyboard, KEY_W);
            hands->key(keyboard, KEY_LEFTCTRL, false);
            return windowsProgram() == 0;
        }));
    }
    /// The process that shows the program's windows; 0 for none.
    [[nodiscard]] pid_t windowsProgram() const {
        const std::string id = std::to_string(program.id());
        std::ifstream children("/proc/" + id + "/task/" + id + "/children");
        pid_t first = 0;
        children >> first;
        return first;
    }

    /// A control that shows, in any window of the program. See `AccessibleClient::find`.
    [[nodiscard]] Node find(const char* role, const char* name, const char* description = "") const {
        return eyes->find(eyes->desktop(), role, name, description);
    }
    /// The property of the program's remote control with this name.
    [[nodiscard]] nlohmann::json status(const char* property) const {
        return nlohmann::json::parse(control({"status", "--json"})).at(property);
    }
    /// Chooses an entry of a picker, and expects to read it back on both ways.
    void chooseAndRead(const char* picker, const char* entry, const char* property, const char* value) {
        const Node box = find("combo box", picker);
        ASSERT_TRUE(box) << picker;
        EXPECT_TRUE(eyes->act(box, "ShowMenu"));
        Node item;
        ASSERT_TRUE(eventually([&] { return bool(item = eyes->find(box, "list item", entry)); })) << entry;
        EXPECT_TRUE(eyes->act(item, "Toggle"));
        EXPECT_TRUE(eventually([&] { return status(property) == value && eyes->name(box) == entry; }))
            << picker << " shows " << eyes->name(box) << " and is " << status(property);
    }
    /// Scrolls the settings so that the control lies in their middle.
    void scrollTo(const Node& control) {
        const Node window = find("frame", "Keysong Settings");
        const Node bar = eyes->find(window, "scroll bar", "");
        const double by = eyes->area(control).centre() - eyes->area(window).centre();
        const double wanted = std::clamp(eyes->value(bar) + by, 0.0, eyes->highest(bar));
        eyes->setValue(bar, wanted);
        EXPECT_TRUE(eventually([&] { return eyes->value(bar) == wanted; }));
    }

    ChildProcess manager;
    /// Part of the errors that the log may hold.
    std::string expectedError;
    ChildProcess program;
    /// Where the credits lie, which the desktop is asked to open; the file "opened" tells that it was.
    std::filesystem::path credits;
    std::optional<AccessibleClient> eyes;
    std::optional<XTestClient> hands;
    XTestClient::DeviceId keyboard = 0;

  private:
    void writeSet(const std::string& id, const std::string& name) const {
        const std::string folder = "install/share/keysong/Sounds/" + id + "/";
        constexpr double rate = 48000;
        home.write(folder + "key.wav", waveBytes(sine(440, 480, rate)));
        home.write(folder + "manifest.json", R"({"schema":1,"id":")" + id + R"(","name":")" + name +
                                                 R"(","defaults":{"down":["key.wav"],"up":["key.wav"]}})");
    }
};

} // namespace keysong::test
