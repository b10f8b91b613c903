#include "Shared/KeyGroup.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

namespace keysong {
namespace {

TEST(KeyGroup, EveryCodeHasTheGroupOfItsKey) {
    const std::vector<std::pair<int, KeyGroup>> samples = {
        {36, KeyGroup::enter},     {48, KeyGroup::tab},         {49, KeyGroup::space},
        {51, KeyGroup::backspace}, {52, KeyGroup::enter},       {53, KeyGroup::escape},
        {54, KeyGroup::modifier},  {63, KeyGroup::modifier},    {64, KeyGroup::function},
        {65, KeyGroup::numpad},    {76, KeyGroup::numpad},      {90, KeyGroup::function},
        {92, KeyGroup::numpad},    {114, KeyGroup::navigation}, {122, KeyGroup::function},
        {123, KeyGroup::arrow},    {126, KeyGroup::arrow},
    };
    for (const auto& [code, group] : samples) {
        EXPECT_EQ(rawValue(keyGroupOf(static_cast<std::uint16_t>(code))), rawValue(group)) << "code " << code;
    }
    std::array<int, keyGroupCount> count{};
    for (int code = 0; code <= 65535; ++code) {
        ++count.at(static_cast<std::size_t>(keyGroupOf(static_cast<std::uint16_t>(code))));
    }
    EXPECT_EQ(count, (std::array{65536 - 64, 1, 2, 1, 1, 1, 10, 20, 4, 6, 18})) << "all others are main";
}

TEST(KeyGroup, RawValuesAreReadBackExactly) {
    for (std::size_t ordinal = 0; ordinal < keyGroupCount; ++ordinal) {
        EXPECT_EQ(static_cast<std::size_t>(allKeyGroups.at(ordinal)), ordinal);
        EXPECT_EQ(keyGroupFromRawValue(rawValue(allKeyGroups.at(ordinal))), allKeyGroups.at(ordinal));
    }
    EXPECT_EQ(keyGroupFromRawValue("numpad"), KeyGroup::numpad);
    for (const char* const name : {"Space", "", "spac", "space ", "mainx"}) {
        EXPECT_EQ(keyGroupFromRawValue(name), std::nullopt) << name;
    }
}

} // namespace
} // namespace keysong
