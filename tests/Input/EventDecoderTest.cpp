#include "Input/EventDecoder.h"

#include "Input/InputDevTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace keysong {
namespace {

using enum RawEventType;

/// Events that one decoder sees one after the other, each with the sound that it must become.
struct Script {
    const char* name;
    std::vector<std::pair<RawEvent, const char*>> steps;
};

RawEvent media(std::int64_t data, std::int64_t subtype = auxiliaryControlSubtype) {
    return {.type = systemDefined, .scrollPhaseOrSubtype = subtype, .data1 = data};
}

RawEvent fingers(std::int64_t points, std::int64_t phase = 0) {
    return {.type = scrollWheel, .continuous = 1, .pointDelta = points, .scrollPhaseOrSubtype = phase};
}

/// What the self-check, which is run below, does not cover.
const Script scripts[] = {
    {"Autorepeat silences downs only",
     {{{.type = keyDown, .keycode = 0}, "keyDown 0 [main]"},
      {{.type = keyDown, .keycode = 0, .autorepeat = 1}, "nil"},
      {{.type = keyUp, .keycode = 0, .autorepeat = 1}, "keyUp 0 [main]"},
      {{.type = keyDown, .sourceState = 0, .keycode = 65}, "nil"},
      {{.type = keyDown, .keycode = 300}, "keyDown 300 [main]"},
      {{.type = keyDown, .keycode = 65536}, "keyDown 0 [main]"},
      {{.type = static_cast<RawEventType>(5)}, "nil"}}},
    {"Second shift is a down and each release an up",
     {{{.type = flagsChanged, .flags = 0x20002, .keycode = 56}, "keyDown 56 [modifier]"},
      {{.type = flagsChanged, .flags = 0x20006, .keycode = 60}, "keyDown 60 [modifier]"},
      {{.type = flagsChanged, .flags = 0x20004, .keycode = 56}, "keyUp 56 [modifier]"},
      {{.type = flagsChanged, .flags = 0, .keycode = 60}, "keyUp 60 [modifier]"}}},
    {"Software flags leave no trace",
     {{{.type = flagsChanged, .flags = 0x20002, .sourceState = 0, .keycode = 56}, "nil"},
      {{.type = flagsChanged, .flags = 0x20002, .keycode = 56}, "keyDown 56 [modifier]"},
      {{.type = flagsChanged, .flags = 0, .sourceState = -1, .keycode = 56}, "nil"},
      {{.type = flagsChanged, .flags = 0, .keycode = 56}, "keyUp 56 [modifier]"}}},
    {"Caps Lock is always a down and is remembered",
     {{{.type = flagsChanged, .flags = 0x10000, .keycode = 57}, "keyDown 57 [modifier]"},
      {{.type = flagsChanged, .flags = 0x10000, .keycode = 56}, "keyDown 56 [modifier]"},
      {{.type = flagsChanged, .flags = 0, .keycode = 57}, "keyDown 57 [modifier]"},
      {{.type = flagsChanged, .flags = 0x100, .keycode = 56}, "keyDown 56 [modifier]"},
      {{.type = flagsChanged, .flags = 0x80000, .keycode = 58}, "keyDown 58 [modifier]"},
      {{.type = flagsChanged, .flags = 0x10000, .keycode = 57}, "keyDown 57 [modifier]"},
      {{.type = flagsChanged, .flags = 0x10100, .keycode = 58}, "keyDown 58 [modifier]"},
      {{.type = flagsChanged, .flags = 0x10000, .keycode = 58}, "keyDown 58 [modifier]"},
      {{.type = flagsChanged, .flags = 0x100, .keycode = 58}, "keyUp 58 [modifier]"}}},
    {"Special keys take their place in the function row",
     {{{.type = keyDown, .keycode = 131}, "keyDown 118 [function]"},
      {{.type = flagsChanged, .flags = 1, .keycode = 160}, "keyDown 99 [function]"},
      {{.type = keyDown, .keycode = 159}, "keyDown 159 [main]"}}},
    {"Media keys",
     {{media(0x150A00), "keyDown 97 [function]"},
      {media(0x160B00), "keyUp 96 [function]"},
      {media(0x120A00), "keyDown 98 [function]"},
      {media(0x130B00), "keyUp 101 [function]"},
      {media(0x30C00), "nil"},
      {media(0x30A00, 7), "nil"}}},
    {"Wheel and fingers",
     {{{.type = scrollWheel, .lineDelta = -3}, "scrollTick"},
      {{.type = scrollWheel, .lineDelta = 0}, "nil"},
      {fingers(-31, 1), "nil"},
      {fingers(0, 1), "nil"},
      {fingers(31), "nil"},
      {fingers(-1), "scrollTick"},
      {{.type = scrollWheel, .continuous = 1, .pointDelta = 5000, .momentumPhase = 2}, "nil"},
      {fingers(31), "nil"},
      {fingers(64), "scrollTick"},
      {fingers(1), "scrollTick"},
      {fingers(0), "nil"},
      {{.type = scrollWheel, .sourceState = 0, .continuous = 1, .pointDelta = 100, .scrollPhaseOrSubtype = 1},
       "nil"},
      {fingers(1), "nil"}}}};

TEST(EventDecoder, DecodesTheScripts) {
    for (const auto& [name, steps] : scripts) {
        EventDecoder decoder;
        for (std::size_t step = 0; step < steps.size(); ++step) {
            const auto& [event, sound] = steps[step];
            EXPECT_EQ(InputDevTest::describe(decoder.decode(event.type, event)), sound)
                << name << ", step " << step;
        }
    }
}

TEST(DecoderSelfCheck, PassesAndPrintsALineACase) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(InputDevTest::selfCheck());
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 43);
    EXPECT_THAT(
        output,
        testing::StartsWith(
            "decoder self-check\n"
            "pass  letter a down                      got keyDown 0 [main], want keyDown 0 [main]\n"));
    EXPECT_THAT(output,
                testing::EndsWith("pass  400px flick plus inertia           got 12 ticks, want 8 to 16\n"
                                  "self-check: all passed\n"));
}

} // namespace
} // namespace keysong
