#pragma once

#include "Audio/SampleBuffer.h"
#include "Platform/AudioFile.h"
#include "Shared/KeyGroup.h"
#include "Shared/SoundEvent.h"
#include "Shared/SoundManifest.h"

#include <array>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace keysong {

/// A sound set that cannot be used, or a file of it that cannot.
class SoundSetError : public std::runtime_error {
  public:
    enum class Kind {
        /// The set has no playable sample for a key going down; `subject` is its identifier.
        noDefaultDown,
        /// A file is empty or cannot be converted; `subject` is its last path component.
        undecodable,
        /// The load was asked to stop; `subject` is the set's identifier.
        stopped,
    };

    SoundSetError(Kind kind, std::string subject);

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] const std::string& subject() const noexcept { return subject_; }

  private:
    Kind kind_;
    std::string subject_;
};

/// One sound set, loaded: for every possible event a ready list of decoded samples with every fallback
/// resolved. Immutable and shared; any thread may read it while someone holds it.
class SoundSet {
  public:
    static constexpr std::size_t keyCount = 256;
    static constexpr std::size_t buttonCount = 3;

    /// Reads the manifest in `directory` and decodes every file it names, once each, into `format`, which
    /// must have one channel. Blocks on files and conversion: never on the main, event-tap or render thread.
    ///
    /// Throws `FileReadError` when the manifest cannot be read, `SoundManifestError` when it cannot be
    /// used, `SoundSetError` when no default down sample is playable. Any other bad file or entry is
    /// logged once and left out. Once `stop` is asked for, it ends soon with a `SoundSetError`.
    [[nodiscard]] static std::shared_ptr<const SoundSet> load(const std::filesystem::path& directory,
                                                              const AudioFormat& format,
                                                              const AudioFiles& files,
                                                              const std::stop_token& stop = {});

    /// The samples to choose from for an event; empty means play nothing. Real-time safe: a bounds check
    /// and a table look-up. The span lives as long as the set.
    [[nodiscard]] std::span<const SampleRef> candidates(const SoundEvent& event) const noexcept;

    /// As `candidates`, but for a key it is every sample of all keys of its group (`keyGroupOf`): what is
    /// chosen from these tells no more than the group. Real-time safe.
    [[nodiscard]] std::span<const SampleRef> candidatesOfGroup(const SoundEvent& event) const noexcept;

    [[nodiscard]] const SoundManifest& manifest() const noexcept { return manifest_; }

    /// The name, as written in the manifest, of the file that a buffer of this set was decoded from;
    /// empty for a foreign buffer. Any thread; not on the render thread.
    [[nodiscard]] std::string_view fileName(const SampleBuffer* buffer) const;

    /// Where all its samples lie, for keeping them in memory. Allocates.
    [[nodiscard]] std::vector<std::span<const std::byte>> memory() const;

  private:
    friend class SoundSetLoader;

    SoundSet() = default;

    SoundManifest manifest_;
    std::array<SampleListRef, keyCount> downByKey_;
    std::array<SampleListRef, keyCount> upByKey_;
    std::array<SampleListRef, keyGroupCount> downByGroup_;
    std::array<SampleListRef, keyGroupCount> upByGroup_;
    std::array<SampleListRef, buttonCount> mouseDown_;
    std::array<SampleListRef, buttonCount> mouseUp_;
    SampleListRef scroll_;
    std::unordered_map<const SampleBuffer*, std::string> fileNames_;
};

} // namespace keysong
