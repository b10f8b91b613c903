// alsa-player CARD OTHER: plays clicks at known times through the ALSA output and says what becomes of it,
// for machines with real cards. First on the one card, then on the other once it is plugged in, and on the
// first again when that is gone; both are named by their device's UID.
#include "Audio/Mixer.h"
#include "Linux/Sound/AlsaOutput.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "support/Eventually.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace keysong {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds clickInterval{50};
/// Silence first, so that an emulated machine is warm and the timeline straight by the first click.
constexpr milliseconds warmUp{1200};
/// How far ahead clicks are given to the mixer, which takes less than a second.
constexpr milliseconds clickLead{600};

class Player {
  public:
    Player() : output_(threads_, clock_), mixer_({}), click_(makeClick()) {
        output_.setRenderer(&mixer_);
        output_.setConfigurationChangeHandler([this] { ++changes_; });
        output_.requestBufferFrames(128);
    }
    ~Player() {
        output_.stop();
        mixer_.discardAll();
    }

    bool run(const std::string& card, const std::string& other) {
        list();
        if (!play(card, 60) || !rest() || !waitFor(other, [&] { return find(other).has_value(); })) {
            return false;
        }
        list();
        if (!play(other, 40)) {
            return false;
        }
        std::puts("GUEST PLAYS");
        if (!waitFor("lost", [&] { return !output_.isRunning() && changes_ > 0; })) {
            return false;
        }
        list();
        return play(card, 20);
    }

  private:
    static SampleBuffer makeClick() {
        // Steep at its start, gone before the next one.
        std::vector<float> samples(240);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = 0.8F * (1.0F - static_cast<float>(i) / 240.0F) * (i % 8 < 4 ? 1.0F : -1.0F);
        }
        return SampleBuffer(samples);
    }

    void list() {
        AudioDevices& devices = output_.devices();
        for (const AudioDeviceId id : devices.deviceIds()) {
            std::printf("device %s|%s|%u\n", devices.uid(id).value_or("").c_str(),
                        devices.name(id).value_or("").c_str(), devices.outputChannels(id));
        }
    }

    std::optional<AudioDeviceId> find(const std::string& uid) {
        for (const AudioDeviceId id : output_.devices().deviceIds()) {
            if (output_.devices().uid(id) == uid) {
                return id;
            }
        }
        return std::nullopt;
    }

    bool play(const std::string& uid, int clicks) {
        const auto device = find(uid);
        if (!device) {
            std::printf("no device %s\n", uid.c_str());
            return false;
        }
        output_.stop();
        mixer_.discardAll();
        const std::uint64_t before = output_.xruns();
        if (const int status = output_.setDevice(*device); status != 0) {
            std::printf("refused %d\n", status);
            return false;
        }
        try {
            output_.start();
        } catch (const AudioOutputError& error) {
            std::printf("not started: %s\n", error.what());
            return false;
        }
        schedule(clicks);
        const AudioDevices& devices = output_.devices();
        std::printf("played %d on %s period %u ahead %u latency %d xruns %u\n", clicks, uid.c_str(),
                    output_.bufferFrames().value_or(0), devices.safetyOffsetFrames(*device).value_or(0),
                    static_cast<int>(devices.latencyFrames(*device).value_or(0)),
                    static_cast<unsigned>(output_.xruns() - before));
        return true;
    }

    /// Lets the card sleep, and plays on it again.
    bool rest() {
        output_.setResting(true);
        const bool slept = waitFor("asleep " + cardState(), [] { return cardState() == "closed"; });
        // Another program may have it now.
        const bool lent = std::system("aplay -q -D plughw:0 -d 1 -f dat /dev/zero") == 0;
        const auto asked = clock_.now();
        output_.setResting(false);
        const bool woke = waitFor("awake", [] { return cardState() == "RUNNING"; });
        std::printf("the card was lent %d and ran again after %d ms\n", lent ? 1 : 0,
                    static_cast<int>(std::chrono::duration_cast<milliseconds>(clock_.now() - asked).count()));
        // And at the same time.
        const bool shared = std::system("aplay -q -D plug:dmix:0 -d 1 -f dat /dev/zero") == 0;
        std::printf("shared %d\n", shared ? 1 : 0);
        return slept && lent && woke && shared && output_.isRunning();
    }

    /// What the kernel says of the first card's PCM.
    static std::string cardState() {
        std::ifstream status("/proc/asound/card0/pcm0p/sub0/status");
        std::string word;
        status >> word;
        if (word == "state:") {
            status >> word;
        }
        return word;
    }

    void schedule(int clicks) {
        std::this_thread::sleep_for(warmUp);
        const auto first = clock_.now() + clickLead;
        for (int i = 0; i < clicks; ++i) {
            const auto time = first + i * clickInterval;
            if (const auto early = time - clock_.now(); early > clickLead) {
                std::this_thread::sleep_for(early - clickLead);
            }
            ScheduledHit hit;
            hit.timeNanoseconds = time.count();
            hit.voice = static_cast<std::uint32_t>(i) % Mixer::voiceCount;
            hit.buffer = &click_;
            if (!mixer_.schedule(hit)) {
                std::printf("click %d was not taken\n", i);
            }
        }
        std::this_thread::sleep_for(clickLead + 4 * clickInterval);
    }

    static bool waitFor(const std::string& what, const std::function<bool()>& condition) {
        const bool came = test::eventually(condition);
        std::printf("%s %s\n", came ? "came:" : "waited in vain for", what.c_str());
        return came;
    }

    LinuxThreads threads_;
    MonotonicClock clock_;
    AlsaOutput output_;
    Mixer mixer_;
    SampleBuffer click_;
    std::atomic<int> changes_ = 0;
};

} // namespace
} // namespace keysong

int main(int count, char** words) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    return count == 3 && keysong::Player().run(words[1], words[2]) ? 0 : 1;
}
