#include "soundgen/DescriptionParts.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace keysong::soundgen {
namespace {

constexpr std::size_t greatestSize = 1U << 20U;
constexpr int greatestDepth = 4;

bool isPartName(std::string_view name) {
    return name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-./") == std::string_view::npos &&
           !name.starts_with('/') && name.find("..") == std::string_view::npos;
}

} // namespace

DescriptionParts::DescriptionParts(std::string_view text, const PartReader& readPart) : readPart_(readPart) {
    take(text, {}, 0);
}

void DescriptionParts::take(std::string_view text, std::string_view name, int depth) {
    // An empty part counts too, so that the number of parts is bounded as well.
    size_ += text.size() + 1;
    if (size_ > greatestSize) {
        throw DescriptionError("the description is larger than a megabyte");
    }
    auto lines = splitDescription(text, name);
    if (!lines.empty() && lines.front().section.empty()) {
        failAtLine(lines.front().place, "a key comes before the first section");
    }
    for (DescriptionLine& line : lines) {
        const bool isInclude = !line.section.empty() && line.section.front() == "include";
        if (isInclude) {
            include(line, depth);
        }
        // The head of an include stays behind its part, so that no key after it joins the part's last
        // section.
        lines_.push_back(std::move(line));
    }
}

void DescriptionParts::include(const DescriptionLine& head, int depth) {
    if (head.section.size() != 2 || !isPartName(head.section[1])) {
        failAtLine(head.place,
                   "expected '[include NAME]' with a name of small letters, digits, '-', '.' and '/'");
    }
    if (depth == greatestDepth) {
        failAtLine(head.place, "parts include parts more than four deep");
    }
    const std::string_view name = head.section[1];
    std::optional<std::string> text = readPart_ ? readPart_(name) : std::nullopt;
    if (!text) {
        failAtLine(head.place, "the part '" + std::string(name) + "' cannot be read");
    }
    take(texts_.emplace_back(std::move(*text)), name, depth + 1);
}

} // namespace keysong::soundgen
