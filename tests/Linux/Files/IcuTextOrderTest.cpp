#include "Linux/Files/IcuTextOrder.h"

#include "fakes/FakePlaces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace keysong {
namespace {

test::FakePlaces placesWith(const std::string& variable, const std::string& locale) {
    test::FakePlaces places;
    places.variables[variable] = locale;
    return places;
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

TEST(IcuTextOrder, ComparesLikeAFileBrowserInEveryLocale) {
    struct Row {
        std::string a, b;
        int result;
    };
    const std::string nines(300, '9');
    const std::vector<Row> rows = {
        {"Set 1", "set 2", -1},
        {"set 2", "Set 10", -1},
        {"Set 2", "sET 2", 0},
        {"apple", "Banana", -1},
        {"Zebra", "apple", 1},
        {"a", "a1", -1},
        {"a1", "ab", -1},
        {"a1b2", "a1b10", -1},
        {"007", "7", 0},
        {"0", "00", 0},
        {"0", "1", -1},
        {"9", "10", -1},
        {"é2", "e3", -1},
        {"e", "é", -1},
        {"\xD9\xA3", "10", -1}, // an Arabic 3
        {nines, "1" + std::string(300, '0'), -1},
        {"a" + nines + "b", "a" + std::string(299, '9') + "8z", 1},
        {"x" + std::string(5000, '7'), "x" + std::string(5000, '0') + "8", 1},
        {"", "a", -1},
        {"", "", 0},
        {"\xFF\xFE", "\xFF\xFE", 0},
    };
    for (const char* const locale :
         {"C", "C.UTF-8", "POSIX", "en_US_POSIX", "en_US.UTF-8", "de_DE@euro", "tr_TR", "xx_nonsense", ""}) {
        const IcuTextOrder order(placesWith("LC_ALL", locale));
        for (const Row& row : rows) {
            EXPECT_EQ(sign(order.compare(row.a, row.b)), row.result)
                << locale << ": " << row.a << " | " << row.b;
            EXPECT_EQ(sign(order.compare(row.b, row.a)), -row.result)
                << locale << ": " << row.b << " | " << row.a;
        }
    }
}

TEST(IcuTextOrder, FollowsTheUsersLanguage) {
    for (const char* const variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        EXPECT_GT(IcuTextOrder(placesWith(variable, "sv_SE.UTF-8")).compare("ö", "z"), 0) << variable;
        EXPECT_LT(IcuTextOrder(placesWith(variable, "de_DE.UTF-8")).compare("ö", "z"), 0) << variable;
    }
    test::FakePlaces places;
    places.variables = {{"LC_ALL", ""}, {"LC_COLLATE", "sv_SE"}, {"LANG", "de_DE"}};
    EXPECT_GT(IcuTextOrder(places).compare("ö", "z"), 0);
}

// What is compared without ICU stands as ICU would have it. A last word that is not ASCII sends the same
// texts the other way.
TEST(IcuTextOrder, HasOneOrderForTextsOfAsciiAndOthers) {
    std::mt19937 random(3);
    const auto text = [&random] {
        std::string characters(1 + random() % 6, ' ');
        std::generate(characters.begin(), characters.end(), [&random] {
            switch (random() % 4) {
            case 0:
                return static_cast<char>(random() % 128);
            case 1:
                return static_cast<char>('0' + random() % 3);
            default:
                return static_cast<char>((random() % 2 == 0 ? 'a' : 'A') + random() % 26);
            }
        });
        return characters;
    };
    for (const char* const locale :
         {"C",  "ar", "bg", "ca", "cs", "da", "de", "el", "en", "es", "et",    "fa",    "fi",    "fr",
          "he", "hi", "hr", "hu", "id", "it", "ja", "ko", "lt", "nb", "nl",    "pl",    "pt",    "ro",
          "ru", "sk", "sl", "sq", "sv", "th", "tr", "uk", "vi", "zh", "zh_TW", "pt_BR", "en_GB", "sr_Latn"}) {
        const IcuTextOrder order(placesWith("LANG", locale));
        for (int round = 0; round < 4000; ++round) {
            const std::string a = text();
            std::string b = round % 2 == 0 ? text() : a;
            if (round % 2 != 0) {
                b.insert(random() % (b.size() + 1), 1, static_cast<char>('a' + random() % 26));
            }
            ASSERT_EQ(sign(order.compare(a, b)), sign(order.compare("é" + a, "é" + b)))
                << locale << ": " << testing::PrintToString(a) << " | " << testing::PrintToString(b);
        }
    }
}

} // namespace
} // namespace keysong
