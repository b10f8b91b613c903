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

/// What was left out of a pack, and what is worth knowing of the rest: per reason how often, and the first
/// few examples. One thread.
class PackReport {
  public:
    struct Entry {
        std::size_t count = 0;
        /// Names from the pack, made fit for a terminal; not more than a few.
        std::string examples;
    };

    /// Something of the pack is not taken over. `reason` is one of a small number of fixed texts; `what`
    /// names it as the pack does.
    void leave(const std::string& reason, const std::string& what);
    /// Something is taken over, but perhaps not as it is meant.
    void note(const std::string& remark, const std::string& what);

    [[nodiscard]] const std::map<std::string, Entry>& left() const noexcept { return left_; }
    [[nodiscard]] const std::map<std::string, Entry>& noted() const noexcept { return noted_; }

  private:
    std::map<std::string, Entry> left_;
    std::map<std::string, Entry> noted_;
};

/// What the user may do about a reason or a remark of a report; empty where there is nothing to be done.
[[nodiscard]] std::string adviceFor(const std::string& reason);

/// Text from a pack as a terminal may show it: control characters become "?", and what is long is cut.
[[nodiscard]] std::string printable(const std::string& text);

} // namespace keysong
