// The diagnostic that rebuilds the output again and again.

#include "Audio/AudioDevTest.h"
#include "Audio/SoundLibrary.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace keysong {

namespace {

constexpr float testTone = -0.7F;
constexpr float testBody = -0.7F;
/// The shelves at that tone, in dB.
constexpr float wantedLow = 4.2F;
constexpr float wantedHigh = -4.2F;
constexpr float tolerance = 0.01F;

bool held(const ShelfReading& reading) {
    return std::abs(reading.low - wantedLow) <= tolerance && std::abs(reading.high - wantedHigh) <= tolerance;
}

std::string wantedText() {
    return "(low: " + shortestText(wantedLow) + ", high: " + shortestText(wantedHigh) + ")";
}

std::string textOf(const ShelfReading& reading) {
    return "(low: " + shortestText(reading.low) + ", high: " + shortestText(reading.high) +
           ", bypassed: " + (reading.bypassed ? "true" : "false") + ")";
}

} // namespace

int AudioDevTest::deviceTest(std::int64_t rounds) const {
    return finish([&] { runDeviceTest(rounds); });
}

void AudioDevTest::runDeviceTest(std::int64_t rounds) const {
    const auto sets = SoundLibrary::availableSets(services_.places, services_.order);
    if (sets.empty()) {
        fail("no sets in " + SoundLibrary::directory(services_.places).string());
    }
    const Bench bench = setUp(sets.front());
    SoundEngine& engine = *bench.engine;
    engine.setVolume(0);
    engine.setTone(testTone);
    engine.setBody(testBody);
    const ShelfReading reading = engine.shelfGainsForTest();
    if (!held(reading)) {
        fail("tone did not reach the EQ: " + textOf(reading) + ", wanted " + wantedText());
    }
    if (reading.bypassed) {
        fail("EQ bypassed with the pad off centre");
    }
    const std::int64_t count = std::max<std::int64_t>(1, rounds);
    for (std::int64_t round = 1; round <= count; ++round) {
        rebuild(engine, round);
    }
    std::fprintf(stdout, "device ok  %s graph rebuilds, engine audible, shelves held at low=%sdB high=%sdB\n",
                 std::to_string(count).c_str(), shortestText(wantedLow).c_str(),
                 shortestText(wantedHigh).c_str());
}

void AudioDevTest::rebuild(SoundEngine& engine, std::int64_t round) const {
    const std::string number = std::to_string(round);
    try {
        engine.setOutputDevice(engine.currentOutputDeviceUid(), true);
    } catch (const std::runtime_error& error) {
        fail("rebuild " + number + " failed: " + error.what());
    }
    const EngineState state = engine.snapshot();
    if (!state.running || state.muted || state.set == nullptr) {
        fail("engine was not audible after rebuild " + number);
    }
    const ShelfReading reading = engine.shelfGainsForTest();
    if (!held(reading)) {
        fail("rebuild " + number + " reset the shelves: " + textOf(reading) + ", wanted " + wantedText());
    }
    if (reading.bypassed) {
        fail("rebuild " + number + " left the EQ bypassed");
    }
    engine.play(SoundEvent::keyDown(0));
    engine.play(SoundEvent::keyUp(0));
    services_.sleep(std::chrono::milliseconds(20));
}

} // namespace keysong
