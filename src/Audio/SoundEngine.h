#pragma once

#include "Audio/EngineState.h"
#include "Audio/Mixer.h"
#include "Audio/OutputDecider.h"
#include "Audio/RandomSource.h"
#include "Audio/SoundSet.h"
#include "Platform/AudioOutput.h"
#include "Platform/Clock.h"
#include "Platform/Threads.h"
#include "Shared/Lifetime.h"
#include "Shared/Mutex.h"
#include "Shared/SoundEvent.h"
#include "Shared/TaskQueue.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace keysong {

/// The output could not be moved to a device; `what()` is the text to show.
class SoundEngineError : public std::runtime_error {
  public:
    enum class Kind { deviceUnavailable, deviceSwitchFailed, noOutputDevice };

    [[nodiscard]] static SoundEngineError deviceUnavailable(const std::string& uid);
    [[nodiscard]] static SoundEngineError deviceSwitchFailed(std::int32_t status);
    [[nodiscard]] static SoundEngineError noOutputDevice();

    [[nodiscard]] Kind kind() const noexcept { return kind_; }

  private:
    SoundEngineError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

    Kind kind_;
};

/// The tone stage as it stands.
struct ShelfReading {
    /// Decibels.
    float low = 0;
    float high = 0;
    /// The stage's own bypass, which nothing turns on.
    bool bypassed = false;
};

/// What the engine needs besides its output.
struct SoundEngineServices {
    /// Outlives the engine.
    const Clock& clock;
    /// Where all work on the output and the tone stage runs.
    std::unique_ptr<TaskQueue> control;
    /// Blocks the calling thread this long.
    std::function<void(std::chrono::nanoseconds)> sleep;
    /// Keeps the samples in use in memory; null leaves that to the machine. Outlives the engine.
    MemoryLock* memory = nullptr;
};

/// Told, on the control queue, what came of a request: nothing when it is done, otherwise the text of the
/// failure.
using OutputReport = std::function<void(const std::optional<std::string>& failure)>;

/// Turns each event into one sample that starts playing at once.
///
/// A fixed mixer of sixteen voices feeds one output. Any thread but the render thread may call any
/// operation, `play` included. Once started the engine runs until it is destroyed, apart from the short stops
/// of a device switch. The output behind it rests while nobody needs it (`restIfUnused`), which changes
/// nothing of what the engine says of itself.
///
/// Work on the output can take as long as a sound server takes to answer. It runs on the control queue.
/// `requestStart` and `requestOutputDevice` return at once. `start`, `setOutputDevice` and
/// `currentOutputDeviceUid` wait for the queue: they must not be called from it, nor from a thread that the
/// user waits for.
class SoundEngine {
  public:
    /// The layout into which every sound set is decoded, so that a hit needs no conversion.
    static constexpr AudioFormat renderFormat{48000, 1};
    /// The period that is asked of the output: 2.67 ms.
    static constexpr std::uint32_t requestedBufferFrames = 128;
    /// An output that does not start is tried again after this time, then after twice as long, and so on.
    static constexpr std::chrono::milliseconds firstRetryDelay{250};
    static constexpr std::chrono::milliseconds longestRetryDelay{8000};

    /// With a control queue of its own. The references outlive the engine. The output is stopped and this
    /// engine's alone.
    SoundEngine(AudioOutput& output, const Clock& clock, Threads& threads, const RandomSource& random,
                MemoryLock* memory = nullptr);
    SoundEngine(AudioOutput& output, SoundEngineServices services, const RandomSource& random);
    /// Drops waiting control tasks and stops the output. No other thread may be using the engine.
    ~SoundEngine();
    SoundEngine(const SoundEngine&) = delete;
    SoundEngine& operator=(const SoundEngine&) = delete;

    /// Starts the output; does nothing when running. Throws `AudioOutputError`; the engine then stays
    /// silent and may be started again.
    void start();
    /// As `start`, later: returns at once.
    void requestStart(OutputReport done);

    /// Makes `set` the one that hits are taken from. Sounds of the old set play to their end; it is
    /// released after the last of them. Not on the event-tap thread.
    void load(std::shared_ptr<const SoundSet> set);

