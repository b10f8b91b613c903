#include "fuzz/FuzzEntries.h"

#include "Audio/SampleDecoder.h"
#include "Audio/SoundSet.h"
#include "Linux/Files/IcuTextForms.h"
#include "Linux/Files/PackedArchives.h"
#include "Linux/Input/KeyCodes.h"
#include "Linux/Listener/ListenerMessages.h"
#include "Linux/Sound/SndfileAudio.h"
#include "Linux/System/FileDescriptor.h"
#include "Packs/Grouping.h"
#include "Packs/PackSounds.h"
#include "Shared/SoundManifest.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

namespace keysong::fuzz {

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A pack with one configuration and some files of sound, in memory.
class PackInMemory final : public Archive {
  public:
    PackInMemory(const std::string& configName, std::string_view config) : config_(config) {
        entries_.push_back({configName, ArchiveEntry::Kind::file, config.size(), false});
        for (const char* name : {"a.wav", "b.wav", "R0.mp3", "R1.mp3", "sub/c.ogg"}) {
            entries_.push_back({name, ArchiveEntry::Kind::file, 0, false});
        }
    }

    [[nodiscard]] const std::vector<ArchiveEntry>& entries() const override { return entries_; }
    [[nodiscard]] std::string read(std::size_t entry, std::size_t) const override {
        return entry == 0 ? std::string(config_) : std::string();
    }

  private:
    std::string_view config_;
    std::vector<ArchiveEntry> entries_;
};

/// Reads the packs as an import does, up to the manifests; their sounds are not looked at.
void readWholePacks(std::unique_ptr<Archive> archive) {
    const IcuTextForms forms;
    PackReport report;
    const PackFiles files = PackFiles::fromArchive(std::move(archive), forms, report);
    for (const std::string& name : files.names()) {
        require(safeName(name) == name);
    }
    try {
        for (const FoundPack& pack : findPacks(files, report)) {
            PackSounds sounds = pack.read({pack.files, soundKeyOf, report});
            completeReleases(sounds.plan);
            const auto plan = mapPlan<std::string>(sounds.plan, [&](const Clip& clip) {
                require(clip.isSilence() || pack.files.find(clip.file) == clip.file);
                require(!clip.range || (clip.range->startMs >= 0 && clip.range->lengthMs > 0));
                return std::optional(std::to_string(clip.range ? clip.range->startMs : -1) + ".flac");
            });
            for (const auto& made : {plan, grouped(plan)}) {
                SoundManifest manifest = manifestOf(made);
                manifest.gain = sounds.gain;
                require(SoundManifest::decode(manifest.encode()) == manifest);
            }
        }
    } catch (const PackError&) {
        // It is no pack, and said so.
    }
}

void runManifest(std::string_view input) {
    try {
        const SoundManifest manifest = SoundManifest::decode(input);
        require(SoundManifest::decode(manifest.encode()) == manifest);
        require(manifest.effectiveGain() >= -12 && manifest.effectiveGain() <= 6);
    } catch (const SoundManifestError&) {
        // Refused as a whole.
    }
    readWholePacks(std::make_unique<PackInMemory>(SoundManifest::fileName, input));
}

void runConfiguration(std::string_view input) {
    readWholePacks(std::make_unique<PackInMemory>("config.json", input));
}

void runProfile(std::string_view input) {
    readWholePacks(std::make_unique<PackInMemory>("profile.yaml", input));
}

void runArchive(std::string_view input) {
    try {
        ArchiveLimits limits = PackFiles::archiveLimits;
        limits.mostBytesInAll = std::size_t{16} << 20U;
        auto archive = PackedArchives::openBytes(input, limits);
        std::size_t bytes = 0;
        for (std::size_t entry = 0; entry < archive->entries().size(); ++entry) {
            try {
                bytes += archive->read(entry, PackFiles::largestFileBytes).size();
            } catch (const ArchiveError&) {
                continue;
            }
        }
        require(bytes <= limits.mostBytesInAll);
        readWholePacks(std::move(archive));
    } catch (const ArchiveError&) {
        // It is none.
    }
}

void runAudio(std::string_view input) {
    const FileDescriptor file(memfd_create("fuzz", MFD_CLOEXEC));
    require(write(file.get(), input.data(), input.size()) == static_cast<ssize_t>(input.size()));
    const std::string path = "/proc/self/fd/" + std::to_string(file.get());
    const SndfileAudio audio;
    try {
        const SampleRef sample = SampleDecoder({48000, 1}, audio).decode(path);
        for (const float frame : sample->frames()) {
            require(std::isfinite(frame));
        }
    } catch (const AudioFileError&) {
        // It is no sound.
    } catch (const SoundSetError&) {
        // It is none that is played.
    }
}

/// What a program and the listener service send each other: understood, it says exactly what stands there.
void runListener(std::string_view input) {
    const auto bytes = std::as_bytes(std::span(input));
    const auto isSame = [bytes](const listener::Packet& packet) {
        return std::ranges::equal(packet.bytes(), bytes);
    };
    if (const auto request = listener::decodedRequest(bytes)) {
        require(isSame(listener::encoded(*request)));
    }
    if (const auto report = listener::decodedReport(bytes)) {
        require(isSame(listener::encoded(*report)) && !listener::isOfOtherVersion(bytes));
    }
}

constexpr Entry all[] = {{"manifest", runManifest}, {"configuration", runConfiguration},
                         {"profile", runProfile},   {"archive", runArchive},
                         {"audio", runAudio},       {"listener", runListener}};

} // namespace

std::span<const Entry> entries() {
    return all;
}

} // namespace keysong::fuzz
