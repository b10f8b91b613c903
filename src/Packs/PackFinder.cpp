#include "Packs/PackSounds.h"
#include "Packs/PackValues.h"
#include "Packs/RelaxedJson.h"
#include "Packs/YamlDocument.h"

#include <algorithm>

namespace keysong {

namespace {

constexpr std::size_t largestConfigBytes = std::size_t{1} << 20U;
constexpr std::string_view configName = "config.json";
constexpr std::string_view manifestName = SoundManifest::fileName;
constexpr std::string_view profileName = "profile.yaml";
constexpr std::string_view otherProfileName = "profile.yml";

std::string_view fileNameOf(std::string_view name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string_view::npos ? name : name.substr(slash + 1);
}

std::string folderOf(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash);
}

auto depthOf(const std::string& name) {
    return std::count(name.begin(), name.end(), '/');
}

using Reading = std::function<PackSounds(const PackReading&)>;

/// A file that may be a pack's configuration.
struct Candidate {
    std::string name;
    /// Null for one that is not a pack's.
    Reading read;
    /// Why, when it is not.
    std::string problem;
};

bool isConfigurationName(const std::string& name) {
    const std::string lower = lowerCase(fileNameOf(name));
    return lower == manifestName || lower == configName || lower == profileName || lower == otherProfileName;
}

/// Configurations of programs that are not known, for all that can be told from a name.
bool maySayMore(const std::string& name) {
    const std::string lower = lowerCase(fileNameOf(name));
    return lower.ends_with(".json") || lower.ends_with(".json5") || lower.ends_with(".yaml") ||
           lower.ends_with(".yml") || lower.ends_with(".toml") || lower.ends_with(".ini");
}

/// What reads a "config.json"; null for one of another program.
Reading readingOf(nlohmann::json config) {
    const bool byName = config.contains("definitions") || config.contains("defs");
    const bool byScanCode = config.contains("defines") || config.contains("key_define_type");
    if (!byName && !byScanCode) {
        return nullptr;
    }
    return [byName, config = std::move(config)](const PackReading& reading) {
        return byName ? readNamedKeyPack(config, reading) : readScanCodePack(config, reading);
    };
}

Reading readingOf(const std::string& name, const std::string& text, const TextForms& forms) {
    const std::string lower = lowerCase(fileNameOf(name));
    if (lower == manifestName) {
        const SoundManifest manifest = SoundManifest::decode(text);
        return [manifest](const PackReading& reading) { return readSetPack(manifest, reading); };
    }
    if (lower == configName) {
        return readingOf(parseRelaxedJson(forms.utf8(text), largestConfigBytes));
    }
    nlohmann::json profile = parseYamlObject(forms.utf8(text), largestConfigBytes);
    if (!profile.contains("sources")) {
        return nullptr;
    }
    return [profile = std::move(profile)](const PackReading& reading) {
        return readProfilePack(profile, reading);
    };
}

Candidate lookAt(const std::string& name, const PackFiles& files) {
    Candidate candidate{name, nullptr, "it is no configuration of a pack that is known"};
    try {
        candidate.read = readingOf(name, files.read(name), files.forms());
    } catch (const PackFileError& error) {
        candidate.problem = error.what();
    } catch (const std::runtime_error& error) {
        candidate.problem = printable(error.what());
    }
    return candidate;
}

/// All that may be a configuration, the nearest to the top first.
std::vector<Candidate> candidatesIn(const PackFiles& files) {
    constexpr std::size_t most = 64;
    std::vector<std::string> names;
    for (std::string& name : files.names()) {
        if (isConfigurationName(name)) {
            names.push_back(std::move(name));
        }
    }
    std::stable_sort(names.begin(), names.end(),
                     [](const auto& a, const auto& b) { return depthOf(a) < depthOf(b); });
    names.resize(std::min(names.size(), most));
    std::vector<Candidate> candidates;
    for (const std::string& name : names) {
        candidates.push_back(lookAt(name, files));
    }
    return candidates;
}

bool isBelow(const std::string& name, const std::string& folder) {
    return folder.empty() || name.starts_with(folder + "/");
}

/// A folder of sounds may be wrapped in another that holds nothing else.
PackFiles withoutWrapping(PackFiles files, std::string& title) {
    for (int depth = 0; depth < PackFiles::deepestFolder; ++depth) {
        const auto names = files.names();
        const std::size_t slash = names.empty() ? std::string::npos : names.front().find('/');
        if (slash == std::string::npos) {
            break;
        }
        const std::string folder = names.front().substr(0, slash);
        if (!std::all_of(names.begin(), names.end(),
                         [&](const std::string& name) { return isBelow(name, folder); })) {
            break;
        }
        files = files.below(folder);
        title = folder;
    }
    return files;
}

[[noreturn]] void refuse(const std::string& name, const std::string& problem) {
    throw PackError(printable(name) + ": " + problem +
                    ". To take the sound files as they are, import a folder that holds nothing else");
}

} // namespace

std::vector<FoundPack> findPacks(const PackFiles& files, PackReport& report) {
    const auto candidates = candidatesIn(files);
    std::vector<FoundPack> packs;
    std::vector<std::string> folders;
    for (const Candidate& candidate : candidates) {
        const std::string folder = folderOf(candidate.name);
        const bool isWithin = std::any_of(folders.begin(), folders.end(), [&](const std::string& other) {
            return isBelow(candidate.name, other);
        });
        if (candidate.read != nullptr && !isWithin) {
            packs.push_back({std::string(fileNameOf(folder)), files.below(folder), candidate.read});
            folders.push_back(folder);
        }
    }
    for (const Candidate& candidate : candidates) {
        if (!packs.empty() && candidate.read == nullptr) {
            report.leave("a configuration that is not used", candidate.name + ": " + candidate.problem);
        } else if (packs.empty()) {
            refuse(candidate.name, candidate.problem);
        }
    }
    if (packs.empty()) {
        std::string title;
        PackFiles sounds = withoutWrapping(files, title);
        for (const std::string& name : sounds.names()) {
            if (maySayMore(name)) {
                refuse(name, "it is no configuration of a pack that is known");
            }
        }
        packs.push_back({title, std::move(sounds), readPlainFolder});
    }
    return packs;
}

Variants<Clip>* variantsOf(SoundPlan<Clip>& plan, const NamedTarget& target, const KernelKeys& keys) {
    switch (target.kind) {
    case NamedTarget::Kind::key:
        if (const auto key = keys(target.kernelCode)) {
            return &plan.keys[*key];
        }
        return nullptr;
    case NamedTarget::Kind::group:
        return &plan.groups[target.group];
    case NamedTarget::Kind::button:
        return &plan.buttons[static_cast<std::size_t>(target.button)];
    case NamedTarget::Kind::scroll:
        break;
    }
    return nullptr;
}

} // namespace keysong
