#include "Shared/KeyGroup.h"
#include "Shared/Loudness.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <locale>
#include <numeric>
#include <set>

#include "GeneratedFiles.h"
#include "SoundMeasures.h"
#include "soundgen/Finish.h"
#include "soundgen/SetWriter.h"

namespace keysong::soundgen {
namespace {

using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::Gt;
using testing::Le;
using testing::Lt;
using testing::SizeIs;

/// How two sets must differ at least, and how far apart the variants of one may lie at most, in decibels.
constexpr double leastDistance = 4;
constexpr double greatestOwnDistance = 3;

constexpr const char* firstSet = "gateron-black-ink";
const std::vector<std::string> linear = {"alpaca",          "cherry-mx-black", "gateron-black-ink",
                                         "gateron-red-ink", "novelkeys-cream", "tealios",
                                         "keychron-v1"};
const std::vector<std::string> clicky = {"blue-alps", "buckling-spring", "cherry-mx-blue", "kailh-box-navy"};
const std::vector<std::string> deep = {"topre", "deep-clack-1", "deep-clack-2", "deep-clack-3",
                                       "deep-clack-4"};
const std::vector<std::string> others = {"cherry-kc1000", "cherry-mx-brown", "holy-panda", "low-profile",
                                         "smith-corona"};

/// One built set as its manifest lists it.
struct BuiltSet {
    nlohmann::json manifest;
    /// By file name.
    std::map<std::string, Signal> files;

    [[nodiscard]] std::vector<Signal> sounds(const nlohmann::json& list) const {
        std::vector<Signal> signals;
        for (const auto& name : list) {
            signals.push_back(files.at(name.get<std::string>()));
        }
        return signals;
    }
    [[nodiscard]] std::vector<Signal> main(const std::string& direction) const {
        return sounds(manifest.at("defaults").at(direction));
    }
    [[nodiscard]] std::vector<Signal> group(const std::string& name, const std::string& direction) const {
        return name == "main" ? main(direction) : sounds(manifest.at("groups").at(name).at(direction));
    }
};

template <typename Measure>
double mean(const std::vector<Signal>& sounds, Measure measure) {
    const double sum =
        std::accumulate(sounds.begin(), sounds.end(), 0.0,
                        [&](double total, const Signal& sound) { return total + measure(sound); });
    return sum / static_cast<double>(sounds.size());
}

BuiltSet readSet(const std::filesystem::path& folder) {
    BuiltSet set;
    for (const auto& [name, bytes] : bytesOfFolder(folder)) {
        if (name == "manifest.json") {
            set.manifest = nlohmann::json::parse(bytes);
        } else {
            set.files[name] = readSound(folder / name);
        }
    }
    return set;
}

double middleOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The built sets, read once for all tests.
class SoundFamilyTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        for (const auto& entry : std::filesystem::directory_iterator(KEYSONG_BUILT_SOUNDS "/Sounds")) {
            sets_[entry.path().filename().string()] = readSet(entry.path());
        }
    }
    static void TearDownTestSuite() { sets_.clear(); }

    static double brightness(const BuiltSet& set) {
        std::vector<Signal> sounds;
        const auto all = set.main("down");
        // One or two of each row tell.
        for (std::size_t i = 0; i < all.size(); i += 5) {
            sounds.push_back(all[i]);
        }
        return mean(sounds, centroidOf);
    }
    static std::vector<double> brightness(const std::vector<std::string>& names) {
        std::vector<double> values;
        std::transform(names.begin(), names.end(), std::back_inserter(values),
                       [](const std::string& name) { return brightness(sets_.at(name)); });
        return values;
    }

    inline static std::map<std::string, BuiltSet> sets_;
};

