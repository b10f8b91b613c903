#include "UI/Settings/SwitchGroups.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace keysong {

namespace {

constexpr std::string_view yours = "Yours";
constexpr std::array<std::string_view, 12> groupOrder = {"Cherry",   "Gateron",    "Kailh",    "NovelKeys",
                                                         "Boutique", "Topre",      "IBM",      "Alps",
                                                         "Keychron", "Deep Clack", "Oddities", yours};

const std::unordered_map<std::string_view, std::string_view>& byId() {
    static const std::unordered_map<std::string_view, std::string_view> table = {
        {"cherry-mx-black", "Cherry"},    {"cherry-mx-blue", "Cherry"},
        {"cherry-mx-brown", "Cherry"},    {"cherry-kc1000", "Cherry"},
        {"gateron-black-ink", "Gateron"}, {"gateron-red-ink", "Gateron"},
        {"kailh-box-navy", "Kailh"},      {"novelkeys-cream", "NovelKeys"},
        {"alpaca", "Boutique"},           {"holy-panda", "Boutique"},
        {"tealios", "Boutique"},          {"topre", "Topre"},
        {"buckling-spring", "IBM"},       {"blue-alps", "Alps"},
        {"keychron-v1", "Keychron"},      {"deep-clack-1", "Deep Clack"},
        {"deep-clack-2", "Deep Clack"},   {"deep-clack-3", "Deep Clack"},
        {"deep-clack-4", "Deep Clack"},   {"smith-corona", "Oddities"},
        {"low-profile", "Oddities"}};
    return table;
}

} // namespace

std::span<const std::string_view> SwitchGroups::order() {
    return groupOrder;
}

std::string_view SwitchGroups::groupOf(std::string_view setId) {
    const auto entry = byId().find(setId);
    return entry != byId().end() ? entry->second : yours;
}

std::vector<SwitchGroups::Group> SwitchGroups::grouped(std::span<const SoundSetInfo> sets) {
    std::vector<Group> result;
    for (const std::string_view name : groupOrder) {
        Group group{name, {}};
        std::ranges::copy_if(sets, std::back_inserter(group.sets),
                             [&](const SoundSetInfo& set) { return groupOf(set.id) == name; });
        if (!group.sets.empty()) {
            result.push_back(std::move(group));
        }
    }
    return result;
}

} // namespace keysong
