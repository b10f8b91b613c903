#include "UI/Look/FixedDigits.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>
#include <algorithm>
#include <string_view>

namespace keysong {

namespace {

bool hasFixedDigits(const QFont& font) {
    const QFontMetricsF metrics(font);
    constexpr std::u16string_view digits = u"0123456789";
    return std::all_of(digits.begin(), digits.end(), [&](char16_t digit) {
        return metrics.horizontalAdvance(QChar(digit)) == metrics.horizontalAdvance(QChar(u'0'));
    });
}

} // namespace

QFont withFixedDigits(const QFont& font) {
    // This toolkit cannot ask a font for its other set of digits.
    QFont candidate = font;
    for (const char* const family : {"Noto Sans", "DejaVu Sans", "Liberation Sans"}) {
        if (hasFixedDigits(candidate)) {
            return candidate;
        }
        candidate.setFamilies(QStringList(family));
    }
    candidate.setFamilies(QFontDatabase::systemFont(QFontDatabase::FixedFont).families());
    return hasFixedDigits(candidate) ? candidate : font;
}

} // namespace keysong
