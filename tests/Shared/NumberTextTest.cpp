#include "Shared/NumberText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace keysong {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

template <typename Integer>
using IntegerRows = std::vector<std::pair<const char*, std::optional<Integer>>>;

TEST(NumberText, ReadsIntegersThatAreTheWholeText) {
    for (const auto& [text, value] : IntegerRows<std::int64_t>{
             {"0", 0},
             {"-0", 0},
             {"+7", 7},
             {"007", 7},
             {"9223372036854775807", INT64_MAX},
             {"-9223372036854775808", INT64_MIN},
             {"9223372036854775808", std::nullopt},
             {"-9223372036854775809", std::nullopt},
             {"", std::nullopt},
             {"-", std::nullopt},
             {"+-1", std::nullopt},
             {"--1", std::nullopt},
             {" 1", std::nullopt},
             {"1 ", std::nullopt},
             {"1.0", std::nullopt},
             {"0x1", std::nullopt},
             {"1e3", std::nullopt},
             {"\xD9\xA3", std::nullopt}, // a digit, but not an ASCII one
         }) {
        EXPECT_EQ(parseInteger<std::int64_t>(text), value) << '"' << text << '"';
    }
    for (const auto& [text, value] : IntegerRows<std::uint16_t>{
             {"65535", 65535}, {"65536", std::nullopt}, {"-1", std::nullopt}, {"-0", 0}, {"-00", 0}}) {
        EXPECT_EQ(parseInteger<std::uint16_t>(text), value) << '"' << text << '"';
    }
}

TEST(NumberText, ReadsFloatsThatAreTheWholeText) {
    const std::vector<std::pair<const char*, std::optional<float>>> rows = {
        {"1", 1.0F},          {"-0.5", -0.5F},        {"+2.", 2.0F},
        {".25", 0.25F},       {"1e2", 100.0F},        {"0x1p3", 8.0F},
        {"-0X1P-1", -0.5F},   {"inf", infinity},      {"-INF", -infinity},
        {"1e40", infinity},   {"-1e999", -infinity},  {"1e-999", 0.0F},
        {"", std::nullopt},   {"+", std::nullopt},    {"+-1", std::nullopt},
        {"0x", std::nullopt}, {"0x-1", std::nullopt}, {" 1", std::nullopt},
        {"1 ", std::nullopt}, {"1,5", std::nullopt},  {"1f", std::nullopt},
    };
    for (const auto& [text, value] : rows) {
        EXPECT_EQ(parseFloat(text), value) << '"' << text << '"';
    }
    for (const char* const text : {"nan", "NaN", "-nan"}) {
        ASSERT_TRUE(parseFloat(text)) << text;
        EXPECT_TRUE(std::isnan(*parseFloat(text))) << text;
    }
    EXPECT_TRUE(std::signbit(*parseFloat("-0")));
}

TEST(NumberText, WritesTheShortestTextThatReadsBack) {
    const std::vector<std::pair<float, const char*>> rows = {
        {1.0F, "1.0"}, {-0.0F, "-0.0"},  {0.8408964F, "0.8408964"},
        {0.1F, "0.1"}, {1e20F, "1e+20"}, {48000.0F, "48000.0"},
    };
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(shortestText(value), text);
        EXPECT_EQ(parseFloat(text), value);
    }
}

TEST(NumberText, WritesFixedNotation) {
    EXPECT_EQ(fixedText(3.14159, 2), "3.14");
    EXPECT_EQ(fixedText(-0.004, 2), "-0.00");
    EXPECT_EQ(fixedText(1234567.0, 0), "1234567");
    EXPECT_EQ(fixedText(1.25, 1, true), "+1.2");
    EXPECT_EQ(fixedText(-1.0, 1, true), "-1.0");
    EXPECT_EQ(fixedText(1e300, 1).size(), 303U);
}

} // namespace
} // namespace keysong
