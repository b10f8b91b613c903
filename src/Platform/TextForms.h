#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// What the machine knows of the ways in which text is written down. Any thread but the event-tap and render
/// threads. Any bytes are taken; nothing fails.
class TextForms {
  public:
    virtual ~TextForms() = default;

    /// A text's bytes as UTF-8. A byte-order mark goes; UTF-16 is seen by its mark or its zero bytes; what is
    /// no UTF-8 is read in the older encoding that it most likely has.
    [[nodiscard]] virtual std::string utf8(std::string_view bytes) const = 0;

    /// What a file's name may mean, as UTF-8: itself, or what older encodings in use make of it.
    [[nodiscard]] virtual std::vector<std::string> readings(std::string_view name) const = 0;

    /// The same for all names in UTF-8 that look alike but for letter case.
    [[nodiscard]] virtual std::string folded(std::string_view name) const = 0;

  protected:
    TextForms() = default;
    TextForms(const TextForms&) = default;
    TextForms& operator=(const TextForms&) = default;
};

} // namespace keysong
