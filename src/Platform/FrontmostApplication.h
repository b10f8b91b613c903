#pragma once

#include <functional>
#include <optional>
#include <string>

namespace keysong {

/// Which application the user has in front of everything else.
///
/// An application is named by its bundle identifier: on Linux the id of its desktop file, without ".desktop".
/// None stands for no application at all and for one that has no identifier.
///
/// Made, used and destroyed on the main thread.
class FrontmostApplication {
  public:
    using ChangeHandler = std::function<void(const std::optional<std::string>& identifier)>;

    virtual ~FrontmostApplication() = default;

    /// The application in front as far as it is known now. Never waits.
    [[nodiscard]] virtual std::optional<std::string> current() const = 0;

    /// Calls `handler` on the main thread after each switch to another application, with the newest one
    /// when several switches came close together. One handler at a time; an empty one ends the calls.
    virtual void setChangeHandler(ChangeHandler handler) = 0;

    /// How the application in front is learnt at the moment, for the log; "none" while it cannot be.
    [[nodiscard]] virtual std::string sourceName() const = 0;

  protected:
    FrontmostApplication() = default;
    FrontmostApplication(const FrontmostApplication&) = default;
    FrontmostApplication& operator=(const FrontmostApplication&) = default;
};

} // namespace keysong
