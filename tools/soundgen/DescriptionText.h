#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace keysong::soundgen {

/// The values of one "key = value, value" line, taken one after the other. Every taker throws
/// `DescriptionError` naming the line when the value is missing, malformed or out of range.
class LineValues {
  public:
    /// `text` is what follows the equals sign. Both texts are referred to, not copied.
    LineValues(std::size_t line, std::string_view key, std::string_view text);

    /// A number followed by this unit ("Hz", "ms", "dB", "%"; none when empty), within the range.
    [[nodiscard]] double number(std::string_view unit, double least, double greatest);
    /// A whole number without a unit, within the range.
    [[nodiscard]] int whole(int least, int greatest);
    /// The value as it is written; not empty.
    [[nodiscard]] std::string_view word();

    [[nodiscard]] bool atEnd() const noexcept { return next_ == fields_.size(); }
    [[nodiscard]] std::size_t line() const noexcept { return line_; }
    [[nodiscard]] std::string_view key() const noexcept { return key_; }

    /// Checks that no value is left over.
    void finish() const;
    [[noreturn]] void fail(const std::string& what) const;

  private:
    std::size_t line_;
    std::string_view key_;
    std::vector<std::string_view> fields_;
    std::size_t next_ = 0;
};

/// One line with something on it: a section's head or a key with its values.
struct DescriptionLine {
    std::size_t number;
    /// The words between the brackets; empty for a key.
    std::vector<std::string_view> section;
    std::string_view key;
    std::string_view text;
};

/// Splits a text into its lines: blank lines and all from "#" on are dropped. The lines refer to the text.
/// Throws `DescriptionError` for a line that is neither, and for a text of more than a megabyte.
[[nodiscard]] std::vector<DescriptionLine> splitDescription(std::string_view text);

[[noreturn]] void failAtLine(std::size_t line, const std::string& what);

} // namespace keysong::soundgen
