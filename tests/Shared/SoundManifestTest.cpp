#include "Shared/SoundManifest.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace keysong {
namespace {

constexpr const char* minimal = R"("schema":1,"id":"a","name":"A","defaults":{"down":["d.wav"]})";

/// A manifest that is good but for `extra`, which is put first.
std::string with(const std::string& extra) {
    return "{" + extra + "," + minimal + "}";
}

struct Case {
    const char* name;
    std::string bytes;
    /// Part of the error's text; empty when the manifest is good.
    std::string error;
};

std::string nested(int levels) {
    const auto count = static_cast<std::size_t>(levels);
    return R"("x":)" + std::string(count, '[') + std::string(count, ']');
}

const std::vector<Case> cases = {
    {"ByteOrderMark", "\xEF\xBB\xBF{" + std::string(minimal) + "}", ""},
    {"UnknownKeysEverywhere",
     R"({"schema":1,"id":"a","name":"A","author":{"x":[null]},"defaults":{"sideways":3},)"
     R"("mouse":{"wheel":7},"groups":{"space":{"note":1}}})",
     ""},
    {"OptionalKeysNull",
     R"({"schema":1,"id":"a","name":"A","defaults":{"down":null,"up":null},"gain":null,"pitchVariation":null,)"
     R"("gainVariation":null,"groups":null,"keys":null,"mouse":{"left":null,"scroll":null}})",
     ""},
    {"IntegralSchemaWithFraction", R"({"schema":1.0,"id":"a","name":"A","defaults":{}})", ""},
    {"NestedAsDeepAsAllowed", with(nested(60)), ""},

    {"Empty", "", "parse error"},
    {"TrailingText", "{" + std::string(minimal) + "} x", "parse error"},
    {"TextBehindAZeroByte", "{" + std::string(minimal) + "}" + std::string("\0x", 2), "zero byte"},
    {"IllFormedUtf8", with("\"x\":\"\xC3\x28\""), "UTF-8"},
    {"TopLevelList", "[" + std::string("1]"), "top level"},
    {"NoSchema", R"({"id":"a","name":"A","defaults":{}})", "\"schema\" is missing"},
    {"NoId", R"({"schema":1,"name":"A","defaults":{}})", "\"id\" is missing"},
    {"NoName", R"({"schema":1,"id":"a","defaults":{}})", "\"name\" is missing"},
    {"NoDefaults", R"({"schema":1,"id":"a","name":"A"})", "\"defaults\" is missing"},
    {"RequiredKeyNull", R"({"schema":1,"id":null,"name":"A","defaults":{}})", "\"id\" is missing"},
    {"SchemaText", R"({"schema":"1","id":"a","name":"A","defaults":{}})", "\"schema\" is not a number"},
    {"SchemaFraction", R"({"schema":1.5,"id":"a","name":"A","defaults":{}})", "\"schema\" is not an integer"},
    {"SchemaTooLarge", R"({"schema":9223372036854775808,"id":"a","name":"A","defaults":{}})", "out of range"},
    {"IdNumber", R"({"schema":1,"id":7,"name":"A","defaults":{}})", "\"id\" is not a string"},
    {"GainBool", with(R"("gain":false)"), "\"gain\" is not a number"},
    {"PitchVariationBeyondFloat", with(R"("pitchVariation":1e39)"), "\"pitchVariation\" does not fit"},
    {"NumberBeyondDouble", with(R"("gainVariation":1e999)"), "number overflow"},
    {"DefaultsList", R"({"schema":1,"id":"a","name":"A","defaults":[]})", "\"defaults\" is not an object"},
    {"DownObject", R"({"schema":1,"id":"a","name":"A","defaults":{"down":{}}})",
     "\"defaults.down\" is not a list"},
    {"NullInList", R"({"schema":1,"id":"a","name":"A","defaults":{"up":["x",null]}})",
     "\"defaults.up\" holds"},
    {"NumberInListOfUnknownGroup", with(R"("groups":{"thumb":{"up":[1]}})"), "\"groups.thumb.up\" holds"},
    {"NullGroup", with(R"("groups":{"space":null})"), "\"groups.space\" is not an object"},
    {"GroupsList", with(R"("groups":[])"), "\"groups\" is not an object"},
    {"MouseText", with(R"("mouse":"left")"), "\"mouse\" is not an object"},
    {"ScrollText", with(R"("mouse":{"scroll":"notch.wav"})"), "\"mouse.scroll\" is not a list"},
    {"ButtonList", with(R"("mouse":{"other":["x"]})"), "\"mouse.other\" is not an object"},
    {"NestedTooDeep", with(nested(80)), "nested too deeply"},
    {"NestedBeyondTheStack", with(nested(1'000'000)), "nested too deeply"},
    {"TooLarge", std::string(SoundManifest::largestFileBytes + 1, ' '), "too large"},
};

TEST(SoundManifest, IsAcceptedOrRefusedAsAWhole) {
    for (const Case& row : cases) {
        try {
            const auto manifest = SoundManifest::decode(row.bytes);
            EXPECT_EQ(row.error, "") << row.name << ": accepted";
            EXPECT_EQ(manifest.id, "a");
            EXPECT_EQ(manifest.schema, 1);
        } catch (const SoundManifestError& error) {
            EXPECT_FALSE(row.error.empty()) << row.name << ": " << error.what();
            EXPECT_NE(std::string(error.what()).find(row.error), std::string::npos) << error.what();
        }
    }
}

TEST(SoundManifest, KeepsEveryFieldAsWritten) {
    const auto manifest = SoundManifest::decode(R"({
        "schema": -9223372036854775808, "id": "gateron-black-ink", "name": "Gateron \u00e9",
        "gain": -2, "pitchVariation": 0.05, "gainVariation": 99.5,
        "defaults": {"down": ["d1.wav", "d2.wav", "d1.wav"], "up": []},
        "groups": {"space": {"down": ["s.wav"]}}, "keys": {"+36": {"up": ["e.wav"]}},
        "mouse": {"left": {"down": ["c.wav"]}, "scroll": ["n.wav"]}})");
    SoundManifest expected;
    expected.schema = INT64_MIN;
    expected.id = "gateron-black-ink";
    expected.name = "Gateron é";
    expected.gain = -2.0F;
    expected.pitchVariation = 0.05F;
    expected.gainVariation = 99.5F;
    expected.defaults = {{{"d1.wav", "d2.wav", "d1.wav"}}, SoundManifest::FileNames{}};
    expected.groups = {{"space", {{{"s.wav"}}, std::nullopt}}};
    expected.keys = {{"+36", {std::nullopt, {{"e.wav"}}}}};
    expected.mouse =
        SoundManifest::Mouse{{{{{"c.wav"}}, std::nullopt}}, std::nullopt, std::nullopt, {{"n.wav"}}};
    EXPECT_EQ(manifest, expected);
}

