#pragma once

#include "Packs/PackSounds.h"
#include "Platform/Archive.h"
#include "Platform/AudioFile.h"
#include "Platform/StagedFolder.h"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace keysong {

/// What an import did.
struct ImportResult {
    std::string id;
    std::string name;
    /// The pack's format in words.
    std::string format;
    /// The set's folder.
    std::filesystem::path folder;
    std::size_t filesCopied = 0;
    std::size_t filesCut = 0;
    /// Keys for which the pack had sounds, and which of them have entries of their own in the manifest.
    std::size_t keysInPack = 0;
    std::size_t keysOnTheirOwn = 0;
    PackReport report;
};

/// What became of everything that was given to an import.
struct ImportOutcome {
    /// The sets that were made; at least one.
    std::vector<ImportResult> sets;
    /// Why further packs of the same folder or archive were not imported, a sentence each.
    std::vector<std::string> refused;
};

/// Makes a sound set of a pack in another format. One thread, and never the main, event-tap or render thread.
class PackImporter {
  public:
    struct Services {
        const Archives& archives;
        const AudioFiles& audio;
        const AudioFileWriter& writer;
        const StagedFolders& folders;
        const TextForms& forms;
        KernelKeys keys;
        /// Identifiers of sets elsewhere, which one of the same identifier would hide: none is given to an
        /// imported set.
        std::set<std::string> taken;
    };

    /// The services outlive the importer.
    explicit PackImporter(Services services) : services_(std::move(services)) {}

    /// Imports all packs of a folder or an archive, or that of a configuration file in a folder, into
    /// `setsFolder`, each as a folder named by the set's identifier. All of a set appears at once or not at
    /// all. Throws `PackError` when there is nothing to import, or nothing but sets whose identifiers are
    /// there and `replace` is false.
    [[nodiscard]] ImportOutcome import(const std::filesystem::path& pack,
                                       const std::filesystem::path& setsFolder, bool replace) const;

    /// The same for files at hand; `title` is the pack's name where it does not say one itself.
    [[nodiscard]] ImportOutcome importFiles(const PackFiles& files, PackReport report,
                                            const std::string& title, const std::filesystem::path& setsFolder,
                                            bool replace) const;

  private:
    [[nodiscard]] ImportResult importOne(const FoundPack& pack, PackReport report, const std::string& title,
                                         const std::filesystem::path& setsFolder, bool replace,
                                         const std::set<std::string>& madeNow) const;
    /// Puts the whole set into its folder, and what there is to say about it into `result`.
    void fill(const std::filesystem::path& folder, const PackFiles& files, const PackSounds& sounds,
              PackReport& report, ImportResult& result) const;

    Services services_;
};

/// An identifier and folder name made of a text: small letters, digits and single dashes, at most 64 of them;
/// "imported-set" when nothing is left of it.
[[nodiscard]] std::string identifierFrom(std::string_view text);

} // namespace keysong
