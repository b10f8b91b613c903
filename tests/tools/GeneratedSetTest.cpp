#include "Shared/KeyGroup.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <locale>
#include <numeric>
#include <set>

#include "GeneratedFiles.h"
#include "soundgen/Description.h"
#include "soundgen/Finish.h"
#include "soundgen/SetWriter.h"
#include "soundgen/SoundRenderer.h"

namespace keysong::soundgen {
namespace {

using test::TempFolder;
using testing::AllOf;
using testing::Ge;
using testing::Le;

constexpr const char* firstSet = "gateron-black-ink";

/// The first built-in set, made once for all tests.
class GeneratedSetTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder_ = std::make_unique<TempFolder>();
        writeSet(builtInDescription(firstSet), folder_->path());
        manifest_ = nlohmann::json::parse(bytesOfFolder(folder_->path()).at("manifest.json"));
    }

    static void TearDownTestSuite() {
        folder_.reset();
        manifest_ = nullptr;
    }

    /// The sounds of a list of the manifest.
    static std::vector<Signal> sounds(const nlohmann::json& list) {
        std::vector<Signal> signals;
        for (const auto& name : list) {
            signals.push_back(readSound(folder_->path() / name.get<std::string>()));
        }
        return signals;
    }

    static const nlohmann::json& group(const std::string& name) {
        return name == "main" ? manifest_.at("defaults") : manifest_.at("groups").at(name);
    }

    /// Mean over the sounds of a list.
    template <typename Measure>
    static double mean(const nlohmann::json& list, Measure measure) {
        const auto signals = sounds(list);
        const double sum =
            std::accumulate(signals.begin(), signals.end(), 0.0,
                            [&](double total, const Signal& signal) { return total + measure(signal); });
        return sum / static_cast<double>(signals.size());
    }

    static double meanLevel(const nlohmann::json& list) {
        return mean(list, [](const Signal& signal) { return levelOf(signal, 0, 2400); });
    }

    inline static std::unique_ptr<TempFolder> folder_;
    inline static nlohmann::json manifest_;
};

constexpr const char* groupNames[] = {"main",     "space",    "enter", "backspace",  "tab",   "escape",
                                      "modifier", "function", "arrow", "navigation", "numpad"};

TEST_F(GeneratedSetTest, GivesEveryGroupSoundsOfItsOwn) {
    EXPECT_EQ(manifest_.at("schema"), 1);
    EXPECT_EQ(manifest_.at("id"), firstSet);
    std::set<std::string> names;
    std::size_t listed = 0;
    const auto take = [&](const nlohmann::json& list, std::size_t least) {
        EXPECT_GE(list.size(), least) << list;
        names.insert(list.begin(), list.end());
        listed += list.size();
    };
    for (const char* name : groupNames) {
        take(group(name).at("down"), name == std::string("main") ? 5 : 3);
        take(group(name).at("up"), 3);
    }
    for (const char* button : {"left", "right", "other"}) {
        take(manifest_.at("mouse").at(button).at("down"), 3);
        take(manifest_.at("mouse").at(button).at("up"), 3);
    }
    take(manifest_.at("mouse").at("scroll"), 3);
    EXPECT_EQ(names.size(), listed) << "a file is in two lists";
    for (const auto& [key, pair] : manifest_.at("keys").items()) {
        SCOPED_TRACE(key);
        EXPECT_EQ(keyGroupOf(static_cast<std::uint16_t>(std::stoi(key))), KeyGroup::main);
        EXPECT_GE(pair.at("down").size(), 5U);
        EXPECT_GE(pair.at("up").size(), 3U);
        for (const char* direction : {"down", "up"}) {
            for (const auto& name : pair.at(direction)) {
                EXPECT_TRUE(
                    std::count(group("main").at(direction).begin(), group("main").at(direction).end(), name))
                    << name;
            }
        }
    }
    EXPECT_EQ(bytesOfFolder(folder_->path()).size(), listed + 1) << "a file is in no list";
}

TEST_F(GeneratedSetTest, EveryFileStartsAtOnceStaysInRangeAndEndsInSilence) {
    for (const auto& [name, bytes] : bytesOfFolder(folder_->path())) {
        if (name == "manifest.json") {
            continue;
        }
        SCOPED_TRACE(name);
        const Signal signal = readSound(folder_->path() / name);
        const double peak = peakOf(signal);
        EXPECT_LE(std::abs(signal.front()), 0.02 * peak) << "no step at the start";
        EXPECT_LE(peak, std::pow(10.0, -1.0 / 20));
        EXPECT_GE(peak, 0.05);
        EXPECT_LE(signal.size(), 48U * 350);
        EXPECT_EQ(signal.back(), 0);
        EXPECT_LE(levelOf(signal, 4800, 5280), levelOf(signal, 0, 480) - 45) << "it rings on";
        EXPECT_LE(levelOf(signal, signal.size() - 240, signal.size()), 20 * std::log10(peak) - 66);
        const double sum = std::accumulate(signal.begin(), signal.end(), 0.0);
        EXPECT_LE(std::abs(sum / static_cast<double>(signal.size())), 1e-5) << "constant offset";
    }
}

TEST_F(GeneratedSetTest, KeysAreAboutLevelAndTheBigOnesALittleLouder) {
    const double main = meanLevel(group("main").at("down"));
    for (const char* name : groupNames) {
        SCOPED_TRACE(name);
        const double down = meanLevel(group(name).at("down"));
        EXPECT_THAT(down - main, AllOf(Ge(-2.0), Le(4.0)));
        EXPECT_THAT(down - meanLevel(group(name).at("up")), AllOf(Ge(4.0), Le(8.0))) << "up against down";
    }
    EXPECT_GE(meanLevel(group("space").at("down")) - main, 1);
    EXPECT_GE(meanLevel(group("enter").at("down")) - main, 0.5);
}