TEST(SoundManifest, LimitsLevelAndPitchWhenTheyAreUsed) {
    using Row = std::tuple<std::optional<float>, float, float, float>;
    for (const auto& [written, gain, pitchVariation, gainVariation] : {Row{std::nullopt, 0.0F, 0.03F, 1.0F},
                                                                       {0.0F, 0.0F, 0.0F, 0.0F},
                                                                       {40.0F, 6.0F, 0.15F, 6.0F},
                                                                       {-0.5F, -0.5F, 0.0F, 0.0F},
                                                                       {-12.5F, -12.0F, 0.0F, 0.0F},
                                                                       {0.1F, 0.1F, 0.1F, 0.1F}}) {
        SoundManifest manifest;
        manifest.gain = manifest.pitchVariation = manifest.gainVariation = written;
        EXPECT_EQ(manifest.effectiveGain(), gain);
        EXPECT_EQ(manifest.effectivePitchVariation(), pitchVariation);
        EXPECT_EQ(manifest.effectiveGainVariation(), gainVariation);
    }
}

TEST(SoundManifest, ReadsOnlyTheHeadForAList) {
    const auto head = SoundManifestHead::decode(R"({"id":"a","name":"A","schema":"wrong","defaults":7})");
    EXPECT_EQ(head.id, "a");
    EXPECT_EQ(head.name, "A");
    for (const char* const bytes : {R"({"id":"a"})", R"({"id":"a","name":3})", R"([])", "{"}) {
        EXPECT_THROW((void)SoundManifestHead::decode(bytes), SoundManifestError) << bytes;
    }
}

TEST(SoundManifest, KeyEntriesAreNamedByDecimalCodes) {
    // What is no whole number at all is the number parser's matter.
    for (const auto& [name, code] : {std::pair{"+36", 36}, {"036", 36}, {"0", 0}, {"255", 255}}) {
        EXPECT_EQ(keyCodeFromEntryName(name), code);
    }
    for (const char* const name : {"256", "-1", "0x24"}) {
        EXPECT_EQ(keyCodeFromEntryName(name), std::nullopt) << name;
    }
}

TEST(SoundManifestHeadTest, NoIdentifierAndNoNameIsEndless) {
    const std::string longest(SoundManifest::longestNameBytes, 'x');
    const auto text = [](const std::string& id, const std::string& name) {
        return R"({"schema":1,"defaults":{},"id":")" + id + R"(","name":")" + name + R"("})";
    };
    EXPECT_EQ(SoundManifestHead::decode(text(longest, longest)).name, longest);
    EXPECT_EQ(SoundManifest::decode(text(longest, longest)).id, longest);
    for (const std::string& bad : {text(longest + "x", "n"), text("i", longest + "x")}) {
        EXPECT_THROW(static_cast<void>(SoundManifestHead::decode(bad)), SoundManifestError);
        EXPECT_THROW(static_cast<void>(SoundManifest::decode(bad)), SoundManifestError);
    }
}

} // namespace
} // namespace keysong
