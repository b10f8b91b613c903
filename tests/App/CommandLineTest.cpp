#include "App/CommandLine.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace keysong {
namespace {

using Mode = CommandLine::Mode;

CommandLine parse(std::vector<std::string_view> words) {
    words.insert(words.begin(), "keysong");
    return CommandLine::parse(words);
}

TEST(CommandLine, OnlyAnExactFirstWordIsAMode) {
    EXPECT_EQ(CommandLine::parse({}).mode, Mode::application);
    for (const auto& words : std::vector<std::vector<std::string_view>>{
             {}, {"help"}, {"--List-Sets"}, {"--list-sets=1"}, {"--list"}, {""}, {"x", "--list-sets"}}) {
        EXPECT_EQ(parse(words).mode, Mode::application);
    }
    EXPECT_EQ(parse({"--input-test", "selftest"}).mode, Mode::inputTest);
    EXPECT_EQ(parse({"--list-sets", "--play-test"}).mode, Mode::listSets);
    EXPECT_EQ(parse({"--migrate-test"}).mode, Mode::migrateTest);
    EXPECT_EQ(parse({"-h", "--list-sets"}).mode, Mode::help);
}

TEST(CommandLine, HelpListsEveryModeAndNoOther) {
    std::istringstream lines{std::string(CommandLine::help())};
    std::set<Mode> listed;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        if (line.starts_with("  -") && words >> word) {
            const Mode mode = parse({word.substr(0, word.find(','))}).mode;
            EXPECT_NE(mode, Mode::application) << line;
            listed.insert(mode);
        }
    }
    EXPECT_EQ(listed.size(), 7U);
}

TEST(CommandLine, AnEmptySetIdentifierIsOne) {
    EXPECT_EQ(parse({"--play-test"}).setID, std::nullopt);
    EXPECT_EQ(parse({"--play-test", ""}).setID, "");
    EXPECT_EQ(parse({"--play-test", "a b", "12"}).setID, "a b");
}

TEST(CommandLine, RoundsAreAStrictIntegerOrEight) {
    // What is no integer at all is the number parser's matter.
    for (const auto& [text, rounds] :
         std::vector<std::pair<std::string_view, std::int64_t>>{{"+5", 5},
                                                                {"-2", -2},
                                                                {"", 8},
                                                                {"5x", 8},
                                                                {"9223372036854775807", INT64_MAX},
                                                                {"9223372036854775808", 8}}) {
        EXPECT_EQ(parse({"--device-test", text}).rounds, rounds) << text;
    }
    EXPECT_EQ(parse({"--device-test"}).rounds, 8);
}

} // namespace
} // namespace keysong
