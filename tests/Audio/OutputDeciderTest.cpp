#include "Audio/OutputDecider.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace keysong::test {
namespace {

template <typename Check>
void forEverySituation(const Check& check) {
    for (const auto event : {OutputEvent::start, OutputEvent::wish, OutputEvent::rebuild, OutputEvent::choice,
                             OutputEvent::change}) {
        for (const auto choice : {OutputChoice::none, OutputChoice::present, OutputChoice::absent}) {
            for (const bool hasDefault : {false, true}) {
                for (const auto place :
                     {OutputPlace::stopped, OutputPlace::elsewhere, OutputPlace::onTarget}) {
                    check(event, OutputSituation{choice, hasDefault, place});
                }
            }
        }
    }
}

TEST(OutputDecider, EverySituationHasExactlyOneRow) {
    forEverySituation([](OutputEvent event, const OutputSituation& situation) {
        const auto covers = [&](const OutputDecider::Row& row) { return row.covers(event, situation); };
        EXPECT_EQ(std::ranges::count_if(OutputDecider::table(), covers), 1)
            << static_cast<int>(event) << static_cast<int>(situation.choice) << situation.hasDefault
            << static_cast<int>(situation.place);
    });
}

TEST(OutputDecider, NeverMovesWithoutATargetAndNeverWithoutNeed) {
    forEverySituation([](OutputEvent event, const OutputSituation& situation) {
        const OutputAction action = OutputDecider::decide(event, situation);
        const bool moves = action == OutputAction::move || action == OutputAction::standIn;
        const bool hasTarget = situation.choice == OutputChoice::present || situation.hasDefault;
        EXPECT_TRUE(hasTarget || !moves);
        if (situation.place == OutputPlace::onTarget && event != OutputEvent::rebuild) {
            EXPECT_FALSE(moves) << "sound is interrupted for nothing";
        }
        if (event == OutputEvent::change) {
            EXPECT_NE(action, OutputAction::refuseDevice) << "nobody asked";
            EXPECT_NE(action, OutputAction::refuseNothingThere) << "nobody asked";
        }
        if (event == OutputEvent::choice) {
            EXPECT_NE(action, OutputAction::refuseDevice) << "it may come";
        }
        if (event == OutputEvent::change && hasTarget && situation.place != OutputPlace::onTarget) {
            EXPECT_TRUE(moves) << "the sound would stay away";
        }
        if (action == OutputAction::standIn) {
            EXPECT_EQ(situation.choice, OutputChoice::absent);
        }
    });
}

} // namespace
} // namespace keysong::test
