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

/// The configuration nearest to the top; none when there is none.
std::optional<std::string> findConfiguration(const PackFiles& files) {
    std::vector<std::string> found;
    for (std::string& name : files.names()) {
        const std::string lower = lowerCase(fileNameOf(name));
        if (lower == manifestName || lower == configName || lower == profileName ||
            lower == otherProfileName) {
            found.push_back(std::move(name));
        }
    }
    const auto isNearer = [](const auto& a, const auto& b) { return depthOf(a) < depthOf(b); };
    std::stable_sort(found.begin(), found.end(), isNearer);
    if (found.empty()) {
        return std::nullopt;
    }
    if (found.size() > 1 && depthOf(found[0]) == depthOf(found[1]) &&
        folderOf(found[0]) != folderOf(found[1])) {
        throw PackError("there are several packs in it (" + printable(folderOf(found[0])) + ", " +
                        printable(folderOf(found[1])) + "): import one at a time");
    }
    return found.front();
}

/// A folder of sounds may be wrapped in another that holds nothing else.
void enterOnlyFolder(PackFiles& files) {
    for (int depth = 0; depth < PackFiles::deepestFolder; ++depth) {
        const auto names = files.names();
        const std::size_t slash = names.empty() ? std::string::npos : names.front().find('/');
        if (slash == std::string::npos) {
            return;
        }
        const std::string folder = names.front().substr(0, slash);
        const bool holdsAll = std::all_of(names.begin(), names.end(), [&](const std::string& name) {
            return name.starts_with(folder + "/");
        });
        if (!holdsAll) {
            return;
        }
        files.enter(folder);
    }
}

PackSounds readConfiguration(const std::string& name, const PackReading& reading) {
    const std::string text = reading.files.read(name);
    try {
        if (lowerCase(name) == manifestName) {
            return readSetPack(SoundManifest::decode(text), reading);
        }
        if (lowerCase(name) != configName) {
            return readProfilePack(parseYamlObject(text, largestConfigBytes), reading);
        }
        const nlohmann::json config = parseRelaxedJson(text, largestConfigBytes);
        const bool byName = textAt(config, "config_version") == "2" || config.contains("definitions") ||
                            config.contains("defs");
        return byName ? readNamedKeyPack(config, reading) : readScanCodePack(config, reading);
    } catch (const PackError&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw PackError(printable(name) + ": " + printable(error.what()));
    }
}

} // namespace

PackSounds readPack(PackFiles& files, const KernelKeys& keys, PackReport& report) {
    const auto configuration = findConfiguration(files);
    if (configuration) {
        files.enter(folderOf(*configuration));
        return readConfiguration(std::string(fileNameOf(*configuration)), {files, keys, report});
    }
    enterOnlyFolder(files);
    return readPlainFolder({files, keys, report});
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
