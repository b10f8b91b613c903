#include "Packs/PackSounds.h"
#include "Packs/PackValues.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <utility>

namespace keysong {

namespace {

using Json = nlohmann::json;

constexpr std::string_view releaseSuffix = "-up";

/// One entry of "defines" whose name is understood.
struct Define {
    /// As the pack writes it.
    std::string name;
    bool isRelease;
    const Json* value;
    NamedTarget target;
    /// The target is the kernel's own number of a key; this is what it means as a scan code, if anything.
    bool isGuess = false;
    std::optional<std::uint16_t> asScanCode = std::nullopt;
};

NamedTarget keyTarget(std::uint16_t kernelCode) {
    return {NamedTarget::Kind::key, kernelCode, {}, {}};
}

bool endsWithRelease(std::string_view name) {
    return name.ends_with(releaseSuffix);
}

/// An entry's name without the suffix for a release.
std::string_view keyNameOf(std::string_view name) {
    return endsWithRelease(name) ? name.substr(0, name.size() - releaseSuffix.size()) : name;
}

/// Whether the pack was made where the kernel's own numbers were used: some of them mean nothing else. Beside
/// codes with a prefix, which such a place does not have, one or two of them are more likely a mistake.
bool usesKernelNumbers(const Json& defines) {
    constexpr std::size_t enoughBesideExtended = 3;
    std::size_t kernelOnly = 0;
    bool hasExtended = false;
    for (const auto& entry : defines.items()) {
        const auto code = parseInteger<std::int64_t>(keyNameOf(entry.key()));
        if (code && !endsWithRelease(entry.key())) {
            hasExtended = hasExtended || isExtendedScanCode(*code);
            kernelOnly += mayBeKernelNumber(*code) && !kernelCodeOfScanCode(*code) ? 1U : 0U;
        }
    }
    return kernelOnly >= (hasExtended ? enoughBesideExtended : 1);
}

std::optional<Define> defineOf(const std::string& name, const Json& value, bool kernelNumbers) {
    Define define{name, endsWithRelease(name), &value, {}};
    const std::string_view key = keyNameOf(name);
    const auto code = parseInteger<std::int64_t>(key);
    if (!code) {
        const auto target = targetNamed(key);
        define.target = target.value_or(NamedTarget());
        return target ? std::optional(define) : std::nullopt;
    }
    const auto scanCode = kernelCodeOfScanCode(*code);
    if (kernelNumbers && mayBeKernelNumber(*code)) {
        define.target = keyTarget(static_cast<std::uint16_t>(*code));
        define.isGuess = true;
        define.asScanCode = scanCode;
    } else if (scanCode) {
        define.target = keyTarget(*scanCode);
    } else {
        return std::nullopt;
    }
    return define;
}

/// The entries that are understood, those that are certain first.
std::vector<Define> readDefines(const Json& defines, PackReport& report) {
    const bool kernelNumbers = usesKernelNumbers(defines);
    std::vector<Define> result;
    for (const auto& entry : defines.items()) {
        if (result.size() >= mostPackKeys) {
            report.leave("more keys than there are", entry.key());
        } else if (auto define = defineOf(entry.key(), entry.value(), kernelNumbers)) {
            result.push_back(std::move(*define));
        } else if (!entry.value().is_null()) {
            const bool isNumber = parseInteger<std::int64_t>(keyNameOf(entry.key())).has_value();
            report.leave(isNumber ? "a key code that no keyboard has" : "a key that is no number and no name",
                         entry.key());
        }
    }
    std::stable_partition(result.begin(), result.end(), [](const Define& define) { return !define.isGuess; });
    return result;
}

/// Reads the entries into the plan, one after the other.
class DefineReader {
  public:
    /// `sprite` is the recording that pieces are cut from; empty where there is none.
    DefineReader(std::string sprite, const PackReading& reading, SoundPlan<Clip>& plan)
        : sprite_(std::move(sprite)), reading_(reading), plan_(plan) {}

