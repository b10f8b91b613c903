// Plays clicks at known times through the ALSA output, on a card of choice, and says what becomes of it: for
// machines with real cards. Reads commands, one a line:
//
//   devices               lists the devices: "device UID|name|channels", then "default UID"
//   play UID CLICKS       moves to the device and plays clicks 50 ms apart, exact to the sample
//   wait lost             waits until the output stopped by itself
//   wait UID              waits until the device is listed
//   say WORDS             prints the words
#include "Audio/Mixer.h"
#include "Platform/linux/AlsaOutput.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/MonotonicClock.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace keysong {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds waitLimit{20000};
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

    bool run(const std::string& line) {
        std::istringstream words(line);
        std::string command;
        std::string argument;
        int count = 0;
        words >> command >> argument >> count;
        if (command == "devices") {
            list();
            return true;
        }
        if (command == "play") {
            return play(argument, count);
        }
        if (command == "say") {
            std::printf("%s\n", line.substr(command.size() + 1).c_str());
            return true;
        }
        return command == "wait" && waitFor(argument);
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
        const auto standard = devices.defaultOutputDevice();
        std::printf("default %s\n", standard ? devices.uid(*standard).value_or("").c_str() : "none");
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

    bool waitFor(const std::string& what) {
        const auto deadline = std::chrono::steady_clock::now() + waitLimit;
        while (what == "lost" ? output_.isRunning() || changes_ == 0 : !find(what)) {
            if (std::chrono::steady_clock::now() > deadline) {
                std::printf("waited in vain for %s\n", what.c_str());
                return false;
            }
            std::this_thread::sleep_for(milliseconds(10));
        }
        std::printf("came: %s\n", what.c_str());
        return true;
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

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    keysong::Player player;
    for (std::string line; std::getline(std::cin, line);) {
        if (!player.run(line)) {
            return 1;
        }
    }
    return 0;
}
