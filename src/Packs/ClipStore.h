#pragma once

#include "Audio/SampleDecoder.h"
#include "Packs/PackSounds.h"
#include "Platform/AudioFile.h"

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace keysong {

/// Brings a pack's sounds into a set's folder, each once: whole files as they are, pieces of a recording as
/// lossless files of their own. Made for one import. One thread, and never the main, event-tap or render
/// thread.
class ClipStore {
  public:
    /// No set gets more files than this.
    static constexpr std::size_t mostFiles = 4096;

    /// All that is referred to outlives the store. `folder` is there and empty; it also holds what is needed
    /// only meanwhile, until `finish`.
    ClipStore(const PackFiles& files, const AudioFiles& audio, const AudioFileWriter& writer,
              const std::filesystem::path& folder, PackReport& report);

    /// Looks at all recordings of the plan that pieces are cut from: where one exceeds full scale, which the
    /// files of a set can't, all sounds are made quieter alike. Call before `store`.
    void prepare(const SoundPlan<Clip>& plan);

    /// By how much all sounds were made quieter, in decibels; 0 or more.
    [[nodiscard]] double levelTakenAway() const noexcept;

    /// The name of the file in the set's folder that plays the clip. None when it cannot be had, which is
    /// reported once.
    [[nodiscard]] std::optional<std::string> store(const Clip& clip);

    /// Removes what was needed only meanwhile.
    void finish();

    [[nodiscard]] std::size_t filesCopied() const noexcept { return copied_; }
    [[nodiscard]] std::size_t filesCut() const noexcept { return cut_; }

  private:
    /// A recording that pieces are cut from, decoded.
    struct Recording {
        AudioFormat format;
        std::vector<float> frames;
    };

    std::optional<std::string> tryStore(const Clip& clip);
    std::string copyWhole(const std::string& file);
    std::optional<std::string> cutPiece(const std::string& file, const ClipRange& range);
    std::string silence();
    /// Writes frames of a recording's format, scaled, as a new file of the set; gives its name.
    std::string writePiece(const std::string& file, std::vector<float> frames, const AudioFormat& format);
    const Recording& recordingOf(const std::string& file);
    /// A file name for the set that nothing else has, with this ending.
    std::string freshName(const std::string& packName, const std::string& ending);

    const PackFiles& files_;
    const AudioFiles& audio_;
    const AudioFileWriter& writer_;
    const std::filesystem::path folder_;
    const std::filesystem::path scratch_;
    PackReport& report_;
    /// Tells whether the loader will play a file; shares the loader's bounds.
    SampleDecoder decoder_;
    /// By the clip; a whole file stands before all its pieces.
    std::map<std::tuple<std::string, double, double>, std::optional<std::string>> stored_;
    /// By content: packs often hold the same recording under many names.
    std::map<std::pair<std::size_t, std::size_t>, std::string> wholeByContent_;
    /// By the recording and the frames: different times may name the same frames.
    std::map<std::tuple<std::string, std::size_t, std::size_t>, std::string> pieces_;
    std::set<std::string> names_;
    std::set<std::string> unreadable_;
    std::map<std::string, Recording> recordings_;
    /// How many values they hold in all.
    std::size_t valuesHeld_ = 0;
    /// What every frame is multiplied with; 1 or less.
    float scale_ = 1;
    std::size_t framesLeft_ = SampleDecoder::mostFramesInAll;
    std::size_t copied_ = 0;
    std::size_t cut_ = 0;
};

} // namespace keysong
