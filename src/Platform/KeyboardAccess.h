#pragma once

#include <functional>
#include <string>

namespace keysong {

/// Gets the user the right to read the keyboards where the machine keeps it from them. Main thread.
///
/// That the right has come is seen where the input is read (`InputSource::hasAccess`), however it was given.
class KeyboardAccess {
  public:
    enum class Outcome {
        /// It is done: the program may hear the keyboards from now on, or no longer.
        granted,
        /// The user thought better of it.
        dismissed,
        /// The user, or who spoke for them, is not allowed to give this right.
        notAuthorized,
        /// Nothing here can ask for a password.
        cannotAsk,
        failed,
    };

    struct Result {
        Outcome outcome = Outcome::failed;
        /// For a failure, what went wrong in one or a few lines; otherwise empty.
        std::string explanation;
    };
    using Handler = std::function<void(const Result&)>;

    /// What the right is given to.
    enum class Way {
        /// A service of the system alone reads the devices, and sends what this program needs of the user's
        /// session.
        service,
        /// The user's programs may read the devices.
        devices,
    };

    virtual ~KeyboardAccess() = default;

    [[nodiscard]] virtual Way way() const = 0;
    /// Whether there is any point in `grant`. It may still turn out that nothing can ask for a password.
    [[nodiscard]] virtual bool canGrant() const = 0;
    /// Asks for the right, with whatever dialog the machine shows, for as long as the user takes. `handler`
    /// is called once on the main thread, later, unless this object goes first; the question is then
    /// withdrawn. One question at a time: false, and no call, while one is being asked.
    virtual bool grant(Handler handler) = 0;
    /// Takes the right back that `grant` gave. Otherwise the same.
    virtual bool revoke(Handler handler) = 0;
    /// The same for a terminal, for those who want to see what is done or have no such dialog.
    [[nodiscard]] virtual std::string command() const = 0;

  protected:
    KeyboardAccess() = default;
    KeyboardAccess(const KeyboardAccess&) = default;
    KeyboardAccess& operator=(const KeyboardAccess&) = default;
};

} // namespace keysong