/// Every group of keys, every button and the wheel have sounds of their own, and each letter some of those
/// that all letters have.
void expectSoundsForEveryKey(const BuiltSet& set) {
    std::set<std::string> names;
    std::size_t listed = 0;
    const auto take = [&](const nlohmann::json& list, std::size_t least) {
        EXPECT_GE(list.size(), least) << list;
        names.insert(list.begin(), list.end());
        listed += list.size();
    };
    const auto takeBoth = [&](const nlohmann::json& pair, std::size_t leastDown) {
        take(pair.at("down"), leastDown);
        take(pair.at("up"), 3);
    };
    const auto& all = set.manifest.at("defaults");
    takeBoth(all, 5);
    for (const KeyGroup group : allKeyGroups) {
        if (group != KeyGroup::main) {
            takeBoth(set.manifest.at("groups").at(std::string(rawValue(group))), 3);
        }
    }
    for (const char* button : {"left", "right", "other"}) {
        takeBoth(set.manifest.at("mouse").at(button), 3);
    }
    take(set.manifest.at("mouse").at("scroll"), 3);
    EXPECT_EQ(names.size(), listed) << "a file is in two lists";
    EXPECT_EQ(set.files.size(), listed) << "a file is in no list";
    EXPECT_THAT(set.manifest.at("keys"), SizeIs(48));
    for (const auto& [key, pair] : set.manifest.at("keys").items()) {
        SCOPED_TRACE(key);
        EXPECT_EQ(keyGroupOf(static_cast<std::uint16_t>(std::stoi(key))), KeyGroup::main);
        EXPECT_GE(pair.at("down").size(), 5U);
        EXPECT_GE(pair.at("up").size(), 3U);
        for (const char* direction : {"down", "up"}) {
            EXPECT_THAT(pair.at(direction),
                        Each(testing::AnyOfArray(all.at(direction).begin(), all.at(direction).end())));
        }
    }
}

TEST_F(SoundFamilyTest, HasTheTwentyOneSetsOfTheirNamesEachWithSoundsForEveryKindOfKey) {
    std::set<std::string> wanted;
    for (const auto* names : {&linear, &clicky, &deep, &others}) {
        wanted.insert(names->begin(), names->end());
    }
    std::set<std::string> titles;
    std::uintmax_t size = 0;
    for (const auto& [id, set] : sets_) {
        SCOPED_TRACE(id);
        EXPECT_EQ(wanted.erase(id), 1U) << "not expected, or left from an older build";
        EXPECT_EQ(set.manifest.at("schema"), 1);
        EXPECT_EQ(set.manifest.at("id"), id);
        titles.insert(set.manifest.at("name").get<std::string>());
        expectSoundsForEveryKey(set);
        for (const auto& [name, sound] : set.files) {
            size +=
                std::filesystem::file_size(std::filesystem::path(KEYSONG_BUILT_SOUNDS "/Sounds") / id / name);
        }
    }
    EXPECT_THAT(wanted, testing::IsEmpty());
    EXPECT_EQ(titles.size(), sets_.size()) << "two sets of one name";
    EXPECT_LE(size, 30U << 20U);
    EXPECT_GT(std::filesystem::file_size(KEYSONG_BUILT_SOUNDS "/CREDITS.txt"), 500U);
}

TEST_F(SoundFamilyTest, EveryFileStartsAtOnceDoesNotClipAndEndsInSilence) {
    for (const auto& [id, set] : sets_) {
        for (const auto& [name, sound] : set.files) {
            SCOPED_TRACE(id + "/" + name);
            EXPECT_LE(onsetOf(sound), 48U) << "a tenth of the peak within a millisecond";
            const double peak = 20 * std::log10(peakOf(sound));
            EXPECT_THAT(peak, AllOf(Ge(-34.0), Le(-1.5)));
            EXPECT_LE(std::abs(sound.front()), std::min(0.02, 0.02 * peakOf(sound))) << "a step at the start";
            EXPECT_LE(std::abs(std::accumulate(sound.begin(), sound.end(), 0.0)),
                      1e-5 * static_cast<double>(sound.size()))
                << "a constant offset";
            EXPECT_EQ(sound.back(), 0);
            EXPECT_LE(levelOf(sound, sound.size() - 240, sound.size()), peak - 60);
            // A carriage runs for half a second; everything else is over soon enough for the next key.
            const bool runs = id == "smith-corona" && name.starts_with("enter-down");
            EXPECT_LE(sound.size(), 48U * (runs ? 800 : 300));
            if (!runs) {
                EXPECT_LE(levelOf(sound, 7200, 7680), peak - 40) << "it rings on";
            }
        }
    }
}

