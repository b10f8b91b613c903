#pragma once

#include <cstddef>
#include <vector>

#include "soundgen/Description.h"
#include "soundgen/Random.h"

namespace keysong::soundgen {

/// One meeting of the two parts of a strike.
struct Contact {
    /// In the set.
    std::size_t strike;
    /// After the hit's first.
    double atMs;
    double levelDb;
    /// How much faster than nominal the parts meet.
    double speedDb;
};

/// All contacts of one hit, in no order, the first of the first strike at 0: those that the sound names, as
/// late as the key needs for its way, and what each brings about: repetitions, followers, and bounces until
/// they lie 26 dB below the blow. `strengthDb` is how much faster than nominal the key moves. Any thread.
[[nodiscard]] std::vector<Contact> contactsOf(const SetDescription& set, const Sound& sound,
                                              double strengthDb, Random& random);

/// No hit of the sound has more contacts than this. Any thread.
[[nodiscard]] int mostContacts(const SetDescription& set, const Sound& sound);

/// The length of a contact between parts that meet faster than nominal: with the speed to the power -1/5
/// (Hertz).
[[nodiscard]] double contactMsAt(const Strike& strike, double speedDb) noexcept;

} // namespace keysong::soundgen
