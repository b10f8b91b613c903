#include "soundgen/SoundRenderer.h"

#include "Shared/Loudness.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <cmath>

#include "soundgen/Contacts.h"
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

void addContact(Hit& hit, const Strike& strike, const Contact& contact, Random& random) {
    const double contactMs = contactMsAt(strike, contact.speedDb);
    const double amplitude = amplitudeFromDecibels(contact.levelDb);
    for (const Drive& drive : strike.drives) {
        addContact(hit.force(drive.bank), contact.atMs, contactMs, strike.roughnessDb,
                   amplitude * amplitudeFromDecibels(drive.levelDb), random);
    }
    if (strike.burst) {
        addBurst(hit.out, contact.atMs, *strike.burst, amplitude, random);
    }
    if (strike.air) {
        // More points of two surfaces meet the faster they do.
        addAir(hit.out, contact.atMs, *strike.air, contactMs,
               amplitude * amplitudeFromDecibels(contact.speedDb / 2), random);
    }
}

void addSlide(Hit& hit, const Rub& rub, const Play& play, double strengthDb, Random& random) {
    const double atMs = std::max(0.0, play.delayMs + play.delayJitterMs * random.stray());
    const double levelDb = play.levelDb + strengthDb + play.levelJitterDb * random.stray();
    addRub(hit.out, atMs, rub, amplitudeFromDecibels(levelDb), random);
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

/// Scales all hits of a sound alike so that their mean energy has its level.
void setLevel(std::vector<Signal>& hits, const Sound& sound) {
    double energy = 0;
    double peak = 0;
    for (const Signal& hit : hits) {
        const double level = loudness(hit);
        energy += level * level / static_cast<double>(hits.size());
        peak = std::max(peak, peakOf(hit));
    }
    if (!(energy > 0)) {
        throw DescriptionError("the sound " + sound.fileStem() + " is silent");
    }
    const double gain = amplitudeFromDecibels(sound.levelDb) / std::sqrt(energy);
    const double allowed = amplitudeFromDecibels(-1);
    if (peak * gain > allowed) {
        throw DescriptionError("the sound " + sound.fileStem() + " would peak at " +
                               fixedText(peak * gain, 2) + " of full scale, more than " +
                               fixedText(allowed, 2) + ": lower its level");
    }
    for (Signal& hit : hits) {
        for (double& sample : hit) {
            sample *= gain;
        }
    }
}

/// A hand does not strike beyond twice the deviation.
double strengthOf(const Sound& sound, Random& random) {
    return sound.strengthDb * std::clamp(random.gaussian(), -2.0, 2.0);
}

} // namespace

SoundRenderer::SoundRenderer(const SetDescription& set)
    : set_(set), colour_(set.colouring, set.seed), room_(set.room, set.seed) {
    for (const Bank& bank : set.banks) {
        modes_.push_back(drawModes(bank, set.seed));
    }
}

Signal SoundRenderer::hit(const Sound& sound, int variant) {
    Random random(set_.seed, sound.fileStem(), static_cast<std::uint64_t>(variant));
    Hit hit(set_, static_cast<std::size_t>(samplesIn(sound.lengthMs)));
    const double strengthDb = strengthOf(sound, random);
    for (const Contact& contact : contactsOf(set_, sound, strengthDb, random)) {
        addContact(hit, set_.strikes[contact.strike], contact, random);
    }
    for (const Play& play : sound.rubs) {
        addSlide(hit, set_.rubs[play.which], play, strengthDb, random);
    }
    const Place place = sound.placeOf(variant);
    for (std::size_t bank = 0; bank < set_.banks.size(); ++bank) {
        if (!hit.forces[bank].empty()) {
            ring(modesOfHit(modes_[bank], set_.banks[bank], adjustmentOf(set_, sound, bank), set_.damping,
                            place, random),
                 hit.forces[bank], hit.out);
        }
    }
    removeRumble(hit.out);
    colour_.apply(hit.out, place, random);
    trimTail(hit.out, 90);
    // Apart, so that a board sounds the same in every room.
    Random walls(set_.seed, "room " + sound.fileStem(), static_cast<std::uint64_t>(variant));
    Signal heard = convolver_.convolve(hit.out, room_.at(place, walls),
                                       static_cast<std::size_t>(samplesIn(sound.lengthMs)));
    trimTail(heard, 66);
    return heard;
}

std::vector<Signal> SoundRenderer::render(const Sound& sound) {
    std::vector<Signal> hits;
    for (int variant = 0; variant < sound.variants; ++variant) {
        hits.push_back(hit(sound, variant));
    }
    setLevel(hits, sound);
    return hits;
}

} // namespace keysong::soundgen