TEST_F(SoundFamilyTest, KeysAreAboutLevelAndTheBigOnesALittleLouder) {
    for (const auto& [id, set] : sets_) {
        SCOPED_TRACE(id);
        const auto level = [&sounds = set](const std::string& group, const char* direction) {
            return mean(sounds.group(group, direction),
                        [](const Signal& signal) { return levelOf(signal, 0, 2400); });
        };
        const double main = level("main", "down");
        for (const KeyGroup group : allKeyGroups) {
            const std::string name(rawValue(group));
            if (id == "smith-corona" && group == KeyGroup::enter) {
                continue; // a typewriter's carriage
            }
            EXPECT_THAT(level(name, "down") - main, AllOf(Ge(-2.0), Le(5.5))) << name;
            EXPECT_THAT(level(name, "down") - level(name, "up"), AllOf(Ge(4.0), Le(12.0))) << name;
        }
        EXPECT_GE(level("space", "down") - main, 1);
        if (id != "smith-corona") {
            EXPECT_GE(level("enter", "down") - main, 0.5);
        }
    }
}

TEST_F(SoundFamilyTest, TypingIsAsLoudInOneSetAsInAnother) {
    std::vector<double> levels;
    for (const auto& [id, set] : sets_) {
        const auto energy = [](const Signal& sound) { return std::pow(loudness(sound), 2); };
        double sum = 0;
        for (const char* direction : {"down", "up"}) {
            sum += 5 * mean(set.main(direction), energy) + mean(set.group("space", direction), energy);
        }
        levels.push_back(10 * std::log10(sum) + set.manifest.at("gain").get<double>());
    }
    const auto [least, greatest] = std::minmax_element(levels.begin(), levels.end());
    EXPECT_LE(*greatest - *least, 1);
}

TEST_F(SoundFamilyTest, ClickySetsAreBrighterThanLinearOnesAndDeepOnesDarker) {
    const auto bright = brightness(clicky);
    const auto plain = brightness(linear);
    EXPECT_GT(*std::min_element(bright.begin(), bright.end()), *std::max_element(plain.begin(), plain.end()));
    EXPECT_THAT(brightness(deep), Each(Lt(0.8 * middleOf(plain))));
    for (const auto& [id, set] : sets_) {
        EXPECT_LT(mean(set.group("space", "down"), centroidOf), 1.2 * brightness(set)) << id;
    }
}

TEST_F(SoundFamilyTest, SpaceIsDarkerAndComingUpIsBrighterThanGoingDown) {
    const BuiltSet& set = sets_.at(firstSet);
    const double main = mean(set.main("down"), centroidOf);
    const double space = mean(set.group("space", "down"), centroidOf);
    EXPECT_THAT(main, AllOf(Ge(1000.0), Le(2800.0)));
    EXPECT_THAT(space, AllOf(Ge(500.0), Le(1400.0)));
    EXPECT_LT(space, 0.85 * main);
    EXPECT_LT(mean(set.group("enter", "down"), centroidOf), main);
    EXPECT_GT(mean(set.main("up"), centroidOf), 1.05 * main);
}

