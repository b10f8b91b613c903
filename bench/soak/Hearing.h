#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "Records.h"

namespace keysong::bench {

/// A sound is on time when it begins this soon after its key.
constexpr std::chrono::milliseconds onTime{20};
/// What begins later than this is no sound of that key.
constexpr std::chrono::milliseconds farTooLate{120};

/// What became of a key.
struct Outcome {
    enum class Fate { heard, late, lost };
    Fate fate = Fate::lost;
    /// When its sound began.
    std::optional<std::chrono::nanoseconds> begin;
};

/// What became of each key, by the times alone: a sound is that of the key that came just before it, and what
/// is left over is that of the first key without a sound that may be so late. Both in their order.
[[nodiscard]] std::vector<Outcome> outcomesOf(const std::vector<Typed>& typed,
                                              const std::vector<std::chrono::nanoseconds>& begins,
                                              std::size_t& extra);

/// How often what was asked for was heard.
struct Count {
    std::size_t asked = 0;
    std::size_t late = 0;
    std::size_t lost = 0;
    void add(Outcome::Fate fate) {
        ++asked;
        late += fate == Outcome::Fate::late ? 1 : 0;
        lost += fate == Outcome::Fate::lost ? 1 : 0;
    }
};

/// What became of the sound around one fault.
struct FaultOutcome {
    const Fault* fault = nullptr;
    Count count;
    /// From the moment that the server was able to the first sound; nothing when none came.
    std::optional<std::chrono::nanoseconds> back;
    /// Whether it was silent since an earlier fault already: then nothing can be said of this one.
    bool wasSilent = false;
    /// For how long the machine stood still meanwhile.
    std::chrono::nanoseconds stalled{};
};

/// All that was typed, sorted by what went on at the time.
struct Hearing {
    Count calm;
    Count stalled;
    std::vector<FaultOutcome> faults;
    /// The keys without a sound while all was well.
    std::vector<std::chrono::nanoseconds> lostWhenCalm;
    /// Sounds that nobody asked for.
    std::size_t extra = 0;
};

/// `limit` is how soon after the server's being able the sound has to be back.
[[nodiscard]] Hearing judge(const std::vector<Typed>& typed,
                            const std::vector<std::chrono::nanoseconds>& begins,
                            const std::vector<Fault>& faults, const std::vector<Span>& stalls,
                            std::chrono::milliseconds limit);

} // namespace keysong::bench
