#pragma once

#include <string_view>

namespace keysong {

/// The order in which a file browser would list names, in the user's language. Any thread but the render
/// thread.
class TextOrder {
  public:
    virtual ~TextOrder() = default;

    /// Below, equal to or above zero as `a` stands before, with or after `b`: letter case is ignored, and
    /// runs of digits compare by their numeric value whatever their length. Text is UTF-8; ill-formed
    /// bytes are compared somehow, but always the same way.
    [[nodiscard]] virtual int compare(std::string_view a, std::string_view b) const = 0;

  protected:
    TextOrder() = default;
    TextOrder(const TextOrder&) = default;
    TextOrder& operator=(const TextOrder&) = default;
};

} // namespace keysong
