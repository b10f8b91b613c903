#include "soundgen/Description.h"

#include <gmock/gmock.h>

namespace keysong::soundgen {
namespace {

using testing::HasSubstr;

/// A description with one line wrong, or one thing missing, and what is said about it.
struct WrongDescription {
    const char* name;
    const char* text;
    const char* message;
};

constexpr WrongDescription wrongDescriptions[] = {
    {"KeyBeforeAnySection", "id = a\n", "line 1: a key comes before the first section"},
    {"NeitherKeyNorSection", "\n# note\n[set]\nhello\n", "line 4: expected 'key = value' or '[section]'"},
    {"OpenBracket", "[set\n", "line 1: a section's head ends with ']'"},
    {"EmptySectionName", "[ ]\n", "line 1: the section has no name"},
    {"UnknownSection", "[sett]\n", "line 1: there is no section 'sett'"},
    {"UnknownKey", "[set]\ncolour = 3\n", "line 2: there is no key 'colour' in this section"},
    {"CapitalInIdentifier", "[set]\nid = Loud\n", "line 2: id: an identifier is made of"},
    {"NoUnit", "[set]\ngain = 3\n", "line 2: gain: expected a number with the unit dB, found '3'"},
    {"WrongUnit", "[bank a]\nmode = 300 ms, 20 ms, 0 dB\n",
     "line 2: mode: expected a number with the unit Hz"},
    {"NotANumber", "[damping]\nsustain = long\n", "line 2: sustain: expected a number, found 'long'"},
    {"NotANumberAtAll", "[damping]\nsustain = nan\n", "line 2: sustain: 'nan' is not in the range"},
    {"OutOfRange", "[bank a]\nmode = 30000 Hz, 20 ms, 0 dB\n",
     "'30000 Hz' is not in the range 20.0 to 20000.0"},
    {"ValueMissing", "[bank a]\nmode = 300 Hz, 20 ms\n", "line 2: mode: a value is missing"},
    {"ValueTooMany", "[bank a]\nmode = 300 Hz, 20 ms, 0 dB, 1\n", "line 2: mode: unexpected value '1'"},
    {"FractionForACount", "[sound main down]\nvariants = 1.5\n", "expected a whole number from 1 to 16"},
    {"TooManyVariants", "[sound main down]\nvariants = 17\n", "expected a whole number from 1 to 16"},
    {"BandUpsideDown", "[rub a]\nband = 500 Hz, 400 Hz\n", "the second frequency is not above the first"},
    {"BankOnlyBelow", "[strike a]\ndrive = case, 0 dB\n[bank case]\n",
     "line 2: drive: there is no bank named 'case'"},
    {"UnknownStrike", "[sound main down]\nstrike = hit, 0 ms, 0 dB\n",
     "there is no strike named 'hit' above"},
    {"SameBankTwice", "[bank a]\n[bank a]\n", "line 2: 'a' is there already"},
    {"BankWithoutName", "[bank]\n", "line 1: the section takes one name"},
    {"UnknownGroup", "[sound letters down]\n", "line 1: there is no group of keys 'letters'"},
    {"UnknownDirection", "[sound main left]\n", "line 1: a sound is for"},
    {"KeyOutOfRange", "[sound key.256 down]\n", "line 1: a key is numbered from 0 to 255"},
    {"KeyWithZero", "[sound key.036 down]\n", "line 1: a key is numbered from 0 to 255"},
    {"LikeNothing", "[sound main up like main down]\n", "line 1: the sound that it is like is not above"},
    {"SoundWithoutStrike", "[sound main down]\nvariants = 2\n", "line 1: a sound has 1 to 64 strikes"},
    {"SameSoundTwice", "[strike a]\n[sound main up]\nstrike = a, 0 ms, 0 dB\n[sound main up like main up]\n",
     "line 4: this sound is there already"},
    {"NoIdentifier", "[set]\nname = A\n", "the section [set] gives no id or no name"},
    {"NoMainSound", "[set]\nid = a\nname = A\n", "there is no section [sound main down]"},
};

TEST(DescriptionTest, AWrongLineIsRefusedByItsNumber) {
    for (const WrongDescription& row : wrongDescriptions) {
        try {
            static_cast<void>(parseDescription(row.text));
            ADD_FAILURE() << row.name << ": accepted";
        } catch (const DescriptionError& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.message)) << row.name;
        }
    }
}

TEST(DescriptionTest, RefusesATextOfMoreThanAMegabyte) {
    EXPECT_THROW(static_cast<void>(parseDescription(std::string((1U << 20U) + 1, '\n'))), DescriptionError);
}

TEST(DescriptionTest, ASoundLikeAnotherKeepsWhatItDoesNotReplace) {
    const auto set = parseDescription("[set]\r\nid = a-1 # note\r\nname = An A\r\n"
                                      "[bank b]\n[strike s]\n[strike t]\n[rub r]\n"
                                      "[sound main down]\nvariants = 9\nlevel = -21.5 dB\n"
                                      "strike = s, 0 ms, 0 dB\nstrike = t, 2 ms, -3 dB, 1 ms, 2 dB\n"
                                      "rub = r, 1 ms, 0 dB\ntune = b, 0.9, 1, 0 dB\n"
                                      "[sound key.36 down like main down]\nlevel = -18 dB\n"
                                      "strike = t, 5 ms, -1 dB\ntune = b, 2, 1, 3 dB\n");
    EXPECT_EQ(set.id, "a-1");
    EXPECT_EQ(set.name, "An A");
    ASSERT_EQ(set.sounds.size(), 2U);
    const Sound& original = set.sounds[0];
    const Sound& copy = set.sounds[1];
    EXPECT_EQ(copy.fileStem(), "key-36-down");
    EXPECT_EQ(copy.variants, 9);
    EXPECT_DOUBLE_EQ(original.levelDb, -21.5);
    EXPECT_DOUBLE_EQ(copy.levelDb, -18);
    EXPECT_EQ(original.strikes.size(), 2U);
    EXPECT_DOUBLE_EQ(original.strikes[1].levelJitterDb, 2);
    ASSERT_EQ(copy.strikes.size(), 1U) << "its first strike starts the list anew";
    EXPECT_EQ(set.strikes[copy.strikes[0].which].name, "t");
    EXPECT_EQ(copy.rubs.size(), 1U) << "the slide is kept";
    EXPECT_EQ(copy.adjustments.size(), 2U) << "tuning adds up";
}

} // namespace
} // namespace keysong::soundgen
