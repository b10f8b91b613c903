#include "Packs/PackImporter.h"

#include "Audio/SoundLibrary.h"
#include "Packs/ClipStore.h"
#include "Packs/Grouping.h"
#include "Shared/SoundManifest.h"

#include <cmath>
#include <fstream>
#include <system_error>
#include <utility>

namespace keysong {

namespace fs = std::filesystem;

namespace {

void writeManifest(const SoundManifest& manifest, const fs::path& folder) {
    const fs::path path = folder / SoundManifest::fileName;
    std::ofstream file(path, std::ios::binary);
    file << manifest.encode();
    file.close();
    if (!file) {
        throw PackError("cannot write " + path.string());
    }
}

/// Why things were left out, for a pack of which nothing remained.
std::string firstReason(const PackReport& report) {
    if (report.left().empty()) {
        return {};
    }
    const auto& [reason, left] = *report.left().begin();
    return ": " + reason + " (" + left.examples + ")";
}

std::string chosenId(const PackSounds& sounds, const std::string& title) {
    for (const std::string& text : {sounds.id, sounds.name, title}) {
        if (const std::string id = identifierFrom(text); id != identifierFrom({})) {
            return id;
        }
    }
    return identifierFrom({});
}

std::string chosenName(const PackSounds& sounds, const std::string& title) {
    for (const std::string& text : {sounds.name, title, sounds.id}) {
        if (std::string name = printable(text); !name.empty()) {
            return name;
        }
    }
    return "Imported set";
}

/// The set's gain with what was taken away from its sounds given back, as far as a set's gain goes.
std::optional<float> gainWith(std::optional<float> gain, double decibels) {
    constexpr float highest = 6;
    if (decibels == 0) {
        return gain;
    }
    const double whole = static_cast<double>(gain.value_or(0.0F)) + decibels;
    return std::fmin(highest, static_cast<float>(std::round(whole * 100) / 100));
}

} // namespace

std::string identifierFrom(std::string_view text) {
    constexpr std::size_t longest = 64;
    std::string id;
    for (const char character : lowerCase(text)) {
        const bool isPlain = (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
        if (isPlain) {
            id += character;
        } else if (!id.empty() && id.back() != '-') {
            id += '-';
        }
        if (id.size() == longest) {
            break;
        }
    }
    while (id.ends_with('-')) {
        id.pop_back();
    }
    return id.empty() ? "imported-set" : id;
}

ImportOutcome PackImporter::import(const fs::path& pack, const fs::path& setsFolder, bool replace) const {
    PackReport report;
    std::error_code error;
    const fs::path whole = fs::absolute(pack, error).lexically_normal();
    const fs::path named = whole.has_filename() ? whole : whole.parent_path();
    if (fs::is_directory(named, error)) {
        const PackFiles files = PackFiles::fromFolder(named, services_.forms, report);
        return importFiles(files, std::move(report), named.filename().string(), setsFolder, replace);
    }
    if (!fs::is_regular_file(named, error)) {
        throw PackError(pack.string() +
                        (fs::exists(named, error) ? ": is no folder and no file" : ": is not there"));
    }
    const std::string extension = lowerCase(named.extension().string());
    if (extension == ".json" || extension == ".yaml" || extension == ".yml") {
        return import(named.parent_path(), setsFolder, replace);
    }
    try {
        auto archive = services_.archives.open(named, PackFiles::archiveLimits);
        const PackFiles files = PackFiles::fromArchive(std::move(archive), services_.forms, report);
        return importFiles(files, std::move(report), named.stem().string(), setsFolder, replace);
    } catch (const ArchiveError& archiveError) {
        throw PackError(pack.string() + ": " + archiveError.what());
    }
}

ImportOutcome PackImporter::importFiles(const PackFiles& files, PackReport report, const std::string& title,
                                        const fs::path& setsFolder, bool replace) const {
    const auto packs = findPacks(files, report);
    ImportOutcome outcome;
    std::set<std::string> madeNow;
    for (const FoundPack& pack : packs) {
        const std::string own = pack.title.empty() ? title : pack.title;
        try {
            // What is to be said of all the files is said with the first.
            outcome.sets.push_back(
                importOne(pack, std::exchange(report, {}), own, setsFolder, replace, madeNow));
            madeNow.insert(outcome.sets.back().id);
        } catch (const PackError& error) {
            if (packs.size() == 1) {
                throw;
            }
            outcome.refused.push_back(printable(own) + ": " + error.what());
        }
    }
    if (outcome.sets.empty()) {
        throw PackError(outcome.refused.front());
    }
    return outcome;
}

ImportResult PackImporter::importOne(const FoundPack& pack, PackReport report, const std::string& title,
                                     const fs::path& setsFolder, bool replace,
                                     const std::set<std::string>& madeNow) const {
    PackSounds sounds = pack.read({pack.files, services_.keys, report});
    completeReleases(sounds.plan);
    ImportResult result;
    result.format = sounds.format;
    const std::string wanted = chosenId(sounds, title);
    result.id = wanted;
    for (int number = 2; services_.taken.contains(result.id) || madeNow.contains(result.id); ++number) {
        result.id = wanted + "-" + std::to_string(number);
    }
    if (result.id != wanted) {
        report.note("an identifier that another set has, so that this one is given its own",
                    wanted + " is now " + result.id);
    }
    result.name = chosenName(sounds, title);
    result.folder = setsFolder / result.id;
    result.keysInPack = sounds.plan.keys.size();
    for (const SoundSetInfo& set : SoundLibrary::setsIn(setsFolder)) {
        // Two of one identifier would hide each other.
        if (set.id == result.id && set.directory.filename() != result.id) {
            throw PackError("a set \"" + result.id + "\" is installed already, in " + set.directory.string());
        }
    }
    std::error_code ignored;
    if (!replace && fs::exists(fs::symlink_status(result.folder, ignored))) {
        throw PackError("a set \"" + result.id +
                        "\" is installed already; --replace puts this one in its place");
    }
    try {
        const auto staged = services_.folders.begin(result.folder);
        fill(staged->path(), pack.files, sounds, report, result);
        staged->commit(replace);
    } catch (const StagedFolderError& error) {
        throw PackError(error.what());
    } catch (const fs::filesystem_error& error) {
        throw PackError(error.what());
    }
    result.report = std::move(report);
    return result;
}

void PackImporter::fill(const fs::path& folder, const PackFiles& files, const PackSounds& sounds,
                        PackReport& report, ImportResult& result) const {
    ClipStore store(files, services_.audio, services_.writer, folder, report);
    store.prepare(sounds.plan);
    auto plan = mapPlan<std::string>(sounds.plan, [&store](const Clip& clip) { return store.store(clip); });
    SoundManifest manifest = manifestOf(sounds.isGrouped ? plan : grouped(std::move(plan)));
    store.finish();
    if (!manifest.defaults.down) {
        throw PackError("none of its sounds can be used" + firstReason(report));
    }
    manifest.id = result.id;
    manifest.name = result.name;
    manifest.gain = gainWith(sounds.gain, store.levelTakenAway());
    manifest.pitchVariation = sounds.pitchVariation;
    manifest.gainVariation = sounds.gainVariation;
    writeManifest(manifest, folder);
    result.filesCopied = store.filesCopied();
    result.filesCut = store.filesCut();
    result.keysOnTheirOwn = manifest.keys ? manifest.keys->size() : 0;
}

} // namespace keysong
