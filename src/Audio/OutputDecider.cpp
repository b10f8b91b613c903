#include "Audio/OutputDecider.h"

#include <algorithm>
#include <array>
#include <cassert>

namespace keysong {

namespace {

using Row = OutputDecider::Row;
using Event = OutputEvent;
using Choice = OutputChoice;
using Place = OutputPlace;
using Action = OutputAction;

constexpr std::nullopt_t any = std::nullopt;

// clang-format off
constexpr std::array rows{
    //  event           choice           default  place             action
    Row{Event::start,   any,             any,     Place::stopped,   Action::startHere},
    Row{Event::start,   any,             any,     Place::elsewhere, Action::nothing},
    Row{Event::start,   any,             any,     Place::onTarget,  Action::nothing},

    // A device that is not there is refused: the user hears of it and can choose again.
    Row{Event::wish,    Choice::absent,  any,     any,              Action::refuseDevice},
    Row{Event::wish,    Choice::present, any,     Place::stopped,   Action::move},
    Row{Event::wish,    Choice::present, any,     Place::elsewhere, Action::move},
    Row{Event::wish,    Choice::present, any,     Place::onTarget,  Action::keep},
    Row{Event::wish,    Choice::none,    false,   any,              Action::refuseNothingThere},
    Row{Event::wish,    Choice::none,    true,    Place::stopped,   Action::move},
    Row{Event::wish,    Choice::none,    true,    Place::elsewhere, Action::move},
    Row{Event::wish,    Choice::none,    true,    Place::onTarget,  Action::keep},

    Row{Event::rebuild, Choice::absent,  any,     any,              Action::refuseDevice},
    Row{Event::rebuild, Choice::present, any,     any,              Action::move},
    Row{Event::rebuild, Choice::none,    false,   any,              Action::refuseNothingThere},
    Row{Event::rebuild, Choice::none,    true,    any,              Action::move},

    // While the device of a choice is away, the default stands in for it.
    Row{Event::choice,  Choice::present, any,     Place::stopped,   Action::move},
    Row{Event::choice,  Choice::present, any,     Place::elsewhere, Action::move},
    Row{Event::choice,  Choice::present, any,     Place::onTarget,  Action::keep},
    Row{Event::choice,  Choice::absent,  false,   any,              Action::wait},
    Row{Event::choice,  Choice::absent,  true,    Place::stopped,   Action::standIn},
    Row{Event::choice,  Choice::absent,  true,    Place::elsewhere, Action::standIn},
    Row{Event::choice,  Choice::absent,  true,    Place::onTarget,  Action::keep},
    Row{Event::choice,  Choice::none,    false,   any,              Action::refuseNothingThere},
    Row{Event::choice,  Choice::none,    true,    Place::stopped,   Action::move},
    Row{Event::choice,  Choice::none,    true,    Place::elsewhere, Action::move},
    Row{Event::choice,  Choice::none,    true,    Place::onTarget,  Action::keep},

    // The system's changes refuse nothing. The choice stays while its device is away.
    Row{Event::change,  Choice::present, any,     Place::stopped,   Action::move},
    Row{Event::change,  Choice::present, any,     Place::elsewhere, Action::move},
    Row{Event::change,  Choice::present, any,     Place::onTarget,  Action::nothing},
    Row{Event::change,  Choice::absent,  false,   any,              Action::wait},
    Row{Event::change,  Choice::absent,  true,    Place::stopped,   Action::standIn},
    Row{Event::change,  Choice::absent,  true,    Place::elsewhere, Action::standIn},
    Row{Event::change,  Choice::absent,  true,    Place::onTarget,  Action::nothing},
    Row{Event::change,  Choice::none,    false,   any,              Action::wait},
    Row{Event::change,  Choice::none,    true,    Place::stopped,   Action::move},
    Row{Event::change,  Choice::none,    true,    Place::elsewhere, Action::move},
    Row{Event::change,  Choice::none,    true,    Place::onTarget,  Action::nothing},
};
// clang-format on

template <typename Value>
bool matches(const std::optional<Value>& wanted, Value value) noexcept {
    return !wanted || *wanted == value;
}

} // namespace

bool OutputDecider::Row::covers(OutputEvent asked, const OutputSituation& situation) const noexcept {
    return event == asked && matches(choice, situation.choice) && matches(hasDefault, situation.hasDefault) &&
           matches(place, situation.place);
}

std::span<const OutputDecider::Row> OutputDecider::table() noexcept {
    return rows;
}

OutputAction OutputDecider::decide(OutputEvent event, const OutputSituation& situation) noexcept {
    const auto found =
        std::ranges::find_if(rows, [&](const Row& row) { return row.covers(event, situation); });
    assert(found != rows.end());
    return found->action;
}

} // namespace keysong