    /// Plays the event if it should sound. Never fails and never waits for the control queue. Allocates
    /// only in verbose mode. Holds a lock for a few fields. Real-time safe except for that lock, and for a
    /// system call that wakes an output at rest.
    ///
    /// `time` is when the event happened, by the engine's clock, from which the sound's constant delay
    /// counts: a thread that was woken late makes no sound late if the hit still gets into its period. 0 is
    /// now.
    void play(const SoundEvent& event, std::chrono::nanoseconds time = std::chrono::nanoseconds(0));

    /// Notes that somebody uses the machine: a key, a button or the pointer moved. An output at rest wakes
    /// up, so that it is awake when a sound is due. Any thread; as `play` otherwise.
    void noteInput();
    /// Whether anybody listens to the keyboards; without that the output need not wait for a hit.
    void setListening(bool listening);
    /// Lets the output rest when it has been silent and nobody has used it for ten seconds, or for half a
    /// second while no event would be heard. To be called about every second; an engine for which nobody does
    /// never rests. Never waits.
    void restIfUnused();

    /// Master volume, limited to 0...1. What sounds follows within 10 ms.
    void setVolume(float volume);
    [[nodiscard]] float volume() const;
    /// The five switches take effect with the next `play`; what sounds already is not cut.
    void setMuted(bool muted);
    void setSpatial(bool spatial);
    /// Whether every key of a group sounds alike: from the centre, whatever `setSpatial` says, and from the
    /// samples of the whole group. For times when the sound may be captured.
    void setPlaceless(bool placeless);
    void setMouseEnabled(bool enabled);
    void setScrollEnabled(bool enabled);
    /// The loaded set; null when none is.
    [[nodiscard]] std::shared_ptr<const SoundSet> set() const;

    /// -1 (deep) to 1 (sharp), limited to that. What sounds follows within 20 ms.
    void setTone(float tone);
    [[nodiscard]] float tone() const;
    /// -1 (low and slow) to 1 (high and fast), limited to that. Applies from the next hit on.
    void setBody(float body);
    [[nodiscard]] float body() const;
    /// The tone stage after every change made so far.
    [[nodiscard]] ShelfReading shelfGainsForTest() const;

    /// Plays through the device with this UID, or without one through the system's default. `rebuild`
    /// restarts the output even if it is there already. Throws `SoundEngineError`, or `AudioOutputError`
    /// when the output starts neither with the tone stage nor without.
    void setOutputDevice(const std::optional<std::string>& uid, bool rebuild);
    /// Plays through the device with this UID from now on, or without one where the system puts the sound.
    /// While the device is away, which is reported as a failure, the default stands in for it. Returns at
    /// once; of several requests only the newest is carried out, and the others are dropped without a report.
    void requestOutputDevice(const std::optional<std::string>& uid, OutputReport done);
    /// The UID of the device in use, asked of the output if need be; none when unknown.
    [[nodiscard]] std::optional<std::string> currentOutputDeviceUid();
    /// The UID of the device that the sound comes from, none before the first start. Never waits.
    [[nodiscard]] std::optional<std::string> activeOutputDeviceUid() const;
    /// Whether the output runs and asks for periods, or rests until a hit comes. Never waits.
    [[nodiscard]] bool isPlaying() const;
    /// Puts the output back where it belongs 0.3 s after the last of a burst of calls.
    void recover();

    /// How many hits were dropped since the engine was made, since they could only have been heard too late.
    [[nodiscard]] std::uint64_t lateHits() const noexcept { return mixer_.lateHits(); }
    /// How often the output came too late for its device. Never waits.
    [[nodiscard]] std::uint64_t xruns() const noexcept { return output_.xruns(); }

    /// The state as it is now, for diagnostics and tests.
    [[nodiscard]] EngineState snapshot() const;

    /// The lane in which a (finite) pan plays, 0 to 7.
    [[nodiscard]] static std::size_t lane(float pan) noexcept { return VoiceLanes::laneFor(pan); }

  private:
    friend struct SoundEngineTestPeer;
    /// Where the output should be, and how things stand.
    struct Target {
        std::optional<AudioDeviceId> device;
        /// The output shall be where the system puts it, which is that device for now.
        bool isSystems = false;
        OutputSituation situation;

