#include "Audio/OutputDecider.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace keysong::test {
namespace {

struct Case {
    OutputEvent event;
    OutputSituation situation;
};

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const auto event :
         {OutputEvent::start, OutputEvent::wish, OutputEvent::rebuild, OutputEvent::change}) {
        for (const auto choice : {OutputChoice::none, OutputChoice::present, OutputChoice::absent}) {
            for (const bool hasDefault : {false, true}) {
                for (const auto place :
                     {OutputPlace::stopped, OutputPlace::elsewhere, OutputPlace::onTarget}) {
                    cases.push_back({event, {choice, hasDefault, place}});
                }
            }
        }
    }
    return cases;
}

TEST(OutputDecider, EverySituationHasExactlyOneRow) {
    for (const auto& [event, situation] : allCases()) {
        const auto table = OutputDecider::table();
        EXPECT_EQ(std::ranges::count_if(
                      table, [&](const OutputDecider::Row& row) { return row.covers(event, situation); }),
                  1)
            << static_cast<int>(event) << static_cast<int>(situation.choice) << situation.hasDefault
            << static_cast<int>(situation.place);
    }
}

TEST(OutputDecider, NeverMovesWithoutATargetAndNeverWithoutNeed) {
    for (const auto& [event, situation] : allCases()) {
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
        if (event == OutputEvent::change && hasTarget && situation.place != OutputPlace::onTarget) {
            EXPECT_TRUE(moves) << "the sound would stay away";
        }
        if (action == OutputAction::standIn) {
            EXPECT_EQ(situation.choice, OutputChoice::absent);
        }
    }
}

} // namespace
} // namespace keysong::test
