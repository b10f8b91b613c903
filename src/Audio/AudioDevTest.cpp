#include "Audio/AudioDevTest.h"

#include "Audio/KeyPan.h"
#include "Audio/SoundLibrary.h"
#include "Audio/ToneControl.h"
#include "Shared/NumberText.h"
#include "Shared/PrintableText.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace keysong {

namespace {

using std::chrono::milliseconds;

/// What the play test plays when no key codes are given: across the board from left to right.
constexpr std::array<std::uint16_t, 10> defaultKeyCodes{53, 48, 0, 1, 2, 3, 49, 36, 51, 124};
constexpr std::size_t firstKeyCodeArgument = 3;
constexpr std::uint16_t largestKeyCode = 255;
constexpr int burstLength = 10;
constexpr int scrollNotches = 4;

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string result;
    for (const std::string& text : texts) {
        result += (result.empty() ? "" : separator) + text;
    }
    return result;
}

void print(const std::string& line) {
    std::fprintf(stdout, "%s\n", printable(line).c_str());
}

std::string gainsText(const ShelfGains& gains) {
    return "low=" + shortestText(gains.low) + "dB high=" + shortestText(gains.high) +
           "dB makeup=" + shortestText(gains.makeup) + "dB";
}

} // namespace

int AudioDevTest::finish(const std::function<void()>& mode) {
    int status = 0;
    try {
        mode();
    } catch (const Failure& failure) {
        std::fprintf(stderr, "play-test failed: %s\n", printable(failure.what()).c_str());
        status = 1;
    }
    std::fflush(nullptr);
    return status;
}

void AudioDevTest::fail(const std::string& message) {
    throw Failure(message);
}

int AudioDevTest::listSets() const {
    const auto sets = SoundLibrary::availableSets(services_.places, services_.order);
    for (const SoundSetInfo& set : sets) {
        std::fprintf(stdout, "%s\t%s\n", printable(set.id).c_str(), printable(set.name).c_str());
    }
    if (sets.empty()) {
        std::fprintf(stderr, "no sets in %s\n",
                     printable(SoundLibrary::directory(services_.places).string()).c_str());
    }
    std::fflush(nullptr);
    return sets.empty() ? 1 : 0;
}

int AudioDevTest::playTest(const std::optional<std::string>& setId) const {
    const auto swaps =
        parseInteger<std::int64_t>(services_.places.environment("KEYSONG_SWAP_TEST").value_or(""));
    if (swaps && *swaps >= 1) {
        return swapTest(setId, *swaps);
    }
    return finish([&] { runPlayTest(setId); });
}

int AudioDevTest::swapTest(const std::optional<std::string>& setId, std::int64_t swaps) const {
    return finish([&] { runSwapTest(setId, swaps); });
}

AudioDevTest::Bench AudioDevTest::setUp(const std::optional<std::string>& setId) const {
    const auto sets = SoundLibrary::availableSets(services_.places, services_.order);
    const auto chosen = std::find_if(sets.begin(), sets.end(),
                                     [&](const SoundSetInfo& set) { return !setId || set.id == *setId; });
    if (chosen == sets.end()) {
        fail("no set \"" + setId.value_or("") + "\" in " +
             SoundLibrary::directory(services_.places).string());
    }
    return setUp(*chosen);
}

AudioDevTest::Bench AudioDevTest::setUp(const SoundSetInfo& set) const {
    Bench bench{services_.makeEngine(), set.directory, set.id};
    try {
        bench.engine->start();
        bench.engine->load(SoundSet::load(bench.directory, SoundEngine::renderFormat, services_.files));
    } catch (const std::runtime_error& error) {
        fail(error.what());
    }
    return bench;
}

std::vector<std::uint16_t> AudioDevTest::keyCodes() const {
    std::vector<std::uint16_t> codes;
    for (std::size_t i = firstKeyCodeArgument; i < arguments_.size(); ++i) {
        const auto code = parseInteger<std::uint16_t>(arguments_[i]);
        if (!code) {
            break;
        }
        if (*code <= largestKeyCode) {
            codes.push_back(*code);
        }
    }
    if (codes.empty()) {
        codes.assign(defaultKeyCodes.begin(), defaultKeyCodes.end());
    }
    return codes;
}

