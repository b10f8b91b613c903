#include "App/Preferences.h"

#include "Shared/SerialQueue.h"
#include "support/PlainThreads.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <cmath>
#include <limits>
#include <thread>

#include "PreferencesFixture.h"

namespace keysong {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using Strings = std::vector<std::string>;

class PreferencesTest : public test::PreferencesFixture {
  protected:
    [[nodiscard]] std::size_t filesKept() const {
        const auto entries = fs::directory_iterator(domains_.fileOf("domain").parent_path());
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }
};

TEST_F(PreferencesTest, EveryTypeComesBackAtTheNextStart) {
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    {
        Preferences preferences(domains_, "domain", nullptr);
        EXPECT_FALSE(preferences.contains("bool"));
        preferences.setBool("bool", false);
        preferences.setFloat("float", 0.7F);
        preferences.setFloat("whole", 1);
        preferences.setFloat("tiny", std::numeric_limits<float>::denorm_min());
        preferences.setFloat("roundsTwice", 7.038531e-26F);
        preferences.setInteger("integer", least);
        preferences.setString("string", "a \"quoted\" ü\n");
        preferences.setStringArray("strings", {"b", "a", "b"});
        preferences.setStringArray("none", {});
        preferences.setFloat("unstorable", std::nanf(""));
        preferences.setString("gone", "x");
        preferences.setString("gone", std::nullopt);
    }
    EXPECT_THAT(stored(), HasSubstr("\"float\": 0.7,"));
    const Preferences preferences(domains_, "domain", nullptr);
    EXPECT_EQ(preferences.boolean("bool"), false);
    EXPECT_EQ(preferences.number("float"), 0.7F);
    EXPECT_EQ(preferences.number("whole"), 1.0F);
    EXPECT_EQ(preferences.integer("whole"), std::nullopt);
    EXPECT_EQ(preferences.number("tiny"), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(preferences.number("roundsTwice"), 7.038531e-26F);
    EXPECT_EQ(preferences.integer("integer"), least);
    EXPECT_EQ(preferences.string("string"), "a \"quoted\" ü\n");
    EXPECT_EQ(preferences.stringArray("strings"), (Strings{"b", "a", "b"}));
    EXPECT_EQ(preferences.stringArray("none"), Strings());
    EXPECT_FALSE(preferences.contains("unstorable"));
    EXPECT_FALSE(preferences.contains("gone"));
}

TEST_F(PreferencesTest, AValueOfAnotherTypeCountsAsNone) {
    give(R"({"null": null, "bool": true, "integer": 1, "large": 9223372036854775808, "float": 0.5,
             "huge": 1e300, "string": "true", "list": ["a", 1], "strings": ["a"], "dictionary": {}})");
    const Preferences preferences(domains_, "domain", nullptr);
    Strings booleans, numbers, integers, strings, stringArrays;
    for (const char* const key : {"null", "bool", "integer", "large", "float", "huge", "string", "list",
                                  "strings", "dictionary", "missing"}) {
        EXPECT_EQ(preferences.contains(key), std::string(key) != "missing") << key;
        const auto note = [key](Strings& keys, bool has) {
            if (has) {
                keys.emplace_back(key);
            }
        };
        note(booleans, preferences.boolean(key).has_value());
        note(numbers, preferences.number(key).has_value());
        note(integers, preferences.integer(key).has_value());
        note(strings, preferences.string(key).has_value());
        note(stringArrays, preferences.stringArray(key).has_value());
    }
    EXPECT_THAT(booleans, ElementsAre("bool"));
    EXPECT_THAT(numbers, ElementsAre("integer", "large", "float"));
    EXPECT_THAT(integers, ElementsAre("integer"));
    EXPECT_THAT(strings, ElementsAre("string"));
    EXPECT_THAT(stringArrays, ElementsAre("strings"));
    EXPECT_EQ(files_.attempts, 0) << "reading never writes";
}

TEST_F(PreferencesTest, KeysOfOtherVersionsSurvive) {
    const std::string theirs = R"({"big": 18446744073709551615, "deep": {"list": [1, 1.0, null, "x"]},
                                   "long": 0.12345678901234568, "volume": "loud"})";
    give(theirs);
    {
        Preferences preferences(domains_, "domain", nullptr);
        preferences.setBool("enabled", false);
    }
    auto expected = nlohmann::json::parse(theirs);
    expected["enabled"] = false;
    EXPECT_EQ(nlohmann::json::parse(stored()).dump(), expected.dump());
}

