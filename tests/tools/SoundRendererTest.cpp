#include "soundgen/SoundRenderer.h"

#include "Shared/Loudness.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "GeneratedFiles.h"
#include "soundgen/Description.h"
#include "soundgen/Finish.h"

namespace keysong::soundgen {
namespace {

using test::TempFolder;

constexpr const char* smallSet =
    "[set]\nid = small\nname = Small\nseed = 5\n"
    "[damping]\nsustain = 0.9\nfoam = 7000 Hz\n"
    "[stroke]\npress = 300 mm/s\n"
    "[room]\nsize = 3 m\nabsorption = 30 %, 50 %\ndistance = 20 cm\n"
    "[bank b]\nshape = 3 dB\nmode = 400 Hz, 50 ms, 0 dB\ncloud = 9, 900 Hz, 6000 Hz, 20 ms, 5 ms, -3 dB, -9 "
    "dB\n"
    "series = 4, 1200 Hz, 1.05, 30 ms, -20 dB, 3 dB\n"
    "[strike s]\ndrive = b, 0 dB\nburst = -10 dB, 2000 Hz, 9000 Hz, 0.2 ms, 5 ms\nrepeat = 1, 0 ms, 0 dB\n"
    "rebound = 1.5 ms, 0.4\nair = -6 dB, 4 ms\n"
    "[strike t]\ndrive = b, 3 dB\nrepeat = 3, 12 ms, 6 dB\nfollow = 1.5, s, 4 ms, 20 ms, -9 dB, 3 dB\n"
    "[board]\ncolour = 2 dB, 0.5 dB\n"
    "[rub r]\nlevel = -30 dB\n"
    "[sound main down]\nvariants = 12\nlevel = -24 dB\nstrength = 2 dB\nstrike = s, 0 mm, 0 dB, 0 ms, 1 dB\n"
    "strike = t, 2 mm, -3 dB\nrub = r, 1 ms, 0 dB\n";

/// Of the third variant of a set's first sound, to the last bit.
std::uint64_t hashOfFirstSound(const SetDescription& set) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    const auto hits = SoundRenderer(set).render(set.sounds.at(0));
    for (const double sample : hits.at(2)) {
        hash = (hash ^ static_cast<std::uint64_t>(std::llround(sample * 0x1p50))) * 0x100000001b3U;
    }
    return hash;
}

TEST(SoundRendererTest, GivesTheSameSamplesOnEveryMachineAndWithEveryCompiler) {
    EXPECT_EQ(hashOfFirstSound(parseDescription(smallSet)), 17014388182477753608U)
        << "the model has changed: so has every set";
    EXPECT_EQ(hashOfFirstSound(builtInDescription("buckling-spring")), 959115387710488029U)
        << "and so has this description";
}

/// All hits of the small set's sound, with one text of its description replaced.
std::vector<Signal> hitsOfSmallSet(const std::string& text = "", const std::string& replacement = "") {
    std::string description = smallSet;
    description.replace(description.find(text), text.size(), replacement);
    const SetDescription set = parseDescription(description);
    return SoundRenderer(set).render(set.sounds.at(0));
}

TEST(SoundRendererTest, HitsDifferInStrengthAndHaveTheirLevelTogether) {
    const auto levels = [](const std::vector<Signal>& hits) {
        std::vector<double> values;
        for (const Signal& hit : hits) {
            values.push_back(20 * std::log10(loudness(hit)));
        }
        return values;
    };
    const auto spread = [](const std::vector<double>& values) {
        const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
        return *greatest - *least;
    };
    const auto hits = hitsOfSmallSet();
    ASSERT_EQ(hits.size(), 12U);
    double energy = 0;
    for (const Signal& hit : hits) {
        energy += std::pow(loudness(hit), 2) / 12;
    }
    EXPECT_NEAR(10 * std::log10(energy), -24, 1e-6);
    EXPECT_GT(spread(levels(hits)), 3);
    EXPECT_GT(spread(levels(hits)),
              1.4 * spread(levels(hitsOfSmallSet("strength = 2 dB", "strength = 0 dB"))));
}

TEST(SoundRendererTest, ARoomCanBeSwitchedOffAndEndsInSilence) {
    const auto hits = hitsOfSmallSet();
    const auto dry = hitsOfSmallSet("size = 3 m", "size = 0 m");
    for (std::size_t i = 0; i < hits.size(); ++i) {
        EXPECT_GT(hits[i].size(), 48U * 140);
        EXPECT_LT(dry[i].size(), 48U * 110) << "the longest resonance, and the fade";
        EXPECT_EQ(hits[i].back(), 0);
        EXPECT_EQ(dry[i].back(), 0);
        // The last 5 ms before that are far below what is heard of a fade.
        EXPECT_LT(levelOf(hits[i], hits[i].size() - 240, hits[i].size()),
                  20 * std::log10(peakOf(hits[i])) - 75);
        // It does not come later for the room, and the first blow is the same.
        const double scale = hits[i][10] / dry[i][10];
        for (std::size_t n = 0; n < 18; ++n) {
            EXPECT_NEAR(hits[i][n], scale * dry[i][n], 0.02 * peakOf(hits[i])) << n;
        }
    }
}

TEST(SoundRendererTest, RefusesALevelThatWouldClipAndASoundWithoutSound) {
    std::string loud = smallSet;
    loud.replace(loud.find("level = -24"), 11, "level = -3");
    const SetDescription clipping = parseDescription(loud);
    EXPECT_THROW(static_cast<void>(SoundRenderer(clipping).render(clipping.sounds[0])), DescriptionError);
    const SetDescription silent =
        parseDescription("[set]\nid = a\nname = A\n[strike s]\n[sound main down]\nstrike = s, 0 ms, 0 dB\n");
    EXPECT_THROW(static_cast<void>(SoundRenderer(silent).render(silent.sounds[0])), DescriptionError);
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
