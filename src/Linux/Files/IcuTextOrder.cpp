#include "Linux/Files/IcuTextOrder.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace keysong {

struct IcuTextOrder::Collator {
    explicit Collator(const std::string& locale);

    [[nodiscard]] int compare(std::string_view a, std::string_view b) const;

    /// Null on a machine without ICU's data; then code points are compared.
    std::unique_ptr<icu::Collator> icu;
};

namespace {

/// The user's locale, as "de_DE"; empty for the order of every language.
std::string localeOf(const Places& places) {
    std::string name;
    for (const char* const variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        name = places.environment(variable).value_or("");
        if (!name.empty()) {
            break;
        }
    }
    name.resize(std::min(name.size(), name.find_first_of(".@")));
    return name == "C" || name == "POSIX" || name == "en_US_POSIX" ? std::string() : name;
}

/// Whether ASCII texts have ICU's order for every language in this one. Others have letters of two
/// characters, or put some letter elsewhere.
bool hasPlainAscii(const std::string& locale) {
    static constexpr std::string_view languages[] = {"ar", "bg", "ca", "de", "el", "en", "es", "fa", "fi",
                                                     "fr", "he", "hi", "id", "it", "ja", "ko", "nl", "pl",
                                                     "pt", "ro", "ru", "sl", "sv", "uk", "vi", "zh"};
    const std::string_view language = std::string_view(locale).substr(0, locale.find('_'));
    return language.empty() ||
           std::find(std::begin(languages), std::end(languages), language) != std::end(languages);
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

/// What decides where an ASCII character stands in ICU's order for every language; 0 for one that does not
/// count.
int asciiWeight(char c) {
    static constexpr std::string_view marks = "\t\n\v\f\r _-,;:!?.'\"()[]{}@*/\\&#%`^+<=>|~$";
    if (isAsciiDigit(c)) {
        return 100 + (c - '0');
    }
    const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (lower >= 'a' && lower <= 'z') {
        return 200 + (lower - 'a');
    }
    return static_cast<int>(marks.find(c) + 1); // npos + 1 is 0
}

int compareAscii(std::string_view a, std::string_view b) {
    const auto weights = [](std::string_view text) {
        std::vector<int> found;
        for (const char c : text) {
            if (const int weight = asciiWeight(c); weight != 0) {
                found.push_back(weight);
            }
        }
        return found;
    };
    const auto order = weights(a) <=> weights(b);
    return order < 0 ? -1 : static_cast<int>(order > 0);
}

/// Text whose runs of ASCII digits are written so that comparing them digit by digit compares their values:
/// the number of digits stands in front, and the number of its digits before that. (ICU's own numeric order
/// breaks runs after 254 digits.)
std::string withSortableNumbers(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        if (!isAsciiDigit(text[at])) {
            result += text[at++];
            continue;
        }
        const auto end = static_cast<std::size_t>(
            std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), isAsciiDigit) -
            text.begin());
        const std::size_t first = std::min(end, text.find_first_not_of('0', at));
        const std::string length = std::to_string(end - first);
        result += std::to_string(length.size()) + length;
        result += text.substr(first, end - first);
        at = end;
    }
    return result;
}

icu::UnicodeString unicodeOf(std::string_view utf8) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
}

/// `withSortableNumbers` of text in any script.
icu::UnicodeString sortable(std::string_view utf8) {
    const icu::UnicodeString text = unicodeOf(utf8);
    icu::UnicodeString plain;
    for (int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
        const UChar32 character = text.char32At(at);
        plain.append(u_isdigit(character) != 0 ? u'0' + u_charDigitValue(character) : character);
    }
    std::string ascii;
    return unicodeOf(withSortableNumbers(plain.toUTF8String(ascii)));
}

std::unique_ptr<icu::Collator> makeCollator(const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
    if (U_FAILURE(status)) {
        return nullptr;
    }
    // Accents count, letter case does not.
    collator->setStrength(icu::Collator::SECONDARY);
    return collator;
}

} // namespace

IcuTextOrder::Collator::Collator(const std::string& locale)
    : icu(makeCollator(locale.empty() ? icu::Locale::getRoot()
                                      : icu::Locale::createFromName(locale.c_str()))) {
    if (!icu) {
        icu = makeCollator(icu::Locale::getRoot());
    }
}

int IcuTextOrder::Collator::compare(std::string_view a, std::string_view b) const {
    const icu::UnicodeString left = sortable(a);
    const icu::UnicodeString right = sortable(b);
    if (!icu) {
        return left.compareCodePointOrder(right);
    }
    // A constant collator may be used by several threads at once.
    UErrorCode status = U_ZERO_ERROR;
    return static_cast<int>(std::as_const(*icu).compare(left, right, status));
}

IcuTextOrder::IcuTextOrder(const Places& places)
    : locale_(localeOf(places)), plainAscii_(hasPlainAscii(locale_)) {
}

IcuTextOrder::~IcuTextOrder() = default;

int IcuTextOrder::compare(std::string_view a, std::string_view b) const {
    if (plainAscii_ && isAscii(a) && isAscii(b)) {
        return compareAscii(withSortableNumbers(a), withSortableNumbers(b));
    }
    std::call_once(once_, [this] { collator_ = std::make_unique<const Collator>(locale_); });
    return collator_->compare(a, b);
}

} // namespace keysong
