#include "soundgen/DescriptionText.h"

#include "Shared/NumberText.h"

#include "soundgen/Description.h"

namespace keysong::soundgen {
namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> splitAt(std::string_view text, std::string_view separators, bool keepEmpty) {
    std::vector<std::string_view> parts;
    while (true) {
        const auto end = text.find_first_of(separators);
        const std::string_view part = trimmed(text.substr(0, end));
        if (keepEmpty || !part.empty()) {
            parts.push_back(part);
        }
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string rangeText(double least, double greatest) {
    return shortestText(static_cast<float>(least)) + " to " + shortestText(static_cast<float>(greatest));
}

DescriptionLine readLine(const LinePlace& place, std::string_view text) {
    if (text.front() == '[') {
        if (text.back() != ']') {
            failAtLine(place, "a section's head ends with ']'");
        }
        DescriptionLine line{place, splitAt(text.substr(1, text.size() - 2), blanks, false), {}, {}};
        if (line.section.empty()) {
            failAtLine(place, "the section has no name");
        }
        return line;
    }
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) {
        failAtLine(place, "expected 'key = value' or '[section]', found " + quoted(text));
    }
    const std::string_view key = trimmed(text.substr(0, equals));
    if (key.empty()) {
        failAtLine(place, "there is no key before '='");
    }
    return {place, {}, key, trimmed(text.substr(equals + 1))};
}

} // namespace

LineValues::LineValues(const DescriptionLine& line)
    : place_(line.place), key_(line.key), fields_(splitAt(line.text, ",", true)) {
}

std::string_view LineValues::word() {
    if (atEnd() || fields_[next_].empty()) {
        fail("a value is missing");
    }
    return fields_[next_++];
}

bool LineValues::nextEndsWith(std::string_view unit) const noexcept {
    return !atEnd() && fields_[next_].ends_with(unit);
}

double LineValues::number(std::string_view unit, double least, double greatest) {
    const std::string_view field = word();
    std::string_view digits = field;
    const bool hasUnit = digits.ends_with(unit);
    if (hasUnit) {
        digits.remove_suffix(unit.size());
    }
    const auto value = parseFloat(trimmed(digits));
    if (!hasUnit || !value) {
        fail("expected a number" + (unit.empty() ? "" : " with the unit " + std::string(unit)) + ", found " +
             quoted(field));
    }
    if (!(*value >= static_cast<float>(least) && *value <= static_cast<float>(greatest))) {
        fail(quoted(field) + " is not in the range " + rangeText(least, greatest));
    }
    return *value;
}

int LineValues::whole(int least, int greatest) {
    const std::string_view field = word();
    const auto value = parseInteger<int>(field);
    if (!value || *value < least || *value > greatest) {
        fail("expected a whole number from " + std::to_string(least) + " to " + std::to_string(greatest) +
             ", found " + quoted(field));
    }
    return *value;
}

void LineValues::finish() const {
    if (!atEnd()) {
        fail("unexpected value " + quoted(fields_[next_]));
    }
}

void LineValues::fail(const std::string& what) const {
    failAtLine(place_, std::string(key_) + ": " + what);
}

bool isIdentifier(std::string_view text) noexcept {
    return !text.empty() &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string_view::npos;
}

std::vector<DescriptionLine> splitDescription(std::string_view text, std::string_view part) {
    std::vector<DescriptionLine> lines;
    std::size_t number = 0;
    for (const std::string_view whole : splitAt(text, "\n", true)) {
        ++number;
        const std::string_view content = trimmed(whole.substr(0, whole.find('#')));
        if (!content.empty()) {
            lines.push_back(readLine({part, number}, content));
        }
    }
    return lines;
}

void failAtLine(const LinePlace& place, const std::string& what) {
    throw DescriptionError((place.part.empty() ? "" : std::string(place.part) + ", ") + "line " +
                           std::to_string(place.number) + ": " + what);
}

} // namespace keysong::soundgen