TEST_F(SoundFamilyTest, AClickIsABlowOfItsOwnBeforeTheLanding) {
    const auto numberOfBlows = [](const Signal& sound) { return static_cast<double>(blowsOf(sound).size()); };
    for (const std::string& id : clicky) {
        const auto sounds = sets_.at(id).main("down");
        const auto withLanding = std::count_if(sounds.begin(), sounds.end(), [](const Signal& sound) {
            const auto blows = blowsOf(sound);
            return blows.size() >= 2 && blows.back() - blows.front() >= 4;
        });
        EXPECT_GE(withLanding, std::ssize(sounds) * 8 / 10) << id;
    }
    // A key that comes up leaves the bottom before it meets the lid, and sleeve or collar slip on the way.
    for (const auto& [id, set] : sets_) {
        EXPECT_GE(mean(set.main("down"), numberOfBlows), 1.5) << id;
        EXPECT_GE(mean(set.main("up"), numberOfBlows), 1.8) << id;
    }
}

TEST_F(SoundFamilyTest, NothingWhistlesBoomsOrThuds) {
    for (const auto& [id, set] : sets_) {
        SCOPED_TRACE(id);
        for (const auto& sounds : {set.main("down"), set.main("up"), set.group("space", "down")}) {
            for (std::size_t i = 0; i < sounds.size(); i += 2) {
                EXPECT_LE(whistleOf(sounds[i]), -32);
                // A tenth of a second later all but what is meant to ring is gone.
                EXPECT_LE(levelOf(sounds[i], 4800, 5280), levelOf(sounds[i], 0, 1920) - 16);
            }
        }
        EXPECT_GE(mean(set.main("down"), attackOf), -20);
    }
}

TEST_F(SoundFamilyTest, NoTwoVariantsOfASoundAreNearlyTheSame) {
    for (const auto& [id, set] : sets_) {
        SCOPED_TRACE(id);
        const double closest = id == "alpaca" ? 11 : 10; // its variants are the most alike
        for (const char* direction : {"down", "up"}) {
            const auto variants = set.main(direction);
            for (std::size_t a = 0; a < variants.size(); ++a) {
                for (std::size_t b = a + 1; b < variants.size(); ++b) {
                    Signal difference = variants[a];
                    difference.resize(std::max(difference.size(), variants[b].size()));
                    for (std::size_t n = 0; n < variants[b].size(); ++n) {
                        difference[n] -= variants[b][n];
                    }
                    EXPECT_GE(levelOf(difference, 0, 2400), levelOf(variants[a], 0, 2400) - closest)
                        << direction << " " << a << " and " << b;
                }
            }
        }
    }
}

TEST_F(SoundFamilyTest, NoTwoSetsSoundNearlyTheSame) {
    std::map<std::string, Fingerprint> prints;
    for (const auto& [id, set] : sets_) {
        const auto downs = set.main("down");
        std::vector<Signal> halves[2];
        for (std::size_t i = 0; i < downs.size(); ++i) {
            halves[i % 2].push_back(downs[i]);
        }
        EXPECT_LE(distanceOf(fingerprintOf(halves[0]), fingerprintOf(halves[1])), greatestOwnDistance) << id;
        Fingerprint print = fingerprintOf(downs);
        const Fingerprint up = fingerprintOf(set.main("up"));
        print.insert(print.end(), up.begin(), up.end());
        for (const auto& [other, otherPrint] : prints) {
            EXPECT_GE(distanceOf(print, otherPrint), leastDistance) << id << " and " << other;
        }
        prints[id] = print;
    }
}

/// A decimal comma and grouped thousands, as in many countries.
class CommaNumbers : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(SoundFamilyTest, ASetComesOutTheSameByteForByteInAnyLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
    const test::TempFolder again;
    writeSet(builtInDescription(firstSet), again.path());
    std::locale::global(before);
    EXPECT_TRUE(bytesOfFolder(again.path()) ==
                bytesOfFolder(std::filesystem::path(KEYSONG_BUILT_SOUNDS "/Sounds") / firstSet));
}

} // namespace
} // namespace keysong::soundgen