TEST_F(PreferencesTest, AnEqualValueIsNotWrittenAgain) {
    give(R"({"bool": true, "float": 0.7, "integer": 1, "strings": ["a"]})");
    Preferences preferences(domains_, "domain", &writer_);
    preferences.setBool("bool", true);
    preferences.setFloat("float", 0.7F);
    preferences.setInteger("integer", 1);
    preferences.setStringArray("strings", {"a"});
    preferences.remove("missing");
    writer_.advance(1h);
    EXPECT_EQ(files_.attempts, 0);
    preferences.setFloat("integer", 1); // equal, but of another type
    writer_.advance(1h);
    EXPECT_EQ(files_.writes, 1);
    EXPECT_THAT(stored(), HasSubstr("\"integer\": 1.0"));
}

TEST_F(PreferencesTest, ADragIsWrittenFourTimesASecond) {
    Preferences preferences(domains_, "domain", &writer_);
    for (int step = 1; step <= 120; ++step) {
        preferences.setInteger("volume", step);
        if (step == 1) {
            EXPECT_EQ(files_.writes, 0) << "the setter itself does not wait for the disk";
            writer_.advance(0ns);
            EXPECT_EQ(files_.writes, 1) << "a single change does not wait";
        }
        writer_.advance(1'000'000'000ns / 60);
    }
    EXPECT_GE(files_.writes, 8);
    EXPECT_LE(files_.writes, 9);
    writer_.advance(Preferences::writeInterval);
    EXPECT_THAT(stored(), HasSubstr("\"volume\": 120"));
    const int writes = files_.writes;
    writer_.advance(1h);
    EXPECT_EQ(files_.writes, writes);
    EXPECT_TRUE(writer_.empty()) << "no timer runs while nothing changes";
}

TEST_F(PreferencesTest, FlushAndTheEndWriteAtOnce) {
    {
        Preferences preferences(domains_, "domain", &writer_);
        preferences.setInteger("key", 1);
        EXPECT_TRUE(preferences.flush());
        EXPECT_THAT(stored(), HasSubstr("\"key\": 1"));
        EXPECT_TRUE(preferences.flush());
        EXPECT_EQ(files_.writes, 1);
        preferences.setInteger("key", 2);
    }
    EXPECT_THAT(stored(), HasSubstr("\"key\": 2"));
    writer_.advance(1h); // a task of a store that has gone does nothing
    EXPECT_EQ(files_.writes, 2);
}

TEST_F(PreferencesTest, AFailingDiskIsReportedOnceAndTriedAgain) {
    Preferences preferences(domains_, "domain", &writer_);
    files_.diskIsFull = true;
    for (int change = 0; change < 100; ++change) {
        preferences.setInteger("key", change);
        writer_.advance(1s);
    }
    EXPECT_FALSE(preferences.flush());
    EXPECT_GE(files_.attempts, 10);
    EXPECT_LE(files_.attempts, 12);
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("No space left on device")));
    EXPECT_EQ(preferences.integer("key"), 99);

    files_.diskIsFull = false;
    writer_.advance(Preferences::retryInterval);
    EXPECT_THAT(stored(), HasSubstr("\"key\": 99"));
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice), ElementsAre(HasSubstr("again")));
    files_.diskIsFull = true;
    preferences.setInteger("key", 100);
    EXPECT_FALSE(preferences.flush());
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U) << "the next streak is reported again";
    files_.diskIsFull = false;
}

