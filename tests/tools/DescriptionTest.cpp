#include "soundgen/Description.h"

#include <gmock/gmock.h>

#include <map>
#include <span>
#include <utility>

#include "soundgen/Rows.h"

namespace keysong::soundgen {
namespace {

/// A description with one line wrong, or one thing missing, and what is said about it.
using WrongDescription = std::pair<const char*, const char*>;

constexpr WrongDescription wrongDescriptions[] = {
    {"id = a\n", "line 1: a key comes before the first section"},
    {"\n# note\n[set]\nhello\n", "line 4: expected 'key = value' or '[section]'"},
    {"[set\n", "line 1: a section's head ends with ']'"},
    {"[ ]\n", "line 1: the section has no name"},
    {"[sett]\n", "line 1: there is no section 'sett'"},
    {"[set]\ncolour = 3\n", "line 2: there is no key 'colour' in this section"},
    {"[set]\nid = Loud\n", "line 2: id: an identifier is made of"},
    {"[set]\ngain = 3\n", "line 2: gain: expected a number with the unit dB, found '3'"},
    {"[bank a]\nmode = 300 ms, 20 ms, 0 dB\n", "line 2: mode: expected a number with the unit Hz"},
    {"[damping]\nsustain = long\n", "line 2: sustain: expected a number, found 'long'"},
    {"[damping]\nsustain = nan\n", "line 2: sustain: 'nan' is not in the range"},
    {"[bank a]\nmode = 30000 Hz, 20 ms, 0 dB\n", "'30000 Hz' is not in the range 20.0 to 20000.0"},
    {"[bank a]\nmode = 300 Hz, 20 ms\n", "line 2: mode: a value is missing"},
    {"[bank a]\nmode = 300 Hz, 20 ms, 0 dB, 1\n", "line 2: mode: unexpected value '1'"},
    {"[sound main down]\nvariants = 1.5\n", "expected a whole number from 1 to 16"},
    {"[sound main down]\nvariants = 17\n", "expected a whole number from 1 to 16"},
    {"[rub a]\nband = 500 Hz, 400 Hz\n", "the second frequency is not above the first"},
    {"[strike a]\ndrive = case, 0 dB\n[bank case]\n", "line 2: drive: there is no bank named 'case'"},
    {"[sound main down]\nstrike = hit, 0 ms, 0 dB\n", "there is no strike named 'hit' above"},
    {"[bank a]\n[bank a]\n", "line 2: 'a' is there already"},
    {"[bank]\n", "line 1: the section takes one name"},
    {"[sound letters down]\n", "line 1: there is no group of keys 'letters'"},
    {"[sound main left]\n", "line 1: a sound is for"},
    {"[sound key.256 down]\n", "line 1: a key is numbered from 0 to 255"},
    {"[sound key.036 down]\n", "line 1: a key is numbered from 0 to 255"},
    {"[sound main up like main down]\n", "line 1: the sound that it is like is not above"},
    {"[sound main down]\nvariants = 2\n", "line 1: a sound has 1 to 64 strikes"},
    {"[strike a]\n[sound main up]\nstrike = a, 0 ms, 0 dB\n[sound main up like main up]\n",
     "line 4: this sound is there already"},
    {"[bank a again]\n", "line 1: 'a' is not above"},
    {"[sound main up again]\n", "line 1: this sound is not above"},
    {"[row ../a]\n", "line 1: the name of a row is made of small letters"},
    {"[row a]\nkeys = 1, 2\n[row b]\nkeys = 3, 2\n", "line 4: keys: the key 2 is in a row already"},
    {"[strike a]\nrebound = 1 ms, 1.1\n", "'1.1' is not in the range 0.0 to 0.9"},
    {"[strike a]\nfollow = 1, a, 1 ms, 9 ms, 0 dB, 0 dB\n",
     "what follows has no repetitions and no followers"},
    {"[strike a]\nrepeat = 2, 9 ms, 0 dB\n[strike b]\nfollow = 1, a, 1 ms, 9 ms, 0 dB, 0 dB\n",
     "line 4: follow: what follows has no repetitions and no followers"},
    {"[strike a]\n[strike b]\nfollow = 1, a, 9 ms, 9 ms, 0 dB, 0 dB\n",
     "the second time is not after the first"},
    {"[stroke]\npress = 0 mm/s\n", "'0 mm/s' is not in the range"},
    {"[room]\nsize = 30 m\n", "'30 m' is not in the range 0.0 to 10.0"},
    {"[strike a]\n[sound main down]\nstrike = a, 20 mm, 0 dB\n", "'20 mm' is not in the range"},
    {"[set]\nid = a\nname = A\n[strike a]\nrepeat = 64, 90 ms, 0 dB\nrebound = 1 ms, 0.5\n[sound main down]\n"
     "strike = a, 0 ms, 0 dB\n",
     "the sound main-down may have more than 512 contacts"},
    {"[sound main down]\nplace = 1.2, 0\n", "'1.2' is not in the range 0.0 to 1.0"},
    {"[include a.part]\n", "line 1: the part 'a.part' cannot be read"},
    {"[set]\nname = A\n", "the section [set] gives no id or no name"},
    {"[set]\nid = a\nname = A\n", "there is no section [sound main down]"},
};

/// Each of these is refused with its message.
void expectRefused(std::span<const WrongDescription> rows, const PartReader& parts) {
    for (const auto& [text, message] : rows) {
        const auto parse = [&, text = text] { static_cast<void>(parseDescription(text, parts)); };
        EXPECT_THAT(parse, testing::ThrowsMessage<DescriptionError>(testing::HasSubstr(message))) << text;
    }
}

TEST(DescriptionTest, AWrongLineIsRefusedByItsNumber) {
    expectRefused(wrongDescriptions, {});
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

/// Parts by name, as folders of them are read.
PartReader partsOf(const std::map<std::string, std::string, std::less<>>& parts) {
    return [parts](std::string_view name) {
        const auto found = parts.find(name);
        return found == parts.end() ? std::nullopt : std::optional(found->second);
    };
}

const std::map<std::string, std::string, std::less<>> someParts = {
    {"case.part", "# A case.\n[bank case]\nmode = 300 Hz, 20 ms, 0 dB\n"},
    {"common/all.part", "[include case.part]\n[strike s]\ncontact = 0.5 ms\ndrive = case, 0 dB\n"
                        "[sound main down]\nlevel = -20 dB\nstrike = s, 0 ms, 0 dB\n"},
    {"wrong.part", "\n[bank a]\nmode = 1 Hz\n"},
    {"key-first.part", "\nmode = 300 Hz, 20 ms, 0 dB\n"},
    {"itself.part", "[include itself.part]\n"},
    {"large.part", std::string(300'000, '\n')},
};

TEST(DescriptionPartsTest, AMistakeIsReportedWithThePartThatItIsIn) {
    const WrongDescription rows[] = {
        {"[set]\n[include wrong.part]\n", "wrong.part, line 3: mode: '1 Hz' is not in the range"},
        {"[set]\n[include other.part]\n", "line 2: the part 'other.part' cannot be read"},
        {"[include ../case.part]\n", "line 1: expected '[include NAME]'"},
        {"[include /etc/passwd]\n", "line 1: expected '[include NAME]'"},
        {"[include itself.part]\n", "itself.part, line 1: parts include parts more than four deep"},
        {"[include case.part]\nmode = 300 Hz, 20 ms, 0 dB\n",
         "line 2: a key needs a section after an [include]"},
        {"[bank a]\n[include key-first.part]\n",
         "key-first.part, line 2: a key comes before the first section"},
        {"[include large.part]\n[include large.part]\n[include large.part]\n[include large.part]\n",
         "the description is larger than a megabyte"},
    };
    expectRefused(rows, partsOf(someParts));
}

TEST(DescriptionPartsTest, ASetChangesWhatItShares) {
    const auto set = parseDescription("[set]\nid = a\nname = A\n[include common/all.part]\n"
                                      "[bank case again]\nmode = 500 Hz, 20 ms, 0 dB\n"
                                      "[strike s again]\ndrive = case, -6 dB\n"
                                      "[board]\ntune = case, 0.9, 1, 0 dB\n"
                                      "[sound main down again]\nlouder = 3 dB\nalso = s, 4 ms, -9 dB\n",
                                      partsOf(someParts));
    EXPECT_EQ(set.banks.at(0).modes.size(), 2U) << "what can be many adds up";
    EXPECT_DOUBLE_EQ(set.strikes.at(0).contactMs, 0.5F) << "what is not said again stays";
    ASSERT_EQ(set.strikes.at(0).drives.size(), 1U);
    EXPECT_DOUBLE_EQ(set.strikes.at(0).drives[0].levelDb, -6) << "a bank is driven in one way";
    EXPECT_EQ(set.adjustments.size(), 1U);
    ASSERT_EQ(set.sounds.size(), 1U);
    EXPECT_DOUBLE_EQ(set.sounds[0].levelDb, -17);
    EXPECT_EQ(set.sounds[0].strikes.size(), 2U) << "'also' adds to the list";
}

TEST(RowsTest, EachRowHasItsOwnSoundsAndEachKeyTheNearestOfThem) {
    const auto set = parseDescription("[set]\nid = a\nname = A\n[bank cap]\n[strike s]\n"
                                      "[row back]\nkeys = 12, 13, 14, 15, 16\nplace = 0.25\n"
                                      "tune = cap, 0.9, 1, 0 dB\n[row front]\nkeys = 6\n"
                                      "[sound main down]\nvariants = 8\nnear = 4\nstrike = s, 0 ms, 0 dB\n"
                                      "[sound space down like main down]\nplace = 0.4, 1\n");
    ASSERT_EQ(set.sounds.size(), 3U);
    const Sound& back = set.sounds[0];
    EXPECT_EQ(back.fileStem(), "main-back-down");
    EXPECT_EQ(back.adjustments.size(), 1U);
    EXPECT_EQ(set.sounds[1].fileStem(), "main-front-down");
    EXPECT_TRUE(set.sounds[2].adjustments.empty()) << "the space bar is in no row";
    EXPECT_DOUBLE_EQ(set.sounds[2].placeOf(5).down, 1);
    EXPECT_DOUBLE_EQ(back.placeOf(0).across, 0.0625);
    EXPECT_DOUBLE_EQ(back.placeOf(7).across, 0.9375);
    EXPECT_DOUBLE_EQ(back.placeOf(7).down, 0.25);
    EXPECT_EQ(firstNearHit(back, 0, 5), 0);
    EXPECT_EQ(firstNearHit(back, 2, 5), 2) << "the middle key has the four in the middle";
    EXPECT_EQ(firstNearHit(back, 4, 5), 4);
}

} // namespace
} // namespace keysong::soundgen
