#include "App/WindowsMessages.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace keysong {
namespace {

using Bytes = std::vector<std::byte>;

TEST(WindowsMessages, ComeBackAsTheyWereAndOnlyWhole) {
    const auto eachCutOrLonger = [](const Bytes& whole, const auto& decoded) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            decoded(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        }
        Bytes longer = whole;
        longer.push_back(std::byte(1));
        decoded(longer);
        Bytes other = whole;
        other[0] ^= std::byte(1);
        decoded(other);
    };
    for (const MessageToWindows& message : std::initializer_list<MessageToWindows>{
             ShowWindow{WindowKind::settings, ""}, ShowWindow{WindowKind::onboarding, "a token"},
             ShowWindow{WindowKind::settings, std::string(ShowWindow::longestToken, 'x')},
             PanelState{true, false}, KeysHeld{{1, 0, 0xFEDCBA9876543210, std::uint64_t(1) << 63}},
             KeysCounted{0x123456789ABCDEF}}) {
        EXPECT_EQ(decodedToWindows(encoded(message)), message);
        eachCutOrLonger(encoded(message), [&](const Bytes& bytes) {
            const auto decoded = decodedToWindows(bytes);
            // A shorter token is a token, too.
            EXPECT_TRUE(!decoded || std::holds_alternative<ShowWindow>(message)) << bytes.size();
            EXPECT_NE(decoded, message) << bytes.size();
        });
        EXPECT_EQ(decodedFromWindows(encoded(message)), std::nullopt);
    }
    for (const MessageFromWindows& message : std::initializer_list<MessageFromWindows>{
             WindowShown{WindowKind::onboarding}, WatchKeys{true}, WatchKeys{false}}) {
        EXPECT_EQ(decodedFromWindows(encoded(message)), message);
        eachCutOrLonger(encoded(message),
                        [](const Bytes& bytes) { EXPECT_EQ(decodedFromWindows(bytes), std::nullopt); });
    }
}

TEST(WindowsMessages, CarryNothingThatIsNoToken) {
    const auto tooLong = encoded(MessageToWindows(ShowWindow{WindowKind::settings, std::string(1025, 'x')}));
    EXPECT_EQ(decodedToWindows(tooLong), MessageToWindows(ShowWindow{WindowKind::settings, ""}));
    Bytes bytes = encoded(MessageToWindows(ShowWindow{WindowKind::settings, "ab"}));
    bytes.back() = std::byte(0);
    EXPECT_EQ(decodedToWindows(bytes), std::nullopt);
    bytes = encoded(MessageToWindows(ShowWindow{}));
    bytes.back() = std::byte(9); // no such window
    EXPECT_EQ(decodedToWindows(bytes), std::nullopt);
    bytes = encoded(MessageFromWindows(WatchKeys{true}));
    bytes.back() = std::byte(2);
    EXPECT_EQ(decodedFromWindows(bytes), std::nullopt);
}

} // namespace
} // namespace keysong
