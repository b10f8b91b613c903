#include "Packs/PackSounds.h"
#include "Packs/PackValues.h"
#include "Shared/NumberText.h"

#include <cmath>

namespace keysong {

namespace {

using Json = nlohmann::json;

/// A number, or a text that begins with one.
std::optional<double> volumeIn(const Json& value) {
    if (value.is_number()) {
        return value.get<double>();
    }
    if (!value.is_string()) {
        return std::nullopt;
    }
    const auto text = value.get<std::string>();
    const std::size_t first = text.find_first_of("0123456789.");
    const std::size_t end = text.find_first_not_of("0123456789.", first);
    if (first == std::string::npos) {
        return std::nullopt;
    }
    const auto number = parseFloat(text.substr(first, end - first));
    const double whole = text.find('%') == std::string::npos ? 1 : 100;
    return number ? std::optional(static_cast<double>(*number) / whole) : std::nullopt;
}

/// The recommended volume as a level; none where it says nothing.
std::optional<float> gainOf(const Json& config) {
    // Nobody recommends five times the volume: that is per cent.
    constexpr double largestFactor = 4;
    const auto volume = volumeIn(valueAt(valueAt(config, "options"), "recommended_volume"));
    if (!volume) {
        return std::nullopt;
    }
    const double factor = *volume > largestFactor ? *volume / 100 : *volume;
    if (!(factor > 0) || factor == 1) {
        return std::nullopt;
    }
    constexpr double lowest = -12;
    constexpr double highest = 6;
    const double decibels = std::fmin(highest, std::fmax(lowest, 20 * std::log10(factor)));
    return static_cast<float>(std::round(decibels * 100) / 100);
}

/// Reads one definition after the other into the plan.
class DefinitionReader {
  public:
    DefinitionReader(const Json& config, const PackReading& reading)
        : reading_(reading), sprite_(reading.files.findSound(textAt(config, "audio_file"))) {}

    void read(const std::string& name, const Json& definition, SoundPlan<Clip>& plan) {
        auto target = targetNamed(name);
        if (const auto number = parseInteger<std::int64_t>(name); number && !target) {
            const auto kernelCode = kernelCodeOfScanCode(*number);
            target = kernelCode ? std::optional(NamedTarget{NamedTarget::Kind::key, *kernelCode, {}, {}})
                                : std::nullopt;
        }
        if (!target) {
            reading_.report.leave("a key name that is not known", name);
            return;
        }
        const Variants<Clip> sounds = soundsOf(name, definition);
        if (target->kind == NamedTarget::Kind::scroll) {
            plan.scroll = sounds.down;
        } else if (auto* place = variantsOf(plan, *target, reading_.keys)) {
            *place = sounds;
        } else {
            reading_.report.leave("a media key", name);
        }
    }

  private:
    /// The file that a definition's pieces are cut from.
    [[nodiscard]] std::optional<std::string> fileOf(const Json& definition, const std::string& name) const {
        const std::string own = textAt(definition, "audio_file");
        if (own.empty()) {
            return sprite_;
        }
        const auto clip = namedFile(own, reading_, name);
        return clip ? std::optional(clip->file) : std::nullopt;
    }

    [[nodiscard]] Variants<Clip> soundsOf(const std::string& name, const Json& definition) const {
        Variants<Clip> sounds;
        const auto file = fileOf(definition, name);
        const Json& timing = valueAt(definition, "timing");
        if (definition.is_null()) {
            sounds.down = {Clip()};
        } else if (!file) {
            if (textAt(definition, "audio_file").empty()) {
                reading_.report.leave("a key without a sound file", name);
            }
        } else if (!timing.is_array() || timing.empty()) {
            if (file != sprite_) {
                sounds.down = {{*file, std::nullopt}};
            } else {
                reading_.report.leave("a key without a piece of the recording", name);
            }
        } else {
            // A pair for going down, and perhaps one for coming up.
            addPiece(sounds.down, *file, timing[0], name);
            if (timing.size() > 1) {
                addPiece(sounds.up, *file, timing[1], name);
            }
        }
        return sounds;
    }

    void addPiece(std::vector<Clip>& list, const std::string& file, const Json& times,
                  const std::string& name) const {
        if (const auto range = rangeFromEnd(times)) {
            list.push_back({file, range});
        } else {
            reading_.report.leave("a piece of the recording that is no start and end", name);
        }
    }

    const PackReading& reading_;
    std::optional<std::string> sprite_;
};

} // namespace

PackSounds readNamedKeyPack(const Json& config, const PackReading& reading) {
    PackSounds sounds;
    sounds.format = "config.json version 2, keys by name";
    sounds.id = textAt(config, "id");
    sounds.name = textAt(config, "name");
    sounds.gain = gainOf(config);
    const Json& definitions = valueAt(config, "definitions");
    const Json& keys = definitions.is_object() ? definitions : valueAt(config, "defs");
    if (!keys.is_object()) {
        throw PackError("the pack defines no sounds");
    }
    DefinitionReader reader(config, reading);
    std::size_t count = 0;
    for (const auto& entry : keys.items()) {
        if (++count > mostPackKeys) {
            reading.report.leave("more keys than there are", entry.key());
        } else {
            reader.read(entry.key(), entry.value(), sounds.plan);
        }
    }
    return sounds;
}

} // namespace keysong
