#include "Packs/Grouping.h"

#include <algorithm>
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

/// How many of a set's keys belong to a group.
int sizeOf(KeyGroup group) {
    int size = 0;
    for (int code = 0; code <= UINT8_MAX; ++code) {
        size += keyGroupOf(static_cast<std::uint16_t>(code)) == group ? 1 : 0;
    }
    return size;
}

/// The list that most of a group's keys share in one direction; empty when there is no such list. Keys
/// without a list of their own count against it where they have a default to play instead.
Names commonList(const SoundPlan<std::string>& plan, KeyGroup group, Direction direction, bool hasDefault) {
    std::map<Names, int> counts;
    int keys = 0;
    for (const auto& [code, variants] : plan.keys) {
        if (keyGroupOf(code) == group && !(variants.*direction).empty()) {
            ++counts[variants.*direction];
            ++keys;
        }
    }
    for (const auto& [names, count] : counts) {
        if (hasDefault ? count * 2 >= sizeOf(group) : count * 2 > keys) {
            return names;
        }
    }
    return {};
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
                if (fits && names.size() < enough &&
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
void groupDirection(SoundPlan<std::string>& plan, Direction direction) {
    Names& defaults = plan.defaults.*direction;
    const bool hasDefault = !defaults.empty();
    if (defaults.empty()) {
        defaults = plan.groups[KeyGroup::main].*direction;
    }
    if (defaults.empty()) {
        defaults = commonList(plan, KeyGroup::main, direction, hasDefault);
    }
    if (defaults.empty()) {
        defaults = someOf(plan, direction);
    }
    for (const KeyGroup group : allKeyGroups) {
        Names& own = plan.groups[group].*direction;
        if (own.empty()) {
            own = commonList(plan, group, direction, hasDefault);
        }
        if (own == defaults) {
            own.clear();
        }
    }
    for (auto& [code, variants] : plan.keys) {
        const Names& own = plan.groups[keyGroupOf(code)].*direction;
        if (variants.*direction == (own.empty() ? defaults : own)) {
            (variants.*direction).clear();
        }
    }
}

} // namespace

SoundPlan<std::string> grouped(SoundPlan<std::string> plan) {
    groupDirection(plan, &FileVariants::down);
    groupDirection(plan, &FileVariants::up);
    return plan;
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
