#include "App/PreferenceMigration.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <map>

#include "PreferencesFixture.h"

namespace keysong {
namespace {

namespace fs = std::filesystem;
using Date = PreferenceMigration::Date;
using test::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;

class PreferenceMigrationTest : public test::PreferencesFixture {
  protected:
    /// Gives an earlier domain this content, written so many seconds after some day.
    void giveDated(const std::string& domain, const std::string& text, std::int64_t seconds) const {
        const timespec times[] = {{0, UTIME_OMIT}, {1'700'000'000 + seconds, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, give(text, domain).c_str(), times, 0), 0);
    }

    /// Carries over as the program does at its start and opens what is stored then.
    Preferences migrated() const {
        Preferences target(domains_, PreferenceMigration::currentDomain, nullptr);
        migration_.run(target);
        return Preferences(domains_, PreferenceMigration::currentDomain, nullptr);
    }

    const PreferenceMigration migration_{domains_};
};

TEST_F(PreferenceMigrationTest, TheSelfCheckPassesAndLeavesNothing) {
    EXPECT_THAT(migration_.migrationSelfCheck(), ElementsAre());
    EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(PreferenceMigrationTest, TheSelfCheckSaysWhenNothingCanBeStored) {
    files_.diskIsFull = true;
    EXPECT_THAT(migration_.migrationSelfCheck(), ElementsAre("could not open the scratch target"));
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);
}

TEST_F(PreferenceMigrationTest, TheReportHasALineForEachFailureAndOneForTheWhole) {
    EXPECT_EQ(PreferenceMigration::report({}), "migrate ok  settings carry across a rename\n");
    EXPECT_EQ(PreferenceMigration::report(std::vector<std::string>{"one", "two"}),
              "FAIL  one\nFAIL  two\nmigrate FAILED\n");
}

TEST_F(PreferenceMigrationTest, TheLatestAndBusiestDomainWins) {
    struct Row {
        const char* name;
        /// Date in seconds, -1 for none, and keystrokes, in list order: "a", "b", "c".
        std::vector<std::pair<int, nlohmann::json>> candidates;
        const char* winner;
    };
    for (const Row& row :
         {Row{"of equal dates the busiest", {{1, 5}, {1, 7}, {0, 99}}, "b"},
          Row{"of equal dates and counts the first", {{1, 5}, {1, 5}, {1, 5}}, "a"},
          Row{"without dates and counts the first", {{-1, 0}, {-1, 0}}, "a"},
          Row{"any date before none", {{-1, 99}, {0, 0}}, "b"},
          Row{"counts of other types are none", {{1, "900"}, {1, 8.5}, {1, 1}, {1, true}}, "c"},
          Row{"a negative count below none", {{1, -1}, {1, nullptr}}, "b"}}) {
        std::vector<PreferenceMigration::Candidate> candidates;
        std::map<std::string, std::optional<Date>> dates;
        for (const auto& [seconds, keystrokes] : row.candidates) {
            const std::string name(1, static_cast<char>('a' + candidates.size()));
            candidates.push_back({name, {{"keysPressed", keystrokes}}});
            dates[name] = seconds < 0 ? std::nullopt : std::optional(Date(std::chrono::seconds(seconds)));
        }
        const auto winner = PreferenceMigration::pickDomain(
            candidates, [&dates](const std::string& name) { return dates[name]; });
        ASSERT_TRUE(winner) << row.name;
        EXPECT_EQ(winner->name, row.winner) << row.name;
    }
}

TEST_F(PreferenceMigrationTest, OnlyTheElevenKeysOfTheLatestDomainAreCarriedOver) {
    giveDated("com.orlen.clikora", R"({"volume": 0.9, "keysPressed": 500, "enabled": false})", 10);
    const std::string winner = R"({"setID": "topre", "tone": "wrong type", "mutedApps": ["x", "x"],
                                   "keysPressed": 42, "body": -1, "migratedFrom": false, "other": 1})";
    giveDated("com.orlen.tolva", winner, 20);
    const auto preferences = migrated();
    EXPECT_THAT(nlohmann::json::parse(stored(PreferenceMigration::currentDomain)),
                nlohmann::json::parse(R"({"setID": "topre", "tone": "wrong type", "mutedApps": ["x", "x"],
                                          "keysPressed": 42, "body": -1, "migratedFrom": true})"));
    EXPECT_EQ(preferences.integer("body"), -1) << "unchanged in type";
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice),
                ElementsAre("carried 42 keystrokes and every setting over from com.orlen.tolva"));
    EXPECT_EQ(stored("com.orlen.tolva"), winner) << "the older domains are never changed";
}

TEST_F(PreferenceMigrationTest, WhatTheTargetHoldsAndTheWinnerLacksStays) {
    give(R"({"volume": 0.25, "tone": 0.5})", PreferenceMigration::currentDomain);
    give(R"({"tone": 0})", "com.orlen.vimp");
    const auto preferences = migrated();
    EXPECT_EQ(preferences.number("volume"), 0.25F);
    EXPECT_EQ(preferences.integer("tone"), 0);
}

TEST_F(PreferenceMigrationTest, DomainsThatCannotBeReadOrHoldNothingDoNotTakePart) {
    giveDated("com.orlen.clikora", R"({"enabled": true, "keysPressed": "108060"})", 0);
    giveDated("com.orlen.tolva", R"({"setID": "torn)", 10);
    giveDated("com.orlen.brume", R"({"migratedFrom": true, "other": 1})", 20);
    fs::create_directories(folder_.path() / "com.orlen.vimp/preferences.json");
    const auto preferences = migrated();
    EXPECT_EQ(preferences.boolean("enabled"), true);
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice),
                ElementsAre("carried 0 keystrokes and every setting over from com.orlen.clikora"));
    EXPECT_EQ(stored("com.orlen.tolva"), R"({"setID": "torn)") << "not even a damaged one is moved";
}

TEST_F(PreferenceMigrationTest, ItRunsOnceAlsoWhenThereWasNothing) {
    EXPECT_EQ(migrated().boolean("migratedFrom"), true);
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice), ElementsAre());
    give(R"({"setID": "topre"})", "com.orlen.vimp");
    EXPECT_FALSE(migrated().contains("setID"));

    give(R"({"migratedFrom": null})", PreferenceMigration::currentDomain);
    EXPECT_FALSE(migrated().contains("setID")) << "whatever the flag's value";
}

} // namespace
} // namespace keysong
