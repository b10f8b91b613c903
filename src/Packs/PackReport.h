#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>

namespace keysong {

/// A pack that cannot be imported at all; `what()` says why in words for the user.
class PackError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What was left out of a pack: per reason how often, and the first few examples. One thread.
class PackReport {
  public:
    struct Left {
        std::size_t count = 0;
        /// Names from the pack, made fit for a terminal; not more than a few.
        std::string examples;
    };

    /// Something of the pack is not taken over. `reason` is one of a small number of fixed texts.
    void leave(const std::string& reason, const std::string& what);

    [[nodiscard]] const std::map<std::string, Left>& left() const noexcept { return left_; }

  private:
    std::map<std::string, Left> left_;
};

/// Text from a pack as a terminal may show it: control characters become "?", and what is long is cut.
[[nodiscard]] std::string printable(const std::string& text);

} // namespace keysong
