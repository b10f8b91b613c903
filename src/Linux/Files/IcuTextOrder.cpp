#include "Linux/Files/IcuTextOrder.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string>
#include <utility>

namespace keysong {

struct IcuTextOrder::Collator {
    /// Null on a machine without ICU's data; then code points are compared.
    std::unique_ptr<icu::Collator> icu;
};

namespace {

icu::Locale localeOf(const Places& places) {
    std::string name;
    for (const char* const variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        name = places.environment(variable).value_or("");
        if (!name.empty()) {
            break;
        }
    }
    name.resize(std::min(name.size(), name.find_first_of(".@")));
    if (name.empty() || name == "C" || name == "POSIX" || name == "en_US_POSIX") {
        return icu::Locale::getRoot();
    }
    return icu::Locale::createFromName(name.c_str());
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

void appendDecimal(icu::UnicodeString& text, int number) {
    for (const char digit : std::to_string(number)) {
        text.append(static_cast<UChar>(digit));
    }
}

/// Text whose digit runs are written so that comparing them digit by digit compares their values: the
/// number of digits stands in front, and the number of its digits before that. (ICU's own numeric order
/// breaks runs after 254 digits.)
icu::UnicodeString withSortableNumbers(std::string_view utf8) {
    const auto text =
        icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
    icu::UnicodeString result;
    for (int32_t at = 0; at < text.length();) {
        icu::UnicodeString digits;
        bool isNumber = false;
        for (; at < text.length() && u_isdigit(text.char32At(at)) != 0; at = text.moveIndex32(at, 1)) {
            const int32_t value = u_charDigitValue(text.char32At(at));
            isNumber = true;
            if (value != 0 || !digits.isEmpty()) {
                digits.append(static_cast<UChar>(u'0' + value));
            }
        }
        if (!isNumber) {
            result.append(text.char32At(at));
            at = text.moveIndex32(at, 1);
            continue;
        }
        const int length = digits.length();
        appendDecimal(result, static_cast<int>(std::to_string(length).size()));
        appendDecimal(result, length);
        result.append(digits);
    }
    return result;
}

} // namespace

IcuTextOrder::IcuTextOrder(const Places& places) {
    auto collator = makeCollator(localeOf(places));
    if (!collator) {
        collator = makeCollator(icu::Locale::getRoot());
    }
    collator_ = std::make_unique<const Collator>(Collator{std::move(collator)});
}

IcuTextOrder::~IcuTextOrder() = default;

int IcuTextOrder::compare(std::string_view a, std::string_view b) const {
    const icu::UnicodeString left = withSortableNumbers(a);
    const icu::UnicodeString right = withSortableNumbers(b);
    if (!collator_->icu) {
        return left.compareCodePointOrder(right);
    }
    // A constant collator may be used by several threads at once.
    UErrorCode status = U_ZERO_ERROR;
    return static_cast<int>(std::as_const(*collator_->icu).compare(left, right, status));
}

} // namespace keysong
