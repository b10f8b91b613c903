#include "soundgen/SoundRenderer.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>

#include "GeneratedFiles.h"
#include "soundgen/Description.h"

namespace keysong::soundgen {
namespace {

using test::TempFolder;

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
