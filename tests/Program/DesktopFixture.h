#pragma once

#include "Program/ProgramFixture.h"
#include "support/AccessibleClient.h"
#include "support/PrivateSway.h"
#include "support/WaveFile.h"
#include "support/XTestClient.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace keysong::test {

/// The program in a desktop of its own: a display with a window manager, an accessibility bus, two sound
/// sets.
class DesktopFixture : public ProgramFixture {
  public:
    using Node = AccessibleClient::Node;

    void SetUp() override;
    void TearDown() override;

    /// Starts the program and shows its settings.
    void openSettings();

    /// Closes them with the keyboard, and waits until their program has ended.
    void closeSettings();
    /// The process that shows the program's windows; 0 for none.
    [[nodiscard]] pid_t windowsProgram() const;

    /// A control that shows, in any window of the program. See `AccessibleClient::find`.
    [[nodiscard]] Node find(const char* role, const char* name, const char* description = "") const {
        return eyes->find(eyes->desktop(), role, name, description);
    }
    /// The property of the program's remote control with this name.
    [[nodiscard]] nlohmann::json status(const char* property) const {
        return nlohmann::json::parse(control({"status", "--json"})).at(property);
    }
    /// Chooses an entry of a picker, and expects to read it back on both ways.
    void chooseAndRead(const char* picker, const char* entry, const char* property, const char* value);
    /// Scrolls the settings so that the control lies in their middle.
    void scrollTo(const Node& control);

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
    void writeSet(const std::string& id, const std::string& name) const;
};

} // namespace keysong::test
