#include "Packs/PackSounds.h"

namespace keysong {

namespace {

std::vector<Clip> clipsOf(const std::optional<SoundManifest::FileNames>& names, const PackReading& reading) {
    std::vector<Clip> clips;
    for (const std::string& name : names.value_or(SoundManifest::FileNames())) {
        if (const auto found = reading.files.find(name)) {
            clips.push_back({*found, std::nullopt});
        } else {
            reading.report.leave("a sound file that is not in the pack", name);
        }
    }
    return clips;
}

Variants<Clip> variantsOf(const SoundManifest::Pair& pair, const PackReading& reading) {
    auto down = clipsOf(pair.down, reading);
    return {std::move(down), clipsOf(pair.up, reading)};
}

} // namespace

PackSounds readSetPack(const SoundManifest& manifest, const PackReading& reading) {
    PackSounds sounds;
    sounds.format = "a sound set";
    sounds.isGrouped = true;
    sounds.id = manifest.id;
    sounds.name = manifest.name;
    sounds.gain = manifest.gain;
    sounds.pitchVariation = manifest.pitchVariation;
    sounds.gainVariation = manifest.gainVariation;
    sounds.plan.defaults = variantsOf(manifest.defaults, reading);
    if (manifest.groups) {
        for (const auto& [name, pair] : *manifest.groups) {
            if (const auto group = keyGroupFromRawValue(name)) {
                sounds.plan.groups.emplace(*group, variantsOf(pair, reading));
            } else {
                reading.report.leave("a group of keys that does not exist", name);
            }
        }
    }
    if (manifest.keys) {
        for (const auto& [name, pair] : *manifest.keys) {
            if (const auto code = keyCodeFromEntryName(name)) {
                sounds.plan.keys.emplace(*code, variantsOf(pair, reading));
            } else {
                reading.report.leave("a key code that no keyboard has", name);
            }
        }
    }
    if (const auto& mouse = manifest.mouse) {
        const std::array buttons = {&mouse->left, &mouse->right, &mouse->other};
        for (std::size_t button = 0; button < buttons.size(); ++button) {
            if (*buttons[button]) {
                sounds.plan.buttons[button] = variantsOf(**buttons[button], reading);
            }
        }
        sounds.plan.scroll = clipsOf(mouse->scroll, reading);
    }
    return sounds;
}

} // namespace keysong
