#include "Packs/PackSounds.h"
#include "Packs/PackValues.h"
#include "Shared/NumberText.h"

#include <utility>

namespace keysong {

namespace {

using Json = nlohmann::json;

constexpr std::string_view releaseSuffix = "-up";

/// One entry of "defines" whose name is understood.
struct Define {
    std::uint16_t kernelCode;
    bool isRelease;
    const Json* value;
};

/// The code of an entry's name, with or without the suffix for a release.
std::optional<std::int64_t> codeOf(std::string_view name) {
    if (name.ends_with(releaseSuffix)) {
        name.remove_suffix(releaseSuffix.size());
    }
    return parseInteger<std::int64_t>(name);
}

/// Whether the pack was made where the kernel's own numbers were added: they overlap with those of F16 and
/// up, but some of them mean nothing else.
bool usesKernelNumbers(const Json& defines) {
    for (const auto& entry : defines.items()) {
        const auto code = codeOf(entry.key());
        if (code && isKernelNumberOnly(*code)) {
            return true;
        }
    }
    return false;
}

std::vector<Define> readDefines(const Json& defines, PackReport& report) {
    const bool kernelNumbers = usesKernelNumbers(defines);
    std::vector<Define> result;
    for (const auto& entry : defines.items()) {
        const std::string& name = entry.key();
        const auto code = codeOf(name);
        if (result.size() >= mostPackKeys) {
            report.leave("more keys than there are", name);
        } else if (!code) {
            report.leave("a key that is no number", name);
        } else if (const auto kernelCode = kernelCodeOfScanCode(*code, kernelNumbers)) {
            result.push_back({*kernelCode, name.ends_with(releaseSuffix), &entry.value()});
        } else if (!entry.value().is_null()) {
            report.leave("a key code that no keyboard has", name);
        }
    }
    return result;
}

/// The clips of one entry; empty when there is none or it is broken.
std::vector<Clip> clipsOf(const Define& define, const std::string& sprite, const PackReading& reading) {
    if (define.value->is_null()) {
        return {};
    }
    if (sprite.empty()) {
        return namedFiles(*define.value, reading);
    }
    const auto range = rangeFromLength(*define.value);
    if (!range) {
        reading.report.leave("a piece of the recording that is no start and length",
                             std::to_string(define.kernelCode));
        return {};
    }
    return {{sprite, range}};
}

void addDefine(const Define& define, std::vector<Clip> clips, SoundPlan<Clip>& plan,
               const PackReading& reading) {
    if (clips.empty()) {
        return;
    }
    const auto key = reading.keys(define.kernelCode);
    if (!key) {
        reading.report.leave("a media key", std::to_string(define.kernelCode));
        return;
    }
    auto& place = plan.keys[*key];
    auto& list = define.isRelease ? place.up : place.down;
    if (list.empty()) {
        list = std::move(clips);
    } else if (list != clips) {
        reading.report.leave("a second sound for the same key", std::to_string(define.kernelCode));
    }
}

} // namespace

PackSounds readScanCodePack(const Json& config, const PackReading& reading) {
    PackSounds sounds;
    sounds.format = "config.json, keys by scan code";
    sounds.id = textAt(config, "id");
    sounds.name = textAt(config, "name");
    const bool isSingle = textAt(config, "key_define_type") != "multi";
    std::string sprite;
    if (isSingle) {
        const std::string mentioned = textAt(config, "sound");
        const auto found = reading.files.find(mentioned);
        if (!found) {
            throw PackError("the recording \"" + printable(mentioned) + "\" is not in the pack");
        }
        sprite = *found;
    } else {
        // What a key without an entry of its own sounds like.
        sounds.plan.defaults = {namedFiles(valueAt(config, "sound"), reading),
                                namedFiles(valueAt(config, "soundup"), reading)};
    }
    const Json& defines = valueAt(config, "defines");
    if (!defines.is_object()) {
        if (sounds.plan.defaults.down.empty()) {
            throw PackError("the pack defines no sounds");
        }
        return sounds;
    }
    for (const Define& define : readDefines(defines, reading.report)) {
        addDefine(define, clipsOf(define, sprite, reading), sounds.plan, reading);
    }
    return sounds;
}

} // namespace keysong
