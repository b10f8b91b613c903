#pragma once

#include "Audio/SoundEngine.h"
#include "fakes/FakeAudioOutput.h"
#include "fakes/FakeMemoryLock.h"
#include "fakes/ManualClock.h"
#include "fakes/ManualQueue.h"
#include "support/LogCapture.h"
#include "support/TestSets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace keysong {

/// Reaches what a hit on another thread would do at an inconvenient moment.
struct SoundEngineTestPeer {
    static void addScheduling(SoundEngine& engine, std::int32_t count) {
        const MutexLock lock(engine.mutex_);
        engine.state_.scheduling += count;
    }
    static Mixer& mixer(SoundEngine& engine) { return engine.mixer_; }
};

} // namespace keysong

namespace keysong::test {

/// An engine on a fake output with two devices, 1 ("uid-a", the default) and 2 ("uid-b"), whose time and
/// render thread the test moves.
class EngineFixture : public testing::Test {
  public:
    EngineFixture() {
        auto control = std::make_unique<ManualQueue>();
        queue = control.get();
        engine = std::make_unique<SoundEngine>(output,
                                               SoundEngineServices{clock, std::move(control),
                                                                   [this](std::chrono::nanoseconds time) {
                                                                       clock.advance(time);
                                                                       if (onSleep) {
                                                                           onSleep();
                                                                       }
                                                                   },
                                                                   &memory},
                                               RandomSource(7));
    }

    /// Renders this many periods from now on.
    void render(int periods) {
        for (int i = 0; i < periods; ++i) {
            output.step(clock.now());
            clock.advance(std::chrono::nanoseconds(128 * 1'000'000'000LL / 48000));
        }
    }

    /// Whether the last period holds more than silence.
    [[nodiscard]] bool isAudible() const {
        return std::ranges::any_of(output.left, [](float frame) { return std::abs(frame) > 0.01F; });
    }

    /// The messages of one level that begin so.
    [[nodiscard]] static std::vector<std::string> notices(const std::string& beginning) {
        auto lines = LogCapture::shared().lines(LogLevel::notice);
        std::erase_if(lines, [&](const std::string& line) { return !line.starts_with(beginning); });
        return lines;
    }

    FakeAudioOutput output;
    ManualClock clock;
    FakeMemoryLock memory;
    ManualQueue* queue = nullptr;
    std::function<void()> onSleep;
    std::unique_ptr<SoundEngine> engine;
};

} // namespace keysong::test