void AudioDevTest::checkKeyPan() {
    if (const auto problems = KeyPan::selfCheck(); !problems.empty()) {
        fail("key-pan: " + joined(problems, "; "));
    }
    print("key-pan ok  Q=" + shortestText(KeyPan::pan(12)) + " space=" + shortestText(KeyPan::pan(49)) +
          " P=" + shortestText(KeyPan::pan(35)));
}

void AudioDevTest::checkTone() {
    if (const auto failures = ToneControl::selfCheck(); !failures.empty()) {
        fail("tone: " + joined(failures, "; "));
    }
    print("tone ok  neutral rate=" + shortestText(ToneControl::rate(0)) + " " +
          gainsText(ToneControl::shelves(0)));
    print("tone ok  thock " + gainsText(ToneControl::shelves(-1)) + " | clack " +
          gainsText(ToneControl::shelves(1)));
    print("tone ok  body rate -1=" + shortestText(ToneControl::rate(-1)) + " +1=" +
          shortestText(ToneControl::rate(1)) + " clamped body 9=" + shortestText(ToneControl::rate(9)) +
          " clamped tone -9 low=" + shortestText(ToneControl::shelves(-9).low) + "dB");
}

void AudioDevTest::applyTone(SoundEngine& engine) const {
    if (const auto tone = parseFloat(services_.places.environment("KEYSONG_TONE").value_or(""))) {
        engine.setTone(*tone);
    }
    if (const auto body = parseFloat(services_.places.environment("KEYSONG_BODY").value_or(""))) {
        engine.setBody(*body);
    }
    print("tone set  tone=" + shortestText(engine.tone()) + " body=" + shortestText(engine.body()));
}

void AudioDevTest::playAndWait(SoundEngine& engine, const SoundEvent& event, milliseconds wait) const {
    engine.play(event);
    services_.sleep(wait);
}

void AudioDevTest::runPlayTest(const std::optional<std::string>& setId) const {
    const std::vector<std::uint16_t> codes = keyCodes();
    const Bench bench = setUp(setId);
    SoundEngine& engine = *bench.engine;
    engine.setVolume(1);
    engine.setMouseEnabled(true);
    engine.setScrollEnabled(true);
    engine.setMuted(services_.places.environment("KEYSONG_SILENT") == "1");
    checkKeyPan();
    checkTone();
    applyTone(engine);
    std::vector<std::string> codeTexts;
    for (const std::uint16_t code : codes) {
        codeTexts.push_back(std::to_string(code));
    }
    print("play-test " + bench.setId + " keys=" + joined(codeTexts, ",") + " burst=10x" + codeTexts.front());
    playKeys(engine, codes);
    playMouse(engine);
    playAcrossRecovery(engine, codes.front());
    print("done");
}

void AudioDevTest::playKeys(SoundEngine& engine, const std::vector<std::uint16_t>& codes) const {
    for (const std::uint16_t code : codes) {
        playAndWait(engine, SoundEvent::keyDown(code), milliseconds(150));
        playAndWait(engine, SoundEvent::keyUp(code), milliseconds(150));
    }
    for (int i = 0; i < burstLength; ++i) {
        playAndWait(engine, SoundEvent::keyDown(codes.front()), milliseconds(30));
    }
    services_.sleep(milliseconds(200));
}

void AudioDevTest::playMouse(SoundEngine& engine) const {
    for (const MouseButton button : {MouseButton::left, MouseButton::right, MouseButton::other}) {
        playAndWait(engine, SoundEvent::mouseDown(button), milliseconds(100));
        playAndWait(engine, SoundEvent::mouseUp(button), milliseconds(100));
    }
    for (int i = 0; i < scrollNotches; ++i) {
        playAndWait(engine, SoundEvent::scrollTick(), milliseconds(60));
    }
}

void AudioDevTest::playAcrossRecovery(SoundEngine& engine, std::uint16_t code) const {
    try {
        engine.setOutputDevice(engine.currentOutputDeviceUid(), false);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "setOutputDevice: %s\n", printable(error.what()).c_str());
    }
    engine.recover();
    // Longer than a recovery is put off.
    services_.sleep(milliseconds(600));
    playAndWait(engine, SoundEvent::keyDown(code), milliseconds(400));
}

} // namespace keysong
