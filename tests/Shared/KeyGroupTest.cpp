#include "Shared/KeyGroup.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace keysong {
namespace {

TEST(KeyGroup, EveryCodeHasTheGroupOfItsKey) {
    const std::vector<std::pair<int, KeyGroup>> cases = {
        {0, KeyGroup::main},       {36, KeyGroup::enter},       {37, KeyGroup::main},
        {48, KeyGroup::tab},       {49, KeyGroup::space},       {50, KeyGroup::main},
        {51, KeyGroup::backspace}, {52, KeyGroup::enter},       {53, KeyGroup::escape},
        {54, KeyGroup::modifier},  {63, KeyGroup::modifier},    {64, KeyGroup::function},
        {65, KeyGroup::numpad},    {66, KeyGroup::main},        {72, KeyGroup::main},
        {73, KeyGroup::main},      {74, KeyGroup::main},        {76, KeyGroup::numpad},
        {77, KeyGroup::main},      {90, KeyGroup::function},    {92, KeyGroup::numpad},
        {93, KeyGroup::main},      {114, KeyGroup::navigation}, {112, KeyGroup::main},
        {122, KeyGroup::function}, {123, KeyGroup::arrow},      {126, KeyGroup::arrow},
        {127, KeyGroup::main},     {255, KeyGroup::main},       {65535, KeyGroup::main},
    };
    for (const auto& [code, group] : cases) {
        EXPECT_EQ(rawValue(keyGroupOf(static_cast<std::uint16_t>(code))), rawValue(group)) << "code " << code;
    }
}

TEST(KeyGroup, TheGroupsBesideMainCoverSixtyFourCodes) {
    std::array<int, keyGroupCount> count{};
    int highest = 0;
    for (int code = 0; code <= 65535; ++code) {
        const KeyGroup group = keyGroupOf(static_cast<std::uint16_t>(code));
        ++count.at(static_cast<std::size_t>(group));
        highest = group == KeyGroup::main ? highest : code;
    }
    EXPECT_EQ(count, (std::array{65536 - 64, 1, 2, 1, 1, 1, 10, 20, 4, 6, 18}));
    EXPECT_EQ(highest, 126);
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
