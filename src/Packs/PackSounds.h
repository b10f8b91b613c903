#pragma once

#include "Packs/PackFiles.h"
#include "Packs/PackKeys.h"
#include "Packs/PackReport.h"
#include "Shared/SoundManifest.h"

#include <nlohmann/json_fwd.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace keysong {

/// A piece of a recording, in milliseconds. As the pack says it; it may lie anywhere.
struct ClipRange {
    double startMs = 0;
    double lengthMs = 0;

    friend bool operator==(const ClipRange&, const ClipRange&) = default;
};

/// One sound of a pack: a file, or a piece of one.
struct Clip {
    /// A name of the pack's files; empty for silence, which is a sound of its own: a manifest can't say that
    /// a key has none.
    std::string file;
    std::optional<ClipRange> range;

    [[nodiscard]] bool isSilence() const noexcept { return file.empty(); }

    friend bool operator==(const Clip&, const Clip&) = default;
};

/// What the file of silence is called in a set.
inline constexpr const char* silenceFileName = "silence.flac";

/// The sounds that stand for each other at random, going down and coming up.
template <typename Sound>
struct Variants {
    std::vector<Sound> down;
    std::vector<Sound> up;

    friend bool operator==(const Variants&, const Variants&) = default;
};

/// Which sounds belong where, whatever the format that said so. `Sound` is a clip as the pack names it, or
/// the name of a file of the finished set.
template <typename Sound>
struct SoundPlan {
    Variants<Sound> defaults;
    std::map<KeyGroup, Variants<Sound>> groups;
    std::map<std::uint8_t, Variants<Sound>> keys;
    std::array<Variants<Sound>, 3> buttons;
    std::vector<Sound> scroll;
};

/// The same plan with other sounds: `to` gives the one for each, or none for one that falls out.
template <typename To, typename From, typename Function>
[[nodiscard]] SoundPlan<To> mapPlan(const SoundPlan<From>& plan, const Function& to) {
    const auto mapList = [&to](const std::vector<From>& sounds) {
        std::vector<To> result;
        for (const From& sound : sounds) {
            if (std::optional<To> mapped = to(sound)) {
                result.push_back(std::move(*mapped));
            }
        }
        return result;
    };
    const auto mapBoth = [&mapList](const Variants<From>& sounds) {
        auto down = mapList(sounds.down);
        return Variants<To>{std::move(down), mapList(sounds.up)};
    };
    SoundPlan<To> result;
    result.defaults = mapBoth(plan.defaults);
    for (const auto& [group, sounds] : plan.groups) {
        result.groups.emplace(group, mapBoth(sounds));
    }
    for (const auto& [code, sounds] : plan.keys) {
        result.keys.emplace(code, mapBoth(sounds));
    }
    for (std::size_t button = 0; button < plan.buttons.size(); ++button) {
        result.buttons[button] = mapBoth(plan.buttons[button]);
    }
    result.scroll = mapList(plan.scroll);
    return result;
}

/// What was read from a pack.
struct PackSounds {
    /// The format in words.
    std::string format;
    /// As the pack has them; either may be empty.
    std::string id;
    std::string name;
    /// The set's level and how it varies, as a manifest has them.
    std::optional<float> gain;
    std::optional<float> pitchVariation;
    std::optional<float> gainVariation;
    SoundPlan<Clip> plan;
    /// The plan is for groups of keys already, and says exactly what is wanted.
    bool isGrouped = false;
};

/// What a reader of packs works with. One thread.
struct PackReading {
    const PackFiles& files;
    const KernelKeys& keys;
    PackReport& report;
};

/// Readers of the formats, one each. A broken entry is left and reported; what makes the whole useless is a
/// `PackError`.

/// A sound set of this program, as somebody else made it.
[[nodiscard]] PackSounds readSetPack(const SoundManifest& manifest, const PackReading& reading);
/// "config.json" with sounds by scan code.
[[nodiscard]] PackSounds readScanCodePack(const nlohmann::json& config, const PackReading& reading);
/// "config.json" of version 2, with sounds by key name.
[[nodiscard]] PackSounds readNamedKeyPack(const nlohmann::json& config, const PackReading& reading);
/// "profile.yaml".
[[nodiscard]] PackSounds readProfilePack(const nlohmann::json& profile, const PackReading& reading);
/// Sound files whose names say what they are for.
[[nodiscard]] PackSounds readPlainFolder(const PackReading& reading);

/// One pack among files, found but not read.
struct FoundPack {
    /// The name of the folder that it lies in; empty where that is the top of all files.
    std::string title;
    PackFiles files;
    /// Reads it; may throw `PackError`. What `reading` refers to outlives the call.
    std::function<PackSounds(const PackReading& reading)> read;
};

/// Finds the packs that the files hold: all of their own folders, or a single folder of sound files. A
/// configuration that is not known does not hide another one. Throws `PackError` when there is nothing to
/// import, or what there is would be guessed.
[[nodiscard]] std::vector<FoundPack> findPacks(const PackFiles& files, PackReport& report);

/// The place of a target's sounds in a plan; null for a key that the machine does not know. Scrolling has no
/// place of this kind.
[[nodiscard]] Variants<Clip>* variantsOf(SoundPlan<Clip>& plan, const NamedTarget& target,
                                         const KernelKeys& keys);

} // namespace keysong
