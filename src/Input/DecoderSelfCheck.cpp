#include "Input/DecoderSelfCheck.h"

#include "Input/InputDevTest.h"

#include <cstdio>
#include <string>

namespace keysong {

namespace {

RawEvent key(RawEventType type, std::int64_t code) {
    RawEvent event;
    event.type = type;
    event.keycode = code;
    return event;
}

RawEvent keyDown(std::int64_t code) {
    return key(RawEventType::keyDown, code);
}

RawEvent keyUp(std::int64_t code) {
    return key(RawEventType::keyUp, code);
}

RawEvent flagsChanged(std::int64_t code, std::uint64_t flags) {
    RawEvent event = key(RawEventType::flagsChanged, code);
    event.flags = flags;
    return event;
}

RawEvent media(std::int64_t data1) {
    RawEvent event;
    event.type = RawEventType::systemDefined;
    event.scrollPhaseOrSubtype = auxiliaryControlSubtype;
    event.data1 = data1;
    return event;
}

RawEvent mouse(RawEventType type) {
    RawEvent event;
    event.type = type;
    return event;
}

RawEvent lines(std::int64_t delta) {
    RawEvent event;
    event.type = RawEventType::scrollWheel;
    event.lineDelta = delta;
    return event;
}

RawEvent pixels(std::int64_t delta, std::int64_t momentum = 0) {
    RawEvent event;
    event.type = RawEventType::scrollWheel;
    event.continuous = 1;
    event.pointDelta = delta;
    event.momentumPhase = momentum;
    return event;
}

std::optional<SoundEvent> down(std::uint16_t code) {
    return SoundEvent::keyDown(code);
}

std::optional<SoundEvent> up(std::uint16_t code) {
    return SoundEvent::keyUp(code);
}

} // namespace

bool DecoderSelfCheck::run() {
    std::puts("decoder self-check");
    checkKeys();
    checkModifiers();
    checkMediaKeys();
    checkMouse();
    checkScroll();
    checkFlick();
    if (failures_ == 0) {
        std::puts("self-check: all passed");
    } else {
        std::printf("self-check: %d FAILED\n", failures_);
    }
    return failures_ == 0;
}

void DecoderSelfCheck::expect(std::string_view name, EventDecoder& decoder, const RawEvent& event,
                              const std::optional<SoundEvent>& want) {
    const auto got = decoder.decode(event.type, event);
    report(name, got == want, InputDevTest::describe(got), InputDevTest::describe(want));
}

void DecoderSelfCheck::report(std::string_view name, bool passed, std::string_view got,
                              std::string_view want) {
    constexpr std::size_t nameWidth = 34;
    std::string padded(name);
    padded.resize(std::max(padded.size(), nameWidth), ' ');
    failures_ += passed ? 0 : 1;
    std::printf("%s  %s got %.*s, want %.*s\n", passed ? "pass" : "FAIL", padded.c_str(),
                static_cast<int>(got.size()), got.data(), static_cast<int>(want.size()), want.data());
}

void DecoderSelfCheck::checkKeys() {
    EventDecoder decoder;
    RawEvent repeat = keyDown(0);
    repeat.autorepeat = 1;
    RawEvent synthetic = keyDown(0);
    synthetic.sourceState = softwareSourceState;
    expect("letter a down", decoder, keyDown(0), down(0));
    expect("letter a up", decoder, keyUp(0), up(0));
    expect("space down", decoder, keyDown(49), down(49));
    expect("return down", decoder, keyDown(36), down(36));
    expect("autorepeat is silent", decoder, repeat, std::nullopt);
    expect("synthetic key ignored", decoder, synthetic, std::nullopt);
}

void DecoderSelfCheck::checkModifiers() {
    EventDecoder decoder;
    expect("shift down", decoder, flagsChanged(56, shiftFlag), down(56));
    expect("shift up", decoder, flagsChanged(56, 0), up(56));
    expect("command down", decoder, flagsChanged(55, commandFlag), down(55));
    expect("command up", decoder, flagsChanged(55, 0), up(55));

    EventDecoder capsDecoder;
    expect("caps lock on is a down", capsDecoder, flagsChanged(57, capsLockFlag), down(57));
    expect("caps lock off is a down too", capsDecoder, flagsChanged(57, 0), down(57));
}

void DecoderSelfCheck::checkMediaKeys() {
    EventDecoder decoder;
    expect("brightness down is F1 down", decoder, media(0x30A00), down(122));
    expect("brightness down is F1 up", decoder, media(0x30B00), up(122));
    expect("brightness up is F2", decoder, media(0x20A00), down(120));
    expect("previous is F7", decoder, media(0x140A00), down(98));
    expect("play is F8", decoder, media(0x100A00), down(100));
    expect("next is F9", decoder, media(0x130A00), down(101));
    expect("mute is F10", decoder, media(0x70A00), down(109));
    expect("volume down is F11", decoder, media(0x10A00), down(103));
    expect("volume up is F12 up", decoder, media(0xB00), up(111));
    expect("held volume key is silent", decoder, media(0xA01), std::nullopt);
    expect("caps lock media event is silent", decoder, media(0x40A00), std::nullopt);
    expect("Mission Control is F3", decoder, keyDown(160), down(99));
    expect("Spotlight is F4", decoder, keyDown(177), down(118));
    expect("Dictation is F5", decoder, keyUp(176), up(96));
    expect("Do Not Disturb is F6", decoder, keyDown(178), down(97));
    expect("fn F1 is F1", decoder, keyDown(122), down(122));
}

void DecoderSelfCheck::checkMouse() {
    EventDecoder decoder;
    expect("left mouse down", decoder, mouse(RawEventType::leftMouseDown),
           SoundEvent::mouseDown(MouseButton::left));
    expect("left mouse up", decoder, mouse(RawEventType::leftMouseUp),
           SoundEvent::mouseUp(MouseButton::left));
    expect("right mouse down", decoder, mouse(RawEventType::rightMouseDown),
           SoundEvent::mouseDown(MouseButton::right));
    expect("other mouse down", decoder, mouse(RawEventType::otherMouseDown),
           SoundEvent::mouseDown(MouseButton::other));
}

void DecoderSelfCheck::checkScroll() {
    EventDecoder decoder;
    const std::optional<SoundEvent> tick = SoundEvent::scrollTick();
    expect("wheel notch is one tick", decoder, lines(1), tick);
    expect("momentum is silent", decoder, pixels(200, 1), std::nullopt);
    expect("trackpad 10px is below a notch", decoder, pixels(10), std::nullopt);
    expect("trackpad 10px again, still below", decoder, pixels(10), std::nullopt);
    expect("trackpad 10px, 30 total, no tick", decoder, pixels(10), std::nullopt);
    expect("trackpad 10px, 40 total, one tick", decoder, pixels(10), tick);
    expect("one 500px event is one tick", decoder, pixels(500), tick);
    expect("500px carries one notch, not 15", decoder, pixels(1), tick);
}

void DecoderSelfCheck::checkFlick() {
    EventDecoder decoder;
    int ticks = 0;
    const auto feed = [&](int count, const RawEvent& event) {
        for (int i = 0; i < count; ++i) {
            ticks += decoder.decode(event.type, event).has_value() ? 1 : 0;
        }
    };
    feed(40, pixels(10));
    feed(200, pixels(12, 2));
    report("400px flick plus inertia", ticks >= 8 && ticks <= 16, std::to_string(ticks) + " ticks",
           "8 to 16");
}

} // namespace keysong
