#include "Audio/ToneControl.h"

#include "Shared/NumberText.h"

#include <cmath>

namespace keysong {

namespace {

constexpr float shelfRange = 6.0F;    // decibels at either end of the tone control
constexpr float makeupRange = 2.0F;   // decibels
constexpr float bodyOctaves = 0.25F;  // three semitones
constexpr float tolerance = 0.00001F; // of the self-check

void check(std::vector<std::string>& failures, const std::string& what, float value, float wanted) {
    if (!(std::abs(value - wanted) <= tolerance)) {
        failures.push_back(what + " is " + shortestText(value) + ", wanted " + shortestText(wanted));
    }
}

} // namespace

float ToneControl::clamped(float value) noexcept {
    if (std::isnan(value)) {
        return 0.0F;
    }
    if (value <= -1.0F) {
        return -1.0F;
    }
    return value > 1.0F ? 1.0F : value;
}

ShelfGains ToneControl::shelves(float tone) noexcept {
    const float t = clamped(tone);
    return {-shelfRange * t, shelfRange * t, -makeupRange * t};
}

float ToneControl::rate(float body) noexcept {
    return std::exp2(clamped(body) * bodyOctaves);
}

std::vector<std::string> ToneControl::selfCheck() {
    struct ToneRow {
        float tone;
        ShelfGains wanted;
    };
    struct BodyRow {
        float body;
        float wanted;
    };
    std::vector<std::string> failures;
    for (const ToneRow& row :
         {ToneRow{0, {0, 0, 0}}, ToneRow{-1, {6, -6, 2}}, ToneRow{1, {-6, 6, -2}},
          ToneRow{-0.7F, {4.2F, -4.2F, 1.4F}}, ToneRow{-9, {6, -6, 2}}, ToneRow{5, {-6, 6, -2}}}) {
        const ShelfGains gains = shelves(row.tone);
        const std::string at = " at tone " + shortestText(row.tone);
        check(failures, "low shelf" + at, gains.low, row.wanted.low);
        check(failures, "high shelf" + at, gains.high, row.wanted.high);
        check(failures, "makeup" + at, gains.makeup, row.wanted.makeup);
    }
    for (const BodyRow& row : {BodyRow{0, 1}, BodyRow{-1, 0.8408964F}, BodyRow{1, 1.1892071F},
                               BodyRow{-0.7F, 0.8857675F}, BodyRow{9, 1.1892071F}}) {
        check(failures, "rate at body " + shortestText(row.body), rate(row.body), row.wanted);
    }
    return failures;
}

} // namespace keysong
