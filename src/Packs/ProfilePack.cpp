#include "Packs/PackSounds.h"
#include "Packs/PackValues.h"

namespace keysong {

namespace {

using Json = nlohmann::json;
using Sources = std::map<std::string, Variants<Clip>>;

/// The sources by their identifiers, those that name at least one file that is there.
Sources readSources(const Json& list, const PackReading& reading) {
    Sources sources;
    for (const Json& entry : list) {
        const std::string id = textAt(entry, "id");
        const Json& source = valueAt(entry, "source");
        const Variants<Clip> sounds =
            source.is_object() ? Variants<Clip>{namedFiles(valueAt(source, "press"), reading, id),
                                                namedFiles(valueAt(source, "release"), reading, id)}
                               : Variants<Clip>{namedFiles(source, reading, id), {}};
        if (sounds.down.empty() && sounds.up.empty()) {
            reading.report.leave("a source without a sound", id);
        } else if (!sources.emplace(id, sounds).second) {
            reading.report.leave("a second source of the same name", id);
        }
    }
    return sources;
}

std::string textOf(const Json& value) {
    return value.is_string() ? value.get<std::string>() : std::string();
}

void append(Variants<Clip>& place, const Variants<Clip>& more) {
    place.down.insert(place.down.end(), more.down.begin(), more.down.end());
    place.up.insert(place.up.end(), more.up.begin(), more.up.end());
}

/// Adds the sources that a value names: one, or a list of them.
void addNamed(Variants<Clip>& place, const Json& value, const Sources& sources, PackReport& report) {
    const auto addOne = [&](const Json& name) {
        const auto found = name.is_string() ? sources.find(name.get<std::string>()) : sources.end();
        constexpr std::size_t mostSounds = 256;
        if (place.down.size() > mostSounds || place.up.size() > mostSounds) {
            report.leave("one sound too many for a key", textOf(name));
        } else if (found == sources.end()) {
            report.leave("a source that is not defined", textOf(name));
        } else {
            append(place, found->second);
        }
    };
    if (value.is_array()) {
        for (const Json& name : value) {
            addOne(name);
        }
    } else if (!value.is_null()) {
        addOne(value);
    }
}

void readKeys(const Json& entry, const Sources& sources, const PackReading& reading, SoundPlan<Clip>& plan) {
    Variants<Clip> sounds;
    addNamed(sounds, valueAt(entry, "sound"), sources, reading.report);
    const Json& names = valueAt(entry, "keys");
    if (!names.is_array()) {
        reading.report.leave("an entry without keys", textAt(entry, "sound"));
        return;
    }
    for (const Json& name : names) {
        const std::string text = textOf(name);
        const auto target = targetNamed(text);
        if (!target) {
            reading.report.leave("a key name that is not known", text);
        } else if (target->kind == NamedTarget::Kind::scroll) {
            plan.scroll = sounds.down;
        } else if (auto* place = variantsOf(plan, *target, reading.keys)) {
            *place = sounds;
        } else {
            reading.report.leave("a media key", text);
        }
    }
}

} // namespace

PackSounds readProfilePack(const Json& profile, const PackReading& reading) {
    PackSounds sounds;
    sounds.format = "profile.yaml";
    sounds.id = textAt(profile, "id");
    sounds.name = textAt(profile, "name");
    const Json& list = valueAt(profile, "sources");
    const Sources sources = readSources(list.is_array() ? list : Json::array(), reading);
    if (sources.empty()) {
        throw PackError("the profile has no sources with sounds");
    }
    const Json& keys = valueAt(profile, "keys");
    addNamed(sounds.plan.defaults, valueAt(keys, "default"), sources, reading.report);
    if (const Json& other = valueAt(keys, "other"); other.is_array()) {
        for (const Json& entry : other) {
            readKeys(entry, sources, reading, sounds.plan);
        }
    }
    if (sounds.plan.defaults.down.empty() && sounds.plan.keys.empty()) {
        // Nothing is said about keys: every source is as good as another for each.
        for (const auto& [id, source] : sources) {
            append(sounds.plan.defaults, source);
        }
    }
    return sounds;
}

} // namespace keysong
