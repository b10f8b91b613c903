#include "Linux/Pointers/PointerLists.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <utility>

namespace keysong {

namespace {

using Json = nlohmann::json;

std::optional<std::uint32_t> numberOf(std::string_view text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Cuts the text at a character and returns what is before it; all where there is none.
std::string_view cutAt(std::string_view& text, char mark) {
    const std::size_t end = std::min(text.find(mark), text.size());
    const std::string_view before = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return before;
}

/// The rule that a group's heading begins: "[Libinput][1267][12529][A touchpad]".
std::optional<PointerRule> kdeRuleOf(std::string_view heading) {
    constexpr std::string_view begin = "[Libinput][";
    if (!heading.starts_with(begin) || !heading.ends_with(']')) {
        return std::nullopt;
    }
    heading.remove_prefix(begin.size());
    heading.remove_suffix(1);
    PointerRule rule;
    rule.vendor = numberOf(cutAt(heading, ']'));
    cutAt(heading, '[');
    rule.product = numberOf(cutAt(heading, ']'));
    cutAt(heading, '[');
    rule.name = heading;
    return rule.vendor && rule.product && !rule.name.empty() ? std::optional(rule) : std::nullopt;
}

void takeKdeChoice(PointerSettings& settings, std::string_view key, std::string_view value) {
    const std::pair<std::string_view, std::optional<bool> PointerSettings::*> switches[] = {
        {"Enabled", &PointerSettings::enabled},
        {"TapToClick", &PointerSettings::tap},
        {"LeftHanded", &PointerSettings::leftHanded},
        {"MiddleButtonEmulation", &PointerSettings::middleEmulation}};
    const bool on = value == "true";
    for (const auto& [name, member] : switches) {
        if (key == name) {
            settings.*member = on;
        }
    }
    if (key == "LmrTapButtonMap") {
        settings.tapButtons = on ? TapButtons::leftMiddleRight : TapButtons::leftRightMiddle;
    } else if (key == "ClickMethod") {
        const ClickMethod methods[] = {ClickMethod::none, ClickMethod::areas, ClickMethod::fingers};
        const auto number = numberOf(value);
        if (number && *number < std::size(methods)) {
            settings.clickMethod = methods[*number];
        }
    }
}

/// A choice among words; nothing for others, or where there is none.
template <typename Value>
std::optional<Value> choiceOf(const Json& object, const char* key,
                              std::initializer_list<std::pair<std::string_view, Value>> words) {
    const auto found = object.find(key);
    if (found != object.end() && found->is_string()) {
        for (const auto& [word, value] : words) {
            if (found->template get_ref<const std::string&>() == word) {
                return value;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> numberIn(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? std::optional(found->get<std::uint32_t>())
                                                                : std::nullopt;
}

std::optional<PointerRule> swayRuleOf(const Json& input) {
    if (!input.is_object() || !input.contains("libinput") || !input["libinput"].is_object() ||
        !input.contains("name") || !input["name"].is_string()) {
        return std::nullopt;
    }
    const Json& choices = input["libinput"];
    const auto isOn = [&](const char* key) {
        return choiceOf<bool>(choices, key, {{"enabled", true}, {"disabled", false}});
    };
    PointerRule rule;
    rule.vendor = numberIn(input, "vendor");
    rule.product = numberIn(input, "product");
    rule.name = input["name"].get<std::string>();
    rule.settings.enabled =
        choiceOf<bool>(choices, "send_events",
                       {{"enabled", true}, {"disabled", false}, {"disabled_on_external_mouse", true}});
    rule.settings.tap = isOn("tap");
    rule.settings.leftHanded = isOn("left_handed");
    rule.settings.middleEmulation = isOn("middle_emulation");
    rule.settings.tapButtons =
        choiceOf<TapButtons>(choices, "tap_button_map",
                             {{"lrm", TapButtons::leftRightMiddle}, {"lmr", TapButtons::leftMiddleRight}});
    rule.settings.clickMethod = choiceOf<ClickMethod>(choices, "click_method",
                                                      {{"none", ClickMethod::none},
                                                       {"button_areas", ClickMethod::areas},
                                                       {"clickfinger", ClickMethod::fingers}});
    return rule;
}

} // namespace

PointerRules kdePointerRules(std::string_view text) {
    PointerRules rules;
    bool inRule = false;
    while (!text.empty()) {
        const std::string_view line = cutAt(text, '\n');
        if (line.starts_with('[')) {
            auto rule = kdeRuleOf(line);
            inRule = rule.has_value();
            if (inRule) {
                rules.push_back(std::move(*rule));
            }
        } else if (inRule) {
            std::string_view value = line;
            const std::string_view key = cutAt(value, '=');
            takeKdeChoice(rules.back().settings, key, value);
        }
    }
    return rules;
}

PointerRules swayPointerRules(std::string_view json) {
    PointerRules rules;
    const Json inputs = Json::parse(json, nullptr, false);
    if (inputs.is_array()) {
        for (const Json& input : inputs) {
            if (auto rule = swayRuleOf(input)) {
                rules.push_back(std::move(*rule));
            }
        }
    }
    return rules;
}

} // namespace keysong
