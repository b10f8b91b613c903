#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace keysong::test {

/// A sound card made of software, which ALSA opens as a PCM of type "keysong_paced": it takes sound at the
/// pace of the clock, keeps what it was given, and can be made to fail as real cards do.
///
/// One for the test program; any thread.
class PacedCard {
  public:
    static PacedCard& shared();

    /// The file to name as `lib` in ALSA's configuration.
    static std::string library();

    /// Forgets what was played and works as it should.
    void reset();

    // What the card can do; read when it is opened.
    /// snd_pcm_format_t
    std::atomic<int> format = 0;
    std::atomic<unsigned> channels = 2;
    std::atomic<unsigned> smallestPeriod = 64;
    /// Whether its channels are rear left, rear right, front left, front right.
    std::atomic<bool> frontChannelsLast = false;
    /// A negative error number that opening ends with; 0 opens.
    std::atomic<int> openError = 0;

    // What happens to it while it plays.
    /// Frames per second of the clock.
    std::atomic<double> rate = 48000;
    /// How many frames it takes at once; a sound server may take many.
    std::atomic<int> gulp = 1;
    std::atomic<bool> attached = true;
    std::atomic<bool> stalled = false;
    /// The next so many questions for the position find that it ran dry, or slept.
    std::atomic<int> pendingXruns = 0;
    std::atomic<int> pendingSleeps = 0;

    /// All frames that it was given, as floats, channel by channel within the frame.
    [[nodiscard]] std::vector<float> played() const;
    [[nodiscard]] int timesPrepared() const { return prepared_; }
    [[nodiscard]] bool isOpen() const { return open_ > 0; }

    // For the PCM.
    void keep(float sample);
    void countPrepare() { ++prepared_; }
    void countOpen(int change) { open_ += change; }

  private:
    mutable std::mutex mutex_;
    std::vector<float> played_;
    std::atomic<int> prepared_ = 0;
    std::atomic<int> open_ = 0;
};

} // namespace keysong::test