    void read(const Define& define) {
        std::vector<Clip> clips = clipsOf(define);
        if (clips.empty()) {
            return;
        }
        if (define.target.kind == NamedTarget::Kind::scroll) {
            plan_.scroll = std::move(clips);
            return;
        }
        auto* list = listOf(define, define.target);
        if (list != nullptr && *list == clips) {
            return;
        }
        if (list != nullptr && !list->empty() && define.isGuess && define.asScanCode) {
            // What is certain has the key already: this is the other one of the same code.
            list = listOf(define, keyTarget(*define.asScanCode));
        }
        if (list == nullptr) {
            if (!define.value->is_null()) {
                reading_.report.leave("a media key", define.name);
            }
        } else if (list->empty() || list->front().isSilence()) {
            *list = std::move(clips);
        } else if (*list != clips) {
            reading_.report.leave("a second sound for the same key", define.name);
        }
    }

  private:
    [[nodiscard]] std::vector<Clip>* listOf(const Define& define, const NamedTarget& target) const {
        Variants<Clip>* const place = variantsOf(plan_, target, reading_.keys);
        return place == nullptr ? nullptr : define.isRelease ? &place->up : &place->down;
    }

    /// The clips of one entry; empty when there is none or it is broken.
    [[nodiscard]] std::vector<Clip> clipsOf(const Define& define) const {
        const Json& value = *define.value;
        if (value.is_null()) {
            // The key is meant to be silent, unless the pack has a sound for all that say nothing.
            const bool isSilent = !define.isRelease && plan_.defaults.down.empty();
            return isSilent ? std::vector<Clip>{Clip()} : std::vector<Clip>();
        }
        const bool isPiece = value.is_array() && !value.empty() && !value.front().is_string();
        if (!isPiece) {
            return namedFiles(value, reading_, define.name);
        }
        const auto range = rangeFromLength(value);
        if (range && !sprite_.empty()) {
            return {{sprite_, range}};
        }
        reading_.report.leave(range ? "a piece of a recording that the pack does not name"
                                    : "a piece of the recording that is no start and length",
                              define.name);
        return {};
    }

    std::string sprite_;
    const PackReading& reading_;
    SoundPlan<Clip>& plan_;
};

bool namesFiles(const Json& defines) {
    return std::any_of(defines.begin(), defines.end(), [](const Json& value) {
        return value.is_string() || (value.is_array() && !value.empty() && value.front().is_string());
    });
}

} // namespace

PackSounds readScanCodePack(const Json& config, const PackReading& reading) {
    PackSounds sounds;
    sounds.format = "config.json, keys by scan code";
    sounds.id = textAt(config, "id");
    sounds.name = textAt(config, "name");
    const Json& defines = valueAt(config, "defines");
    const bool isSingle = lowerCase(textAt(config, "key_define_type")) != "multi";
    const std::string mentioned = textAt(config, "sound");
    const auto found = reading.files.findSound(mentioned);
    if (isSingle && !found && !namesFiles(defines)) {
        throw PackError("the recording \"" + printable(mentioned) + "\" " +
                        reading.files.whyMissing(mentioned));
    }
    if (!isSingle) {
        // What a key without an entry of its own sounds like.
        sounds.plan.defaults = {namedFiles(valueAt(config, "sound"), reading, "sound"),
                                namedFiles(valueAt(config, "soundup"), reading, "soundup")};
    }
    if (!defines.is_object()) {
        if (sounds.plan.defaults.down.empty()) {
            throw PackError("the pack defines no sounds: its configuration has no \"defines\"");
        }
        return sounds;
    }
    DefineReader reader(found.value_or(std::string()), reading, sounds.plan);
    for (const Define& define : readDefines(defines, reading.report)) {
        reader.read(define);
    }
    return sounds;
}

} // namespace keysong
