#include "soundgen/Contacts.h"

#include <algorithm>
#include <utility>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {
namespace {

/// Weaker bounces are not heard.
constexpr double bounceRangeDb = 26;
constexpr int greatestBounces = 16;

int mostFollowers(const Follow& follow) {
    return static_cast<int>(3 * follow.mean) + 4;
}

/// How often something happens by chance that happens `mean` times on average (Poisson).
int countByChance(double mean, int greatest, Random& random) {
    const double least = exactExponential(-mean);
    int count = 0;
    for (double product = random.unit(); product > least && count < greatest; product *= random.unit()) {
        ++count;
    }
    return count;
}

/// When, as a share of the whole run, what starts, runs and stops has come this share of its way.
double timeOfWay(double way) {
    double early = 0;
    double late = 1;
    for (int i = 0; i < 40; ++i) {
        const double middle = (early + late) / 2;
        (smoothStep(middle) < way ? early : late) = middle;
    }
    return early;
}

/// Makes the contacts of one hit.
class Chain {
  public:
    Chain(const SetDescription& set, Random& random) : set_(set), random_(random) {}

    void strike(std::size_t which, double atMs, double levelDb, double speedDb) {
        const Strike& strike = set_.strikes[which];
        for (int i = 0; i < strike.repeats; ++i) {
            Contact contact{which, atMs, levelDb, speedDb};
            if (i > 0) {
                place(contact, strike, static_cast<double>(i) / (strike.repeats - 1));
            }
            bounce(contact, strike.rebound);
        }
        for (const Follow& follow : strike.follows) {
            const int most = mostFollowers(follow);
            const int count = countByChance(follow.mean * amplitudeFromDecibels(speedDb), most, random_);
            for (int i = 0; i < count; ++i) {
                const double share = random_.unit();
                const double strayDb = follow.levelJitterDb * random_.stray();
                bounce({follow.strike, atMs + follow.fromMs * exactPower(follow.toMs / follow.fromMs, share),
                        levelDb + follow.levelDb - 6 * share + strayDb, speedDb + strayDb},
                       set_.strikes[follow.strike].rebound);
            }
        }
    }

    [[nodiscard]] std::vector<Contact> take() { return std::move(contacts_); }

  private:
    /// A repetition that comes after this share of all.
    void place(Contact& contact, const Strike& strike, double share) {
        const double uneven = 0.3 * random_.even() / strike.repeats;
        double changeDb = 2 * random_.stray() - strike.fallDb * share;
        if (strike.runs) {
            const double time = timeOfWay(share);
            contact.atMs += strike.spreadMs * (time + 0.2 * uneven);
            // A tooth strikes as fast as what bears it moves.
            changeDb += decibelsFromAmplitude(std::max(0.25, exactSine(pi * time)));
        } else {
            contact.atMs += strike.spreadMs * (share + uneven);
        }
        contact.levelDb += changeDb;
        contact.speedDb += changeDb;
    }

    void bounce(Contact contact, const Rebound& rebound) {
        contacts_.push_back(contact);
        double speed = 1;
        const double firstMs = rebound.firstMs * amplitudeFromDecibels(contact.speedDb);
        const double blowDb = contact.levelDb;
        const double blowSpeedDb = contact.speedDb;
        for (int i = 1; i < greatestBounces && rebound.restitution > 0; ++i) {
            contact.atMs += firstMs * speed * (1 + 0.2 * random_.stray());
            // No two places of a part give alike.
            speed *= rebound.restitution * (1 + 0.25 * random_.stray());
            const double leftDb = decibelsFromAmplitude(speed);
            if (leftDb < -bounceRangeDb) {
                return;
            }
            contact.levelDb = blowDb + leftDb;
            contact.speedDb = blowSpeedDb + leftDb;
            contacts_.push_back(contact);
        }
    }

    const SetDescription& set_;
    Random& random_;
    std::vector<Contact> contacts_;
};

int bouncesOf(const Strike& strike) {
    return strike.rebound.restitution > 0 ? greatestBounces : 1;
}

} // namespace

std::vector<Contact> contactsOf(const SetDescription& set, const Sound& sound, double strengthDb,
                                Random& random) {
    const double nominal = sound.target.direction == "up" ? set.stroke.returnMmPerS : set.stroke.pressMmPerS;
    const double msPerMm = 1000 / (nominal * amplitudeFromDecibels(strengthDb));
    Chain chain(set, random);
    for (const Play& play : sound.strikes) {
        const double atMs = play.delayMs + play.wayMm * msPerMm + play.delayJitterMs * random.stray();
        const double speedDb = strengthDb + play.levelJitterDb * random.stray();
        chain.strike(play.which, std::max(0.0, atMs), play.levelDb + speedDb, speedDb);
    }
    return chain.take();
}

int mostContacts(const SetDescription& set, const Sound& sound) {
    int most = 0;
    for (const Play& play : sound.strikes) {
        const Strike& strike = set.strikes[play.which];
        most += strike.repeats * bouncesOf(strike);
        for (const Follow& follow : strike.follows) {
            most += mostFollowers(follow) * bouncesOf(set.strikes[follow.strike]);
        }
    }
    return most;
}

double contactMsAt(const Strike& strike, double speedDb) noexcept {
    return strike.contactMs * amplitudeFromDecibels(-speedDb / 5);
}

} // namespace keysong::soundgen