        /// What the output is told.
        [[nodiscard]] std::optional<AudioDeviceId> belonging() const {
            return isSystems ? std::nullopt : device;
        }
    };

    /// Notes that a sound is due, and wakes the output.
    void wake(std::chrono::nanoseconds now) KEYSONG_REQUIRES(mutex_);
    /// The same where one may follow soon, unless it would not be heard.
    void wakeIfHeard() KEYSONG_REQUIRES(mutex_);

    /// Runs the operation and tells what came of it. Control queue, as are the next three.
    static void report(const OutputReport& done, const std::function<void()>& operation);
    [[nodiscard]] Target look(OutputEvent event, const std::optional<std::string>& choice) const;
    /// Looks, decides and acts. Throws `SoundEngineError` and `AudioOutputError`.
    void settleOutput(OutputEvent event, const std::optional<std::string>& choice);
    /// Lets the running output belong where it is.
    void keepOn(const Target& target);
    /// Takes down where the system has moved the running output.
    void notePlace();
    /// The UID of where the output belongs; empty where the system puts it.
    [[nodiscard]] std::optional<std::string> belongingOf(const Target& target) const;
    /// Puts the output where it belongs after a change, and logs a failure.
    void settleAfterChange();
    /// Logs a failure, unless it is the last attempt's once more.
    void logFailure(const std::string& text);
    /// Tries again later if the output does not run, and sooner at first.
    void tryAgain();
    /// Whether the output plays and hits reach it. Control queue.
    [[nodiscard]] bool outputRuns() const;
    /// Asks for the period length, logging a refusal. Control queue.
    void applyBufferFrameSize();
    /// Prepares the mixer for the output's rate and starts the output. Throws `AudioOutputError`.
    void startOutput();
    /// Starts the output if it can; lets hits through if it runs then.
    void startOutputIfPossible();
    /// Takes down whether hits reach the output, now that it was started or is to be stopped.
    void noteRunning(bool runs) KEYSONG_REQUIRES(mutex_);
    /// Lets hits through, now that the output runs on `device`, and logs it.
    void finishStart(std::optional<AudioDeviceId> device);
    void logStartLine(std::optional<AudioDeviceId> device) const;
    [[nodiscard]] std::optional<AudioDeviceId> currentDeviceId() const;
    [[nodiscard]] std::optional<std::string> uidOf(std::optional<AudioDeviceId> device) const;
    void retarget(const Target& target);
    /// Throws the first failure, an `AudioOutputError`, when the output starts neither way.
    void startWithOrWithoutTone();
    void drainScheduling();

    /// Releases the replaced sets that nothing sounds from any more; comes back on the control queue
    /// while one remains.
    void releaseRetiredSets() KEYSONG_EXCLUDES(retiredMutex_);

    AudioOutput& output_;
    const Clock& clock_;
    const std::function<void(std::chrono::nanoseconds)> sleep_;
    MemoryLock* const memory_;
    RandomSource random_;
    Mixer mixer_;

    mutable Mutex mutex_;
    EngineState state_ KEYSONG_GUARDED_BY(mutex_);

    Mutex retiredMutex_;
    std::vector<std::shared_ptr<LoadedSet>> retired_ KEYSONG_GUARDED_BY(retiredMutex_);
    bool releasePending_ KEYSONG_GUARDED_BY(retiredMutex_) = false;

    /// Counts the user's wishes; only the newest is carried out.
    std::atomic<std::uint64_t> wishes_ = 0;

    // The control queue's own.
    /// Where the engine put the output last (`belongingOf`); none before the first start.
    std::optional<std::string> placedOn_;
    bool isWanted_ = false;
    std::chrono::milliseconds retryDelay_;
    std::uint64_t attempts_ = 0;
    /// What the last attempt said, so that the same is not logged again and again.
    std::string lastFailure_;

    /// For the output's callback, which may come a moment after it was taken back.
    Lifetime lifetime_;
    /// Last, so that its tasks see a whole engine.
    std::unique_ptr<TaskQueue> control_;
};

} // namespace keysong
