#include "Packs/PackReport.h"

namespace keysong {

void PackReport::leave(const std::string& reason, const std::string& what) {
    constexpr std::size_t mostExamples = 3;
    Left& left = left_[reason];
    ++left.count;
    if (left.count <= mostExamples) {
        left.examples += (left.count > 1 ? ", " : "") + printable(what);
    } else if (left.count == mostExamples + 1) {
        left.examples += ", ...";
    }
}

std::string printable(const std::string& text) {
    constexpr std::size_t longest = 120;
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        result += code < 0x20 || code == 0x7F ? '?' : character;
        // Not in the middle of a character of several bytes.
        if (result.size() >= longest && (code & 0x80U) == 0) {
            return result + "...";
        }
    }
    return result;
}

} // namespace keysong
