#include "Input/EventDecoder.h"

#include "Input/InputDevTest.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace keysong {
namespace {

/// One event in the scripts below: a word for the type, then field=value pairs; "-" is the expected
/// absence of a sound.
RawEvent parse(std::istringstream& line) {
    static const std::map<std::string, RawEventType> types = {
        {"down", RawEventType::keyDown},       {"up", RawEventType::keyUp},
        {"flags", RawEventType::flagsChanged}, {"media", RawEventType::systemDefined},
        {"scroll", RawEventType::scrollWheel}, {"move", static_cast<RawEventType>(5)}};
    static const std::map<std::string, std::int64_t RawEvent::*> fields = {
        {"code", &RawEvent::keycode},
        {"state", &RawEvent::sourceState},
        {"repeat", &RawEvent::autorepeat},
        {"data", &RawEvent::data1},
        {"phase", &RawEvent::scrollPhaseOrSubtype},
        {"subtype", &RawEvent::scrollPhaseOrSubtype},
        {"lines", &RawEvent::lineDelta},
        {"points", &RawEvent::pointDelta},
        {"momentum", &RawEvent::momentumPhase}};
    RawEvent event;
    std::string word;
    line >> word;
    event.type = types.at(word);
    if (word == "media") {
        event.scrollPhaseOrSubtype = auxiliaryControlSubtype;
    }
    while (line >> word && word != "->") {
        const auto equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const auto value = std::stoll(word.substr(equals + 1), nullptr, 0);
        if (name == "flags") {
            event.flags = static_cast<std::uint64_t>(value);
        } else {
            event.*fields.at(name) = value;
        }
        event.continuous |= name == "points" ? 1 : 0;
    }
    return event;
}

struct Script {
    const char* name;
    const char* text;
};

/// What the self-check, which is run below, does not cover.
const Script scripts[] = {{"Autorepeat silences downs only", R"(
                             down code=0 -> keyDown 0 [main]
                             down code=0 repeat=1 -> nil
                             up code=0 repeat=1 -> keyUp 0 [main]
                             down code=65 state=0 -> nil
                             down code=300 -> keyDown 300 [main]
                             down code=65536 -> keyDown 0 [main]
                             move -> nil)"},
                          {"Second shift is a down and each release an up", R"(
                             flags code=56 flags=0x20002 -> keyDown 56 [modifier]
                             flags code=60 flags=0x20006 -> keyDown 60 [modifier]
                             flags code=56 flags=0x20004 -> keyUp 56 [modifier]
                             flags code=60 flags=0 -> keyUp 60 [modifier])"},
                          {"Software flags leave no trace", R"(
                             flags code=56 flags=0x20002 state=0 -> nil
                             flags code=56 flags=0x20002 -> keyDown 56 [modifier]
                             flags code=56 flags=0 state=-1 -> nil
                             flags code=56 flags=0 -> keyUp 56 [modifier])"},
                          {"Caps Lock is always a down and is remembered", R"(
                             flags code=57 flags=0x10000 -> keyDown 57 [modifier]
                             flags code=56 flags=0x10000 -> keyDown 56 [modifier]
                             flags code=57 flags=0 -> keyDown 57 [modifier]
                             flags code=56 flags=0x100 -> keyDown 56 [modifier]
                             flags code=58 flags=0x80000 -> keyDown 58 [modifier]
                             flags code=57 flags=0x10000 -> keyDown 57 [modifier]
                             flags code=58 flags=0x10100 -> keyDown 58 [modifier]
                             flags code=58 flags=0x100 -> keyUp 58 [modifier])"},
                          {"Special keys take their place in the function row", R"(
                             down code=131 -> keyDown 118 [function]
                             flags code=160 flags=1 -> keyDown 99 [function]
                             down code=159 -> keyDown 159 [main])"},
                          {"Media keys", R"(
                             media data=0x150A00 -> keyDown 97 [function]
                             media data=0x160B00 -> keyUp 96 [function]
                             media data=0x120A00 -> keyDown 98 [function]
                             media data=0x130B00 -> keyUp 101 [function]
                             media data=0x30C00 -> nil
                             media data=0x30A00 subtype=7 -> nil)"},
                          {"Wheel and fingers", R"(
                             scroll lines=-3 -> scrollTick
                             scroll lines=0 -> nil
                             scroll points=-31 phase=1 -> nil
                             scroll points=0 phase=1 -> nil
                             scroll points=31 -> nil
                             scroll points=-1 -> scrollTick
                             scroll points=5000 momentum=2 -> nil
                             scroll points=31 -> nil
                             scroll points=64 -> scrollTick
                             scroll points=1 -> scrollTick
                             scroll points=0 -> nil
                             scroll points=100 phase=1 state=0 -> nil
                             scroll points=1 -> nil)"}};

TEST(EventDecoder, DecodesTheScripts) {
    for (const auto& [name, script] : scripts) {
        SCOPED_TRACE(name);
        EventDecoder decoder;
        std::istringstream lines(script);
        for (std::string text; std::getline(lines, text);) {
            if (text.find("->") == std::string::npos) {
                continue;
            }
            std::istringstream line(text);
            const RawEvent event = parse(line);
            std::string want;
            std::getline(line >> std::ws, want);
            EXPECT_EQ(InputDevTest::describe(decoder.decode(event.type, event)), want) << text;
        }
    }
}

TEST(DecoderSelfCheck, PassesAndPrintsALineACase) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(InputDevTest::selfCheck());
    std::istringstream output(testing::internal::GetCapturedStdout());
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 43U);
    EXPECT_EQ(lines.front(), "decoder self-check");
    EXPECT_EQ(lines[1],
              "pass  letter a down                      got keyDown 0 [main], want keyDown 0 [main]");
    EXPECT_EQ(lines[41], "pass  400px flick plus inertia           got 12 ticks, want 8 to 16");
    EXPECT_EQ(lines.back(), "self-check: all passed");
}

} // namespace
} // namespace keysong