TEST_F(GeneratedSetTest, SpaceIsDarkerAndComingUpIsBrighterThanGoingDown) {
    const double main = mean(group("main").at("down"), centroidOf);
    const double space = mean(group("space").at("down"), centroidOf);
    EXPECT_THAT(main, AllOf(Ge(1200.0), Le(2800.0)));
    EXPECT_THAT(space, AllOf(Ge(600.0), Le(1400.0)));
    EXPECT_LT(space, 0.85 * main);
    EXPECT_LT(mean(group("enter").at("down"), centroidOf), main);
    EXPECT_GT(mean(group("main").at("up"), centroidOf), 1.05 * main);
}

TEST_F(GeneratedSetTest, NoTwoVariantsOfASoundAreNearlyTheSame) {
    for (const char* direction : {"down", "up"}) {
        const auto variants = sounds(group("main").at(direction));
        for (std::size_t a = 0; a < variants.size(); ++a) {
            for (std::size_t b = a + 1; b < variants.size(); ++b) {
                Signal difference = variants[a];
                difference.resize(std::max(difference.size(), variants[b].size()));
                for (std::size_t n = 0; n < variants[b].size(); ++n) {
                    difference[n] -= variants[b][n];
                }
                EXPECT_GE(levelOf(difference, 0, 2400), levelOf(variants[a], 0, 2400) - 10)
                    << direction << " " << a << " and " << b;
            }
        }
    }
}

/// A decimal comma and grouped thousands, as in many countries.
class CommaNumbers : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(GeneratedSetTest, ComesOutTheSameByteForByteInAnyLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
    const TempFolder again;
    writeSet(builtInDescription(firstSet), again.path());
    std::locale::global(before);
    EXPECT_TRUE(bytesOfFolder(again.path()) == bytesOfFolder(folder_->path()));
}

constexpr const char* smallSet =
    "[set]\nid = small\nname = Small\nseed = 5\n"
    "[damping]\nsustain = 0.9\nfoam = 7000 Hz\n"
    "[room]\nlevel = -20 dB\nreflections = 10\n"
    "[bank b]\nshape = 3 dB\nmode = 400 Hz, 50 ms, 0 dB\ncloud = 9, 900 Hz, 6000 Hz, 20 ms, 5 ms, -3 dB, -9 "
    "dB\n"
    "series = 4, 1200 Hz, 1.05, 30 ms, -20 dB, 3 dB\n"
    "[strike s]\ndrive = b, 0 dB\nburst = -10 dB, 2000 Hz, 9000 Hz, 0.2 ms, 5 ms\nrepeat = 3, 12 ms, 6 dB\n"
    "bounce = 2, 1.5 ms, 0.4\n"
    "[rub r]\nlevel = -30 dB\n"
    "[sound main down]\nlevel = -24 dB\nstrike = s, 0 ms, 0 dB, 0 ms, 1 dB\nrub = r, 1 ms, 0 dB\n";

/// Of the third variant of a set's first sound, to the last bit.
std::uint64_t hashOfFirstSound(const SetDescription& set) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const double sample : SoundRenderer(set).render(set.sounds.at(0), 2)) {
        hash = (hash ^ static_cast<std::uint64_t>(std::llround(sample * 0x1p50))) * 0x100000001b3U;
    }
    return hash;
}

TEST(SoundRendererTest, GivesTheSameSamplesOnEveryMachineAndWithEveryCompiler) {
    EXPECT_EQ(hashOfFirstSound(parseDescription(smallSet)), 351919292841838710U)
        << "the model has changed: so has every set";
    EXPECT_EQ(hashOfFirstSound(builtInDescription("buckling-spring")), 11592607266524903675U)
        << "and so has this description";
}

TEST(SoundRendererTest, RefusesALevelThatWouldClipAndASoundWithoutSound) {
    std::string loud = smallSet;
    loud.replace(loud.find("level = -24"), 11, "level = -3");
    const SetDescription clipping = parseDescription(loud);
    EXPECT_THROW(static_cast<void>(SoundRenderer(clipping).render(clipping.sounds[0], 0)), DescriptionError);
    const SetDescription silent =
        parseDescription("[set]\nid = a\nname = A\n[strike s]\n[sound main down]\nstrike = s, 0 ms, 0 dB\n");
    EXPECT_THROW(static_cast<void>(SoundRenderer(silent).render(silent.sounds[0], 0)), DescriptionError);
}

/// How the program ends with these arguments.
int exitCodeOf(const std::string& arguments) {
    const int status = std::system((KEYSONG_SOUNDGEN " " + arguments + " 2>/dev/null").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SoundgenProgramTest, EndsWithOneWhenItCannotMakeTheSet) {
    const TempFolder folder;
    const std::string description = folder.write("a.set", smallSet).string();
    const std::string output = (folder.path() / "out").string();
    EXPECT_EQ(exitCodeOf(description + " " + output), 0);
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "out" / "manifest.json"));
    EXPECT_EQ(exitCodeOf(""), 1) << "no arguments";
    EXPECT_EQ(exitCodeOf(description + ".missing " + output), 1);
    EXPECT_EQ(exitCodeOf(folder.path().string() + " " + output), 1) << "a folder for a description";
    EXPECT_EQ(exitCodeOf(description + " /proc/keysong/set"), 1);
    folder.write("a.set", "[set]\nid = A\n");
    EXPECT_EQ(exitCodeOf(description + " " + output), 1);
}

} // namespace
} // namespace keysong::soundgen
