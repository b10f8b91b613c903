#pragma once

#include <stdexcept>

namespace keysong {

/// The login item could not be changed; `what()` says why in words for the log.
class LoginItemError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The program's entry among what the desktop starts at login. Main thread; blocks on the disk.
class LoginItem {
  public:
    enum class Status {
        notRegistered,
        enabled,
        /// There is an entry, and something keeps it from being started.
        disabled,
    };

    virtual ~LoginItem() = default;

    /// Whether the program lies where installed programs lie: a build or download folder is nothing to start
    /// from at login.
    [[nodiscard]] virtual bool isInstalled() const = 0;
    [[nodiscard]] virtual Status status() const = 0;
    /// Adds the entry, or enables it. Throws `LoginItemError`.
    virtual void registerItem() = 0;
    /// Removes the entry. Throws `LoginItemError`.
    virtual void unregisterItem() = 0;

  protected:
    LoginItem() = default;
    LoginItem(const LoginItem&) = default;
    LoginItem& operator=(const LoginItem&) = default;
};

} // namespace keysong
