#pragma once

#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/PrivateBus.h"
#include "support/PrivateXServer.h"
#include "support/TempFolder.h"
#include "support/XTestClient.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

namespace keysong::test {

/// The built program as a person runs it: on a bus, a display and settings of its own, without sound
/// hardware.
class ProgramFixture : public testing::Test {
  public:
    void SetUp() override {
        ASSERT_TRUE(bus.start());
        ASSERT_TRUE(server.start());
        // For the leak sanitizer: the toolkit leaves its Wayland objects to the end of the process.
        const std::string leaks = home.write("known-leaks", "leak:libwayland-client.so\n");
        // This machine's own keyboards are not heard.
        setting.environment = {{"HOME", home.path()},
                               {"DISPLAY", server.display()},
                               {"WAYLAND_DISPLAY", ""},
                               {"KEYSONG_INPUT", "x11"},
                               {"KEYSONG_OUTPUT", "virtual"},
                               {"KEYSONG_LOG_SINK", "stderr"},
                               {"LSAN_OPTIONS", "print_suppressions=0:suppressions=" + leaks}};
    }

    [[nodiscard]] ChildProcess::Setting loggingTo(const std::string& name) const {
        ChildProcess::Setting result = setting;
        result.output = home.path() / name;
        return result;
    }
    [[nodiscard]] std::string textOf(const std::string& name) const {
        std::ifstream file(home.path() / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// What keysongctl prints; empty when it fails.
    [[nodiscard]] std::string control(std::vector<std::string> words) const {
        std::filesystem::remove(home.path() / "control"); // the output is added to what is there
        words.insert(words.begin(), KEYSONG_CONTROL);
        auto quiet = loggingTo("control");
        quiet.environment["KEYSONG_LOG_SINK"] = "";
        return ChildProcess::run(words, quiet) == 0 ? textOf("control") : std::string();
    }
    static bool eventually(const std::function<bool()>& condition) {
        return test::eventually([&condition] {
            if (condition()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // most conditions start a program
            return false;
        });
    }
    /// Presses Control and Alt with a key, and lets go of them.
    static void pressHotkey(const XTestClient& hands, XTestClient::DeviceId keyboard, int key) {
        for (const bool pressed : {true, false}) {
            for (const int code : {KEY_LEFTCTRL, KEY_LEFTALT, key}) {
                hands.key(keyboard, code, pressed);
            }
        }
    }
    /// Starts the program and waits until it hears the keyboard.
    void launch(ChildProcess& program) {
        program.start({executable}, loggingTo("log"));
        ASSERT_TRUE(eventually([&] {
            const std::string status = control({"status"});
            return status.starts_with("sound    on\n") || status.starts_with("sound    off\n");
        })) << textOf("log");
    }

    TempFolder home;
    /// The program that `launch` starts.
    std::string executable = KEYSONG_PROGRAM;
    PrivateBus bus;
    /// Large enough for a menu beside the pointer, and for the settings.
    PrivateXServer server{"800x700x24"};
    ChildProcess::Setting setting;
};

} // namespace keysong::test
