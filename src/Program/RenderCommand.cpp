#include "Program/RenderCommand.h"

#include "App/EventLog.h"
#include "Audio/SoundEngine.h"
#include "Audio/SoundLibrary.h"
#include "Audio/SoundSet.h"
#include "Input/EventDecoder.h"
#include "Linux/Input/InputTranslator.h"
#include "Virtual/VirtualOutput.h"

#include <sndfile.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>

namespace keysong {

namespace {

constexpr std::uint32_t periodFrames = SoundEngine::requestedBufferFrames;
/// The sound has ended when this much silence follows the last event.
constexpr std::int64_t silentTailFrames = 24'000;
/// No tail is waited for longer than this.
constexpr std::int64_t longestTailFrames = 30 * 48'000;
/// A progress bar is worth its flicker from this length on.
constexpr std::chrono::minutes longEventLog{2};

/// A stereo WAV file that is removed again unless it is completed.
class WaveWriter {
  public:
    explicit WaveWriter(std::filesystem::path path) : path_(std::move(path)) {
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = 2;
        info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        file_.reset(sf_open(path_.c_str(), SFM_WRITE, &info));
        if (file_ == nullptr) {
            throw std::runtime_error("cannot write " + path_.string() + ": " + sf_strerror(nullptr));
        }
        // The optional peak chunk holds the time of writing: the same input is to give the same bytes.
        sf_command(file_.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    }
    ~WaveWriter() {
        if (!completed_) {
            file_.reset();
            std::error_code ignored;
            std::filesystem::remove(path_, ignored);
        }
    }
    WaveWriter(const WaveWriter&) = delete;
    WaveWriter& operator=(const WaveWriter&) = delete;

    void write(const std::vector<float>& left, const std::vector<float>& right) {
        interleaved_.clear();
        for (std::size_t i = 0; i < left.size(); ++i) {
            interleaved_.push_back(left[i]);
            interleaved_.push_back(right[i]);
        }
        const auto count = static_cast<sf_count_t>(left.size());
        if (sf_writef_float(file_.get(), interleaved_.data(), count) != count) {
            throw std::runtime_error("cannot write " + path_.string() + ": " + sf_strerror(file_.get()));
        }
    }

    void complete() {
        sf_write_sync(file_.get());
        completed_ = true;
    }

  private:
    struct Close {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    std::filesystem::path path_;
    std::unique_ptr<SNDFILE, Close> file_;
    std::vector<float> interleaved_;
    bool completed_ = false;
};

/// Shows how far a long rendering is, where a person looks on.
class ProgressBar {
  public:
    explicit ProgressBar(std::chrono::microseconds length)
        : length_(length), shown_(length >= longEventLog && isatty(STDERR_FILENO) != 0) {}
    ~ProgressBar() {
        if (shown_ && percent_ >= 0) {
            std::fputc('\n', stderr);
        }
    }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void update(std::chrono::microseconds time) {
        const auto percent =
            std::min<std::int64_t>(100, 100 * time.count() / std::max<std::int64_t>(1, length_.count()));
        if (!shown_ || percent == percent_) {
            return;
        }
        percent_ = percent;
        const std::string bar(static_cast<std::size_t>(percent / 2), '#');
        std::fprintf(stderr, "\rrendering [%-50s] %3d %%", bar.c_str(), static_cast<int>(percent));
        std::fflush(stderr);
    }

  private:
    std::chrono::microseconds length_;
    bool shown_;
    std::int64_t percent_ = -1;
};

EventLog readEventLog(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(path)) {
        throw std::runtime_error("cannot read " + path.string());
    }
    try {
        return EventLog::parse(file);
    } catch (const EventLogError& error) {
        throw std::runtime_error(path.string() + ", " + error.what());
    }
}

bool isSilent(const SteppedOutput& output) {
    const auto silent = [](const std::vector<float>& frames) {
        return std::all_of(frames.begin(), frames.end(), [](float frame) { return frame == 0; });
    };
    return silent(output.left()) && silent(output.right());
}

} // namespace

RenderCommand::RenderCommand(Threads& threads, const Places& places, const TextOrder& textOrder,
                             const AudioFiles& audioFiles)
    : threads_(threads), places_(places), textOrder_(textOrder), audioFiles_(audioFiles) {
}

std::filesystem::path RenderCommand::findSet(const std::string& wanted) const {
    const auto sets = SoundLibrary::availableSets(places_, textOrder_);
    for (const SoundSetInfo& set : sets) {
        if (wanted.empty() || set.id == wanted) {
            return set.directory;
        }
    }
    std::error_code ignored;
    if (!wanted.empty() && std::filesystem::is_directory(wanted, ignored)) {
        return wanted;
    }
    throw std::runtime_error("no set \"" + wanted + "\" in " + SoundLibrary::directory(places_).string());
}

void RenderCommand::run(const RenderOptions& options) const {
    const EventLog eventLog = readEventLog(options.eventLog);
    const auto set = SoundSet::load(findSet(options.set), SoundEngine::renderFormat, audioFiles_);

    SteppedOutput output;
    SoundEngine engine(output, output, threads_, RandomSource(options.seed));
    engine.setTone(options.tone);
    engine.setBody(options.body);
    engine.setVolume(options.volume);
    engine.setSpatial(options.spatial);
    engine.setMouseEnabled(true);
    engine.setScrollEnabled(true);
    engine.start();
    engine.load(set);
    // Waits for the settings, which the engine applies on its own queue: the result depends on no timing.
    static_cast<void>(engine.shelfGainsForTest());

    EventDecoder decoder;
    EvdevTranslator translator([&](const RawEvent& event) {
        if (const auto decoded = decoder.decode(event.type, event)) {
            engine.play(*decoded);
        }
    });

    WaveWriter file(options.output);
    const auto length = eventLog.events.empty() ? std::chrono::microseconds{} : eventLog.events.back().time;
    ProgressBar progress(length);
    auto next = eventLog.events.begin();
    for (std::int64_t silentFrames = 0, tailFrames = 0;;) {
        const std::chrono::nanoseconds start(
            std::llround(static_cast<double>(output.position()) * 1e9 / 48000.0));
        // A hit starts a period after its event: what happens before this period starts may sound in it.
        for (; next != eventLog.events.end() && next->time < start; ++next) {
            output.setNow(next->time);
            translator.event(next->type, next->code, next->value, next->time);
        }
        output.step();
        file.write(output.left(), output.right());
        progress.update(std::chrono::duration_cast<std::chrono::microseconds>(start));
        if (next == eventLog.events.end()) {
            silentFrames = isSilent(output) ? silentFrames + periodFrames : 0;
            tailFrames += periodFrames;
            if (silentFrames >= silentTailFrames || tailFrames >= longestTailFrames) {
                break;
            }
        }
    }
    file.complete();
}

} // namespace keysong
