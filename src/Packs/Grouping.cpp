#include "Packs/Grouping.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace keysong {

namespace {

using Names = std::vector<std::string>;
using FileVariants = Variants<std::string>;
using Direction = Names FileVariants::*;

std::optional<Names> ifAny(const Names& names) {
    return names.empty() ? std::nullopt : std::optional(names);
}

SoundManifest::Pair pairOf(const FileVariants& variants) {
    return {ifAny(variants.down), ifAny(variants.up)};
}

bool isEmpty(const FileVariants& variants) {
    return variants.down.empty() && variants.up.empty();
}

std::vector<std::uint8_t> codesOf(KeyGroup group) {
    std::vector<std::uint8_t> codes;
    for (int code = 0; code <= UINT8_MAX; ++code) {
        if (keyGroupOf(static_cast<std::uint16_t>(code)) == group) {
            codes.push_back(static_cast<std::uint8_t>(code));
        }
    }
    return codes;
}

/// A few different sounds of the main keys, or of any keys when those have none: for keys that the pack does
/// not know.
Names someOf(const SoundPlan<std::string>& plan, Direction direction) {
    constexpr std::size_t enough = 5;
    Names names;
    for (const bool onlyMain : {true, false}) {
        for (const auto& [code, variants] : plan.keys) {
            const bool fits = !onlyMain || keyGroupOf(code) == KeyGroup::main;
            for (const std::string& name : variants.*direction) {
                if (fits && names.size() < enough && name != silenceFileName &&
                    std::find(names.begin(), names.end(), name) == names.end()) {
                    names.push_back(name);
                }
            }
        }
        if (!names.empty()) {
            return names;
        }
    }
    for (const auto& [group, variants] : plan.groups) {
        if (!(variants.*direction).empty()) {
            return variants.*direction;
        }
    }
    return names;
}

/// Finds what the keys have in common in one direction, and takes away what then needs no saying.
class DirectionGrouper {
  public:
    /// `isSilent` tells for each key whether it makes no sound in this direction unless the plan gives it
    /// one.
    DirectionGrouper(SoundPlan<std::string>& plan, Direction direction,
                     const std::array<bool, UINT8_MAX + 1>& isSilent)
        : plan_(plan), direction_(direction), isSilent_(isSilent),
          hasDefault_(!(plan.defaults.*direction).empty()) {}

    void group() {
        Names& defaults = plan_.defaults.*direction_;
        if (!hasDefault_ && !anyIsSilent()) {
            defaults = someDefault();
        }
        for (const KeyGroup group : allKeyGroups) {
            Names& own = plan_.groups[group].*direction_;
            if (own.empty()) {
                own = commonList(group);
            }
            if (own == defaults) {
                own.clear();
            }
        }
        for (auto& [code, variants] : plan_.keys) {
            const Names& own = plan_.groups[keyGroupOf(code)].*direction_;
            if (variants.*direction_ == (own.empty() ? defaults : own)) {
                (variants.*direction_).clear();
            }
        }
    }

  private:
    [[nodiscard]] bool hasOwn(std::uint8_t code) const {
        const auto found = plan_.keys.find(code);
        return found != plan_.keys.end() && !(found->second.*direction_).empty();
    }

    [[nodiscard]] bool needsSilence(std::uint8_t code) const {
        const auto group = plan_.groups.find(keyGroupOf(code));
        const bool hasGroup = group != plan_.groups.end() && !(group->second.*direction_).empty();
        return isSilent_[code] && !hasOwn(code) && !hasGroup;
    }

