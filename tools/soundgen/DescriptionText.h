#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace keysong::soundgen {

/// Where a line stands.
struct LinePlace {
    /// Name of the part as an `[include]` gives it; empty for the description itself.
    std::string_view part;
    /// From 1.
    std::size_t number;
};

/// One line with something on it: a section's head or a key with its values.
struct DescriptionLine {
    LinePlace place;
    /// The words between the brackets; empty for a key.
    std::vector<std::string_view> section;
    std::string_view key;
    /// What follows the equals sign.
    std::string_view text;
};

/// The values of one "key = value, value" line, taken one after the other. Every taker throws
/// `DescriptionError` naming the line when the value is missing, malformed or out of range.
class LineValues {
  public:
    /// The line's texts are referred to, not copied.
    explicit LineValues(const DescriptionLine& line);

    /// A number followed by this unit ("Hz", "ms", "dB", "%"; none when empty), within the range.
    [[nodiscard]] double number(std::string_view unit, double least, double greatest);
    /// A whole number without a unit, within the range.
    [[nodiscard]] int whole(int least, int greatest);
    /// The value as it is written; not empty.
    [[nodiscard]] std::string_view word();

    /// Whether the next value is there and has this unit.
    [[nodiscard]] bool nextEndsWith(std::string_view unit) const noexcept;
    [[nodiscard]] bool atEnd() const noexcept { return next_ == fields_.size(); }
    [[nodiscard]] const LinePlace& place() const noexcept { return place_; }
    [[nodiscard]] std::string_view key() const noexcept { return key_; }

    /// Checks that no value is left over.
    void finish() const;
    [[noreturn]] void fail(const std::string& what) const;

  private:
    LinePlace place_;
    std::string_view key_;
    std::vector<std::string_view> fields_;
    std::size_t next_ = 0;
};

/// Whether a text is fit to be part of a file's name: small letters, digits and '-', and not empty.
[[nodiscard]] bool isIdentifier(std::string_view text) noexcept;

/// Splits a text into its lines: blank lines and all from "#" on are dropped. The lines refer to the text and
/// to the name of the part that it is. Throws `DescriptionError` for a line that is neither a head nor a key.
[[nodiscard]] std::vector<DescriptionLine> splitDescription(std::string_view text, std::string_view part);

[[noreturn]] void failAtLine(const LinePlace& place, const std::string& what);

} // namespace keysong::soundgen
