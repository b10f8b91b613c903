#pragma once

#include "Packs/PackSounds.h"
#include "Platform/Archive.h"
#include "Platform/AudioFile.h"
#include "Platform/StagedFolder.h"

#include <filesystem>
#include <string>

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

/// Makes a sound set of a pack in another format. One thread, and never the main, event-tap or render thread.
class PackImporter {
  public:
    struct Services {
        const Archives& archives;
        const AudioFiles& audio;
        const AudioFileWriter& writer;
        const StagedFolders& folders;
        KernelKeys keys;
    };

    /// The services outlive the importer.
    explicit PackImporter(Services services) : services_(std::move(services)) {}

    /// Imports a folder, an archive, or a configuration file in a folder into `setsFolder`, as a folder named
    /// by the set's identifier. All of it appears at once or not at all. Throws `PackError` when there is
    /// nothing to import, or a set of that identifier is there and `replace` is false.
    [[nodiscard]] ImportResult import(const std::filesystem::path& pack,
                                      const std::filesystem::path& setsFolder, bool replace) const;

    /// The same for files at hand; `title` is the pack's name where it does not say one itself.
    [[nodiscard]] ImportResult importFiles(PackFiles files, PackReport report, const std::string& title,
                                           const std::filesystem::path& setsFolder, bool replace) const;

  private:
    /// Puts the whole set into its folder, and what there is to say about it into `result`.
    void fill(const std::filesystem::path& folder, const PackFiles& files, const PackSounds& sounds,
              PackReport& report, ImportResult& result) const;

    Services services_;
};

/// An identifier and folder name made of a text: small letters, digits and single dashes, at most 64 of them;
/// "imported-set" when nothing is left of it.
[[nodiscard]] std::string identifierFrom(std::string_view text);

} // namespace keysong