TEST_F(PreferencesTest, AFileThatHoldsNoPreferencesIsKeptAside) {
    const std::string nested = std::string(1'000'000, '[');
    const std::string deep = R"({"a": )" + std::string(100, '[') + std::string(100, ']') + "}";
    const std::string large = R"({"a": ")" + std::string(PreferenceDomains::largestFileBytes, 'x') + R"("})";
    std::size_t kept = 0;
    for (const std::string& bytes :
         {std::string(), std::string("{\"enabled\": fal"), std::string("[true]"), std::string("{}\0{}", 5),
          std::string("{\"a\": \"\xFF\"}"), std::string("{\"a\": 1e999}"), nested, deep, large}) {
        SCOPED_TRACE(bytes.substr(0, 20));
        give(bytes);
        Preferences preferences(domains_, "domain", nullptr);
        ++kept;
        EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("were kept as")));
        const std::string suffix = kept == 1 ? ".damaged" : ".damaged-" + std::to_string(kept);
        EXPECT_EQ(readWholeFile(domains_.fileOf("domain").string() + suffix, large.size()), bytes);
        EXPECT_FALSE(preferences.contains("a"));
        preferences.setBool("enabled", true);
        EXPECT_TRUE(preferences.flush());
        EXPECT_EQ(filesKept(), kept + 1);
    }
}

TEST_F(PreferencesTest, AFileThatCannotBeKeptAsideIsNotReplaced) {
    give("damaged");
    files_.renamingFails = true;
    Preferences preferences(domains_, "domain", nullptr);
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("left alone")));
    preferences.setBool("enabled", true);
    EXPECT_FALSE(preferences.flush());
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("not stored")));
    EXPECT_EQ(stored(), "damaged");
}

TEST_F(PreferencesTest, WhatCannotBeReadIsNeverReplaced) {
    const auto pipe = folder_.makeFolder("domain") / "preferences.json";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0); // replacing it would be possible
    Preferences preferences(domains_, "domain", &writer_);
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("left alone")));
    preferences.setString("key", "ours");
    writer_.advance(1min);
    preferences.setString("key", "ours again");
    EXPECT_FALSE(preferences.flush());
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("not stored")));
    EXPECT_EQ(preferences.string("key"), "ours again");
    EXPECT_EQ(domains_.persistentDomain("domain"), std::nullopt);
    EXPECT_EQ(files_.attempts, 0);
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(PreferencesTest, WhatNoFileCanHoldIsReportedAndKeptInMemory) {
    Preferences preferences(domains_, "domain", nullptr);
    preferences.setString("key", std::string(PreferenceDomains::largestFileBytes, 'x'));
    EXPECT_FALSE(preferences.flush());
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("too large")));
    preferences.setString("key", "ill-formed \xFF text"); // from a device's name, say
    EXPECT_TRUE(preferences.flush());

    const PreferenceDomains nowhere({}, files_);
    Preferences homeless(nowhere, "domain", nullptr);
    homeless.setBool("key", true);
    EXPECT_FALSE(homeless.flush());
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("no folder for preferences")));
    EXPECT_EQ(homeless.boolean("key"), true);
    homeless.remove("key");
    EXPECT_FALSE(homeless.flush());
}

TEST_F(PreferencesTest, ThreadsMayChangeAndFlushWhileTheWriterWrites) {
    test::PlainThreads threads;
    constexpr int threadCount = 4;
    constexpr std::int64_t last = 200;
    {
        SerialQueue writer(threads, {"test.preferences", "preferences"});
        Preferences preferences(domains_, "domain", &writer);
        std::vector<std::thread> changing;
        for (int index = 0; index < threadCount; ++index) {
            changing.emplace_back([&preferences, key = std::to_string(index)] {
                for (std::int64_t value = 1; value <= last; ++value) {
                    preferences.setInteger(key, value);
                    if (value % 100 == 0) {
                        EXPECT_TRUE(preferences.flush());
                    }
                }
            });
        }
        for (std::thread& thread : changing) {
            thread.join();
        }
    }
    const Preferences reopened(domains_, "domain", nullptr);
    for (int index = 0; index < threadCount; ++index) {
        EXPECT_EQ(reopened.integer(std::to_string(index)), last);
    }
}

} // namespace
} // namespace keysong