    [[nodiscard]] bool anyIsSilent() const {
        for (int code = 0; code <= UINT8_MAX; ++code) {
            if (needsSilence(static_cast<std::uint8_t>(code))) {
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] Names someDefault() {
        Names names = plan_.groups[KeyGroup::main].*direction_;
        if (names.empty()) {
            names = commonList(KeyGroup::main);
        }
        return names.empty() ? someOf(plan_, direction_) : names;
    }

    /// The list that a group may have; empty when there is none. Keys without a list of their own then say
    /// that they play the plan's default.
    [[nodiscard]] Names commonList(KeyGroup group) {
        std::map<Names, std::size_t> counts;
        std::size_t keys = 0;
        std::vector<std::uint8_t> others;
        for (const std::uint8_t code : codesOf(group)) {
            if (hasOwn(code)) {
                ++counts[plan_.keys[code].*direction_];
                ++keys;
            } else if (hasDefault_) {
                others.push_back(code);
            } else if (needsSilence(code)) {
                return {};
            }
        }
        const auto most = std::max_element(counts.begin(), counts.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
        const std::size_t against = hasDefault_ ? others.size() : keys / 2;
        if (most == counts.end() || most->second <= against) {
            return {};
        }
        for (const std::uint8_t code : others) {
            plan_.keys[code].*direction_ = plan_.defaults.*direction_;
        }
        return most->first;
    }

    SoundPlan<std::string>& plan_;
    const Direction direction_;
    const std::array<bool, UINT8_MAX + 1>& isSilent_;
    const bool hasDefault_;
};

} // namespace

SoundPlan<std::string> grouped(SoundPlan<std::string> plan) {
    // Looked at before sounds for going down are taken away.
    std::array<bool, UINT8_MAX + 1> silentDown{};
    std::array<bool, UINT8_MAX + 1> silentUp{};
    for (int code = 0; code <= UINT8_MAX; ++code) {
        const auto key = plan.keys.find(static_cast<std::uint8_t>(code));
        const auto group = plan.groups.find(keyGroupOf(static_cast<std::uint16_t>(code)));
        const bool isKnown = !plan.defaults.down.empty() ||
                             (key != plan.keys.end() && !key->second.down.empty()) ||
                             (group != plan.groups.end() && !group->second.down.empty());
        silentUp[static_cast<std::size_t>(code)] = isKnown && plan.defaults.up.empty();
    }
    DirectionGrouper(plan, &FileVariants::down, silentDown).group();
    DirectionGrouper(plan, &FileVariants::up, silentUp).group();
    return plan;
}

void completeReleases(SoundPlan<Clip>& plan) {
    if (!plan.defaults.down.empty() || !plan.defaults.up.empty()) {
        return;
    }
    std::vector<Variants<Clip>*> without;
    std::size_t with = 0;
    for (auto& [code, variants] : plan.keys) {
        if (!variants.up.empty()) {
            ++with;
        } else if (!variants.down.empty()) {
            without.push_back(&variants);
        }
    }
    if (with > without.size()) {
        for (Variants<Clip>* const variants : without) {
            variants->up = {Clip()};
        }
    }
}

SoundManifest manifestOf(const SoundPlan<std::string>& plan) {
    SoundManifest manifest;
    manifest.schema = 1;
    manifest.defaults = pairOf(plan.defaults);
    for (const auto& [group, variants] : plan.groups) {
        if (!isEmpty(variants)) {
            (manifest.groups ? *manifest.groups : manifest.groups.emplace())
                .emplace(std::string(rawValue(group)), pairOf(variants));
        }
    }
    for (const auto& [code, variants] : plan.keys) {
        if (!isEmpty(variants)) {
            (manifest.keys ? *manifest.keys : manifest.keys.emplace())
                .emplace(std::to_string(code), pairOf(variants));
        }
    }
    const auto button = [&plan](MouseButton which) -> std::optional<SoundManifest::Pair> {
        const FileVariants& variants = plan.buttons[static_cast<std::size_t>(which)];
        return isEmpty(variants) ? std::nullopt : std::optional(pairOf(variants));
    };
    const SoundManifest::Mouse mouse{button(MouseButton::left), button(MouseButton::right),
                                     button(MouseButton::other), ifAny(plan.scroll)};
    if (mouse != SoundManifest::Mouse{}) {
        manifest.mouse = mouse;
    }
    return manifest;
}

} // namespace keysong
