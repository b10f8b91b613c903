#include "Hearing.h"

#include <algorithm>

namespace keysong::bench {

namespace {

using std::chrono::nanoseconds;
using Fate = Outcome::Fate;

/// A key just before a fault may have its sound in it.
constexpr std::chrono::milliseconds beforeFault{30};
/// A stall is seen in what was typed this long around it.
constexpr std::chrono::milliseconds aroundStall{100};

} // namespace

std::vector<Outcome> outcomesOf(const std::vector<Typed>& typed, const std::vector<nanoseconds>& begins,
                                std::size_t& extra) {
    std::vector<Outcome> outcomes(typed.size());
    std::vector<nanoseconds> rest;
    for (const nanoseconds begin : begins) {
        const auto next =
            std::upper_bound(typed.begin(), typed.end(), begin,
                             [](nanoseconds time, const Typed& key) { return time < key.before; });
        const auto last = static_cast<std::size_t>(next - typed.begin());
        if (last > 0 && !outcomes[last - 1].begin && begin <= typed[last - 1].after + onTime) {
            outcomes[last - 1] = {Fate::heard, begin};
        } else {
            rest.push_back(begin);
        }
    }
    extra = 0;
    std::size_t key = 0;
    for (const nanoseconds begin : rest) {
        while (key < typed.size() && (outcomes[key].begin || typed[key].after + farTooLate < begin)) {
            ++key;
        }
        if (key < typed.size() && typed[key].before < begin) {
            outcomes[key] = {Fate::late, begin};
        } else {
            ++extra;
        }
    }
    return outcomes;
}

Hearing judge(const std::vector<Typed>& typed, const std::vector<nanoseconds>& begins,
              const std::vector<Fault>& faults, const std::vector<Span>& stalls,
              std::chrono::milliseconds limit) {
    Hearing hearing;
    const auto outcomes = outcomesOf(typed, begins, hearing.extra);
    std::vector<nanoseconds> ends;
    for (const Fault& fault : faults) {
        FaultOutcome outcome;
        outcome.fault = &fault;
        outcome.wasSilent = !hearing.faults.empty() && !hearing.faults.back().back;
        const nanoseconds able = fault.able.value_or(fault.lifted);
        const bool isLast = &fault == &faults.back();
        const nanoseconds next = isLast ? nanoseconds::max() : (&fault + 1)->begin - beforeFault;
        // As long as nothing is heard, the fault goes on.
        nanoseconds end = next;
        for (std::size_t i = 0; i < typed.size() && typed[i].before < next; ++i) {
            if (typed[i].after >= able && outcomes[i].begin) {
                outcome.back = *outcomes[i].begin - able;
                end = std::min(next, std::max(able + limit, typed[i].before));
                break;
            }
        }
        for (const Span& stall : stalls) {
            outcome.stalled +=
                std::max(nanoseconds(0), std::min(stall.end, end) - std::max(stall.begin, able));
        }
        ends.push_back(end);
        hearing.faults.push_back(outcome);
    }
    for (std::size_t i = 0; i < typed.size(); ++i) {
        const nanoseconds time = typed[i].before;
        std::size_t at = 0;
        while (at < faults.size() && (typed[i].after < faults[at].begin - beforeFault || time > ends[at])) {
            ++at;
        }
        const bool isStalled = std::any_of(stalls.begin(), stalls.end(), [&](const Span& stall) {
            return time > stall.begin - aroundStall && time < stall.end + aroundStall;
        });
        const bool isHeard = outcomes[i].fate == Fate::heard;
        if (at < faults.size() && (isHeard || faults[at].mayLose || !isStalled)) {
            hearing.faults[at].count.add(outcomes[i].fate);
        } else if (isStalled && !isHeard) {
            hearing.stalled.add(outcomes[i].fate);
        } else {
            hearing.calm.add(outcomes[i].fate);
            if (outcomes[i].fate == Fate::lost) {
                hearing.lostWhenCalm.push_back(time);
            }
        }
    }
    return hearing;
}

} // namespace keysong::bench
