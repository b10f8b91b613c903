#include "Packs/PackSounds.h"
#include "Packs/PackValues.h"

namespace keysong {

namespace {

std::vector<Clip> clipsOf(const std::optional<SoundManifest::FileNames>& names, const PackReading& reading,
                          const std::string& entry) {
    std::vector<Clip> clips;
    for (const std::string& name : names.value_or(SoundManifest::FileNames())) {
        if (auto clip = namedFile(name, reading, entry)) {
            clips.push_back(std::move(*clip));
        }
    }
    return clips;
}

Variants<Clip> variantsOf(const SoundManifest::Pair& pair, const PackReading& reading,
                          const std::string& entry) {
    auto down = clipsOf(pair.down, reading, entry + ".down");
    return {std::move(down), clipsOf(pair.up, reading, entry + ".up")};
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
    sounds.plan.defaults = variantsOf(manifest.defaults, reading, "defaults");
    if (manifest.groups) {
        for (const auto& [name, pair] : *manifest.groups) {
            if (const auto group = keyGroupFromRawValue(name)) {
                sounds.plan.groups.emplace(*group, variantsOf(pair, reading, name));
            } else {
                reading.report.leave("a group of keys that does not exist", name);
            }
        }
    }
    if (manifest.keys) {
        for (const auto& [name, pair] : *manifest.keys) {
            if (const auto code = keyCodeFromEntryName(name)) {
                sounds.plan.keys.emplace(*code, variantsOf(pair, reading, name));
            } else {
                reading.report.leave("a key code that no keyboard has", name);
            }
        }
    }
    if (const auto& mouse = manifest.mouse) {
        const std::array buttons = {&mouse->left, &mouse->right, &mouse->other};
        for (std::size_t button = 0; button < buttons.size(); ++button) {
            if (*buttons[button]) {
                sounds.plan.buttons[button] = variantsOf(**buttons[button], reading, "mouse");
            }
        }
        sounds.plan.scroll = clipsOf(mouse->scroll, reading, "mouse.scroll");
    }
    return sounds;
}

} // namespace keysong
