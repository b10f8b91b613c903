#include "Input/Hotkey.h"

#include "fakes/FakeHotkeyRegistrar.h"
#include "fakes/ManualQueue.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace keysong {
namespace {

using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class HotkeyTest : public testing::Test {
  protected:
    test::FakeHotkeyRegistrar registrar;
    test::ManualQueue mainQueue;
    std::optional<HotkeyRegistry> registry{std::in_place, registrar, mainQueue};
    std::vector<char> ran;

    std::optional<Hotkey> make(std::uint32_t keyCode, char mark) {
        return std::optional<Hotkey>(std::in_place, *registry, HotkeyCombination{keyCode, 6144},
                                     [this, mark] { ran.push_back(mark); });
    }
    void runMainQueue() { mainQueue.advance(std::chrono::nanoseconds(0)); }
};

TEST_F(HotkeyTest, NumbersCountFromOneAndTheHandlerIsSharedByAll) {
    auto toggle = make(40, 'k');
    auto settings = make(8, 'c');
    EXPECT_EQ(registrar.handlersInstalled, 1);
    ASSERT_EQ(registrar.asked.size(), 2U);
    EXPECT_EQ(registrar.asked[0].combination, (HotkeyCombination{40, controlKey | optionKey}));
    EXPECT_EQ(registrar.asked[0].identity, (HotkeyIdentity{('v' << 24) | ('i' << 16) | ('m' << 8) | 'p', 1}));
    EXPECT_EQ(registrar.asked[1].combination, (HotkeyCombination{8, controlKey | optionKey}));
    EXPECT_EQ(registrar.asked[1].identity.id, 2U);
    EXPECT_EQ(registrar.press(2), noErr);
    EXPECT_EQ(registrar.press(1), noErr);
    EXPECT_THAT(ran, ElementsAre('c', 'k'));
    settings.reset();
    EXPECT_EQ(make(8, 'c')->id(), 3U);
}

TEST_F(HotkeyTest, ARefusedHotkeyIsLoggedAndInertAndTheOtherWorks) {
    registrar.answer = eventHotKeyExistsErr;
    auto refused = make(40, 'k');
    registrar.answer = noErr;
    auto other = make(8, 'c');
    auto refusedLate = make(9, 'l');
    registrar.handlers.refused(registrar.asked[2].identity, -128);
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre("hotkey registration failed, status -9878",
                                                               "hotkey registration failed, status -128"));
    for (const std::uint32_t id : {1U, 2U, 3U}) {
        EXPECT_EQ(registrar.press(id), noErr);
    }
    EXPECT_THAT(ran, ElementsAre('c'));
    refused.reset();
    EXPECT_THAT(registrar.unregistered, IsEmpty());
}

TEST_F(HotkeyTest, ALatePressOfAReleasedHotkeyRunsNothing) {
    auto hotkey = make(40, 'k');
    hotkey.reset();
    EXPECT_THAT(registrar.unregistered, ElementsAre(registrar.asked[0].identity));
    EXPECT_EQ(registrar.press(1), noErr); // before the entry is removed, and after
    runMainQueue();
    EXPECT_EQ(registrar.press(1), noErr);
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(HotkeyTest, AnActionMayEndItsOwnHotkeyAndStartAnother) {
    std::optional<Hotkey> second;
    std::optional<Hotkey> first;
    first.emplace(*registry, HotkeyCombination{40, 6144}, [&] {
        first.reset();
        second = std::nullopt;
        second.emplace(*registry, HotkeyCombination{40, 6144}, [&] { ran.push_back('2'); });
    });
    EXPECT_EQ(registrar.press(1), noErr);
    runMainQueue();
    EXPECT_EQ(registrar.press(2), noErr);
    EXPECT_THAT(ran, ElementsAre('2'));
}

TEST_F(HotkeyTest, AnEventWithoutAnIdentityIsNotHandled) {
    auto hotkey = make(40, 'k');
    EXPECT_EQ(registrar.handlers.pressed(nullptr), -9874);
    const HotkeyEvent unreadable{-9870, registrar.asked[0].identity};
    EXPECT_EQ(registrar.handlers.pressed(&unreadable), -9870);
    EXPECT_THAT(ran, IsEmpty());
}

TEST_F(HotkeyTest, PressesAndRemovalsMayOutliveTheRegistry) {
    make(40, 'k').reset();
    registry.reset();
    EXPECT_EQ(registrar.press(1), noErr);
    runMainQueue();
    EXPECT_THAT(ran, IsEmpty());
}

} // namespace
} // namespace keysong
