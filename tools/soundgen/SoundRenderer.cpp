#include "soundgen/SoundRenderer.h"

#include "Shared/Loudness.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <utility>

#include "soundgen/ExactMath.h"
#include "soundgen/Excitation.h"
#include "soundgen/Finish.h"
#include "soundgen/ModalBank.h"

namespace keysong::soundgen {
namespace {

/// What the parts of one hit are gathered in.
struct Hit {
    explicit Hit(const SetDescription& set, std::size_t length) : forces(set.banks.size()), out(length) {}

    Signal& force(std::size_t bank) {
        forces[bank].resize(out.size());
        return forces[bank];
    }

    /// By bank; empty where nothing struck.
    std::vector<Signal> forces;
    Signal out;
};

struct Stray {
    double delayMs;
    double levelDb;
};

Stray strayed(const Play& play, Random& random) {
    const double delay = play.delayMs + play.delayJitterMs * random.stray();
    return {std::max(0.0, delay), play.levelDb + play.levelJitterDb * random.stray()};
}

/// One meeting of the two parts of a strike.
struct Contact {
    double atMs;
    double levelDb;
};

/// All that come of one play of a strike: its repetitions, and the bounces of each.
std::vector<Contact> contactsOf(const Strike& strike, const Stray& stray, Random& random) {
    std::vector<Contact> contacts;
    for (int i = 0; i < strike.repeats; ++i) {
        const double share = strike.repeats > 1 ? static_cast<double>(i) / (strike.repeats - 1) : 0;
        Contact contact{stray.delayMs +
                            (i == 0 ? 0 : strike.spreadMs * (share + 0.3 * random.even() / strike.repeats)),
                        stray.levelDb - strike.fallDb * share + (i == 0 ? 0 : 2 * random.stray())};
        contacts.push_back(contact);
        double speed = 1;
        for (int bounce = 1; bounce < strike.bounces; ++bounce) {
            // The time in the air goes with the speed that is left.
            contact.atMs += strike.firstBounceMs * speed * (1 + 0.2 * random.stray());
            speed *= strike.restitution;
            contacts.push_back({contact.atMs, contact.levelDb + decibelsFromAmplitude(speed)});
        }
    }
    return contacts;
}

void addStrike(Hit& hit, const Strike& strike, const Play& play, Random& random) {
    const Stray stray = strayed(play, random);
    for (const Contact& contact : contactsOf(strike, stray, random)) {
        // A harder blow is a shorter one: contact time goes with the velocity to the power -1/5 (Hertz).
        const double contactMs =
            strike.contactMs * amplitudeFromDecibels((play.levelDb - contact.levelDb) / 5);
        for (const Drive& drive : strike.drives) {
            addContact(hit.force(drive.bank), contact.atMs, contactMs, strike.roughnessDb,
                       amplitudeFromDecibels(contact.levelDb + drive.levelDb), random);
        }
        if (strike.burst) {
            addBurst(hit.out, contact.atMs, *strike.burst, amplitudeFromDecibels(contact.levelDb), random);
        }
    }
}

/// What the board and the sound make of a bank together.
Adjustment adjustmentOf(const SetDescription& set, const Sound& sound, std::size_t bank) {
    Adjustment whole{bank, 1, 1, 0};
    for (const auto* adjustments : {&set.adjustments, &sound.adjustments}) {
        for (const Adjustment& adjustment : *adjustments) {
            if (adjustment.bank == bank) {
                whole.pitch *= adjustment.pitch;
                whole.sustain *= adjustment.sustain;
                whole.levelDb += adjustment.levelDb;
            }
        }
    }
    return whole;
}

/// Scales a sound to its level, strayed by a little.
void setLevel(Signal& signal, const Sound& sound, double levelDb) {
    const double measured = loudness(signal);
    if (!(measured > 0)) {
        throw DescriptionError("the sound " + sound.fileStem() + " is silent");
    }
    const double gain = amplitudeFromDecibels(levelDb) / measured;
    const double allowed = amplitudeFromDecibels(-1);
    const double peak = peakOf(signal) * gain;
    if (peak > allowed) {
        throw DescriptionError("the sound " + sound.fileStem() + " would peak at " + fixedText(peak, 2) +
                               " of full scale, more than " + fixedText(allowed, 2) + ": lower its level");
    }
    for (double& sample : signal) {
        sample *= gain;
    }
}

} // namespace

SoundRenderer::SoundRenderer(const SetDescription& set) : set_(set) {
    for (const Bank& bank : set.banks) {
        modes_.push_back(drawModes(bank, set.seed));
    }
}

Signal SoundRenderer::render(const Sound& sound, int variant) const {
    Random random(set_.seed, sound.fileStem(), static_cast<std::uint64_t>(variant));
    Hit hit(set_, static_cast<std::size_t>(samplesIn(sound.lengthMs)));
    for (const Play& play : sound.strikes) {
        addStrike(hit, set_.strikes[play.which], play, random);
    }
    for (const Play& play : sound.rubs) {
        const Stray stray = strayed(play, random);
        addRub(hit.out, stray.delayMs, set_.rubs[play.which], amplitudeFromDecibels(stray.levelDb), random);
    }
    for (std::size_t bank = 0; bank < set_.banks.size(); ++bank) {
        if (!hit.forces[bank].empty()) {
            ring(modesOfHit(modes_[bank], set_.banks[bank], adjustmentOf(set_, sound, bank), set_.damping,
                            sound.placeOf(variant), random),
                 hit.forces[bank], hit.out);
        }
    }
    addRoom(hit.out, set_.room, set_.seed);
    removeRumble(hit.out);
    trimTail(hit.out);
    setLevel(hit.out, sound, sound.levelDb + sound.levelJitterDb * random.stray());
    return std::move(hit.out);
}

} // namespace keysong::soundgen
