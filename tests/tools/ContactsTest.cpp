#include "soundgen/Contacts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace keysong::soundgen {
namespace {

/// A set of two strikes whose keys go down with 200 mm/s and up with 400 mm/s.
SetDescription setWith(const std::string& strike, const std::string& plays) {
    return parseDescription("[set]\nid = a\nname = A\n[stroke]\npress = 200 mm/s\nreturn = 400 mm/s\n"
                            "[strike small]\n[strike s]\n" +
                            strike + "[sound main down]\n" + plays + "[sound main up like main down]\n");
}

std::vector<Contact> contactsInOrder(const SetDescription& set, std::size_t sound, double strengthDb,
                                     std::uint64_t seed = 1) {
    Random random(seed);
    auto contacts = contactsOf(set, set.sounds.at(sound), strengthDb, random);
    std::stable_sort(contacts.begin(), contacts.end(),
                     [](const Contact& a, const Contact& b) { return a.atMs < b.atMs; });
    return contacts;
}

TEST(ContactsTest, AFasterKeyIsSoonerAtTheBottomAndLouderThere) {
    const auto set =
        setWith("", "strike = small, 0 mm, -6 dB\nstrike = s, 2 mm, 0 dB\nstrike = s, 30 ms, 0 dB\n");
    for (const double strengthDb : {-6.0206, 0.0, 6.0206}) {
        const double speed = std::pow(10, strengthDb / 20);
        const auto down = contactsInOrder(set, 0, strengthDb);
        ASSERT_EQ(down.size(), 3U);
        EXPECT_EQ(down[0].atMs, 0) << "the file begins with its first contact";
        EXPECT_NEAR(down[1].atMs, 10 / speed, 0.01);
        EXPECT_NEAR(down[1].levelDb, strengthDb, 1e-9);
        EXPECT_NEAR(down[1].speedDb, strengthDb, 1e-9);
        EXPECT_EQ(down[2].atMs, 30) << "what does not wait for the key";
        EXPECT_NEAR(contactsInOrder(set, 1, strengthDb)[1].atMs, 5 / speed, 0.01) << "the way up";
    }
}

TEST(ContactsTest, AHarderBlowIsAShorterOne) {
    Strike strike;
    strike.contactMs = 0.4;
    EXPECT_NEAR(contactMsAt(strike, 0), 0.4, 1e-12);
    EXPECT_NEAR(contactMsAt(strike, 20), 0.4 * std::pow(10, -0.2), 1e-9) << "speed to the power -1/5";
    EXPECT_NEAR(contactMsAt(strike, -20), 0.4 * std::pow(10, 0.2), 1e-9);
}

TEST(ContactsTest, ABounceComesSoonerAndSofterThanTheOneBefore) {
    const auto set = setWith("rebound = 6 ms, 0.5\n", "strike = s, 0 ms, -3 dB\n");
    for (std::uint64_t seed = 1; seed < 20; ++seed) {
        const auto contacts = contactsInOrder(set, 0, 0, seed);
        ASSERT_GE(contacts.size(), 3U);
        // A fifth of stray either way.
        EXPECT_NEAR(contacts[1].atMs, 6, 1.3);
        for (std::size_t i = 2; i < contacts.size(); ++i) {
            EXPECT_LT(contacts[i].atMs - contacts[i - 1].atMs, contacts[i - 1].atMs - contacts[i - 2].atMs);
            EXPECT_LT(contacts[i].speedDb, contacts[i - 1].speedDb);
        }
        EXPECT_GE(contacts.back().levelDb, -3 - 26) << "weaker ones are not heard";
        EXPECT_LE(contacts.back().levelDb, -3 - 26 + 12) << "but it goes on until then";
    }
    const auto firstGap = [&](double strengthDb) { return contactsInOrder(set, 0, strengthDb)[1].atMs; };
    EXPECT_NEAR(firstGap(6.0206) / firstGap(0), 2, 1e-3) << "it flies as long as it is fast";
}

TEST(ContactsTest, WhatFollowsComesByChanceWithinItsTime) {
    const auto set = setWith("follow = 1.5, small, 4 ms, 16 ms, -8 dB, 0 dB\n", "strike = s, 0 ms, 0 dB\n");
    const auto meanCount = [&](double strengthDb) {
        double count = 0;
        double early = 0;
        for (std::uint64_t seed = 0; seed < 2000; ++seed) {
            for (const Contact& contact : contactsInOrder(set, 0, strengthDb, seed)) {
                if (contact.strike == 0) {
                    EXPECT_GE(contact.atMs, 4);
                    EXPECT_LE(contact.atMs, 16);
                    EXPECT_NEAR(contact.levelDb, strengthDb - 8 - 3 * std::log2(contact.atMs / 4), 0.01);
                    early += contact.atMs < 8 ? 1 : 0;
                    ++count;
                }
            }
        }
        EXPECT_NEAR(early / count, 0.5, 0.05) << "as many in the first doubling of time as in the next";
        return count / 2000;
    };
    EXPECT_NEAR(meanCount(0), 1.5, 0.1);
    EXPECT_NEAR(meanCount(6.0206), 3, 0.15) << "a harder blow shakes more loose";
}

TEST(ContactsTest, TeethPassSlowlyThenFastThenSlowly) {
    const auto set = setWith("run = 21, 400 ms\n", "strike = s, 0 ms, 0 dB\n");
    const auto teeth = contactsInOrder(set, 0, 0);
    ASSERT_EQ(teeth.size(), 21U);
    const auto gap = [&teeth](std::size_t i) { return teeth[i].atMs - teeth[i - 1].atMs; };
    EXPECT_GT(gap(1), 3 * gap(10));
    EXPECT_GT(gap(20), 3 * gap(10));
    EXPECT_NEAR(teeth.back().atMs, 400, 2);
    EXPECT_GT(teeth[10].levelDb, teeth[19].levelDb + 3) << "the faster the louder";
}

TEST(ContactsTest, NoHitHasMoreContactsThanIsSaid) {
    const auto set =
        setWith("repeat = 3, 9 ms, 0 dB\nrebound = 9 ms, 0.9\nfollow = 8, small, 1 ms, 50 ms, 0 dB, 0 dB\n",
                "strike = s, 0 ms, 0 dB, 0 ms, 24 dB\n");
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        EXPECT_LE(contactsInOrder(set, 0, 20, seed).size(),
                  static_cast<std::size_t>(mostContacts(set, set.sounds[0])));
    }
}

} // namespace
} // namespace keysong::soundgen
