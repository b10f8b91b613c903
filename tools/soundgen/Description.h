#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace keysong::soundgen {

/// A description that cannot be used. `what()` is "line N: what is wrong", "PART, line N: what is wrong"
/// within a part that it includes, and without a line where no one line is at fault.
class DescriptionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One resonance of a part: how it rings when struck by a unit impulse.
struct Mode {
    double frequencyHz;
    /// Time to fall by 60 dB.
    double decayMs;
    double levelDb;
    /// 1 or -1: which way the part moves where it is struck, against where it is heard.
    double polarity = 1;
    /// Its shape over the board: how many waves it has from left to right and from back to front, and where
    /// they begin (a fraction of one).
    double wavesAcross = 0, wavesDown = 0, wavePhase = 0;
};

/// Many resonances too dense to name, evenly strewn over the octaves from one frequency to another; decay and
/// level go straight from the first value to the second.
struct Cloud {
    int count;
    double fromHz, toHz;
    double decayFromMs, decayToMs;
    double levelFromDb, levelToDb;
};

/// The partials of a coil or a bar: partial n lies at base * n ^ stretch and each is `fallDb` weaker than the
/// one before.
struct Series {
    int count;
    double baseHz;
    double stretch;
    double decayMs;
    double levelDb;
    double fallDb;
};

/// One part of the board that rings: case, plate, keycap, spring, click bar.
struct Bank {
    std::string name;
    std::vector<Mode> modes;
    std::vector<Cloud> clouds;
    std::vector<Series> series;
    /// How far each resonance strays from hit to hit: fractions of frequency and decay, and decibels.
    double frequencyJitter = 0.01;
    double decayJitter = 0.05;
    double levelJitterDb = 1;
    /// How much louder a resonance is where its shape swings most, and softer where it rests.
    double shapeDb = 0;
};

/// How strongly a strike drives a bank.
struct Drive {
    std::size_t bank;
    double levelDb;
};

/// Noise of a band that a contact sets free: a spring's snap, a dome's fold.
struct Burst {
    double levelDb;
    double fromHz, toHz;
    double attackMs;
    /// Time to fall by 60 dB after the attack.
    double decayMs;
};

/// Noise that the points of two rough surfaces radiate as they meet. How high it reaches follows from the
/// length of the contact.
struct Air {
    double levelDb;
    /// Time to fall by 60 dB.
    double decayMs;
};

/// Smaller contacts that a strike brings about by chance: the housing in its plate, the cap on its stem.
struct Follow {
    std::size_t strike;
    /// How many there are on average, at nominal speed; a harder blow brings about more.
    double mean;
    /// When they come after the strike: as often from 2 to 4 ms as from 4 to 8 ms.
    double fromMs, toMs;
    /// Of the earliest; the latest are 6 dB weaker.
    double levelDb;
    double levelJitterDb;
};

/// A light part that bounces: it is in the air for a time that goes with the speed it has left.
struct Rebound {
    /// Time in the air after a first blow of nominal speed: twice mass times speed left over force.
    double firstMs = 0;
    /// Share of the speed that a blow leaves; 0 when it does not bounce.
    double restitution = 0;
};

/// Two parts meeting: a push of the length of the contact, rough with noise, into some banks.
struct Strike {
    std::string name;
    /// Length of the contact at nominal speed: long is soft and dark.
    double contactMs = 0.5;
    /// Noise in the push, against the push.
    double roughnessDb = -12;
    std::vector<Drive> drives;
    std::optional<Burst> burst;
    std::optional<Air> air;
    /// More than one for a rattle: the later ones are strewn over `spreadMs`, the last `fallDb` weaker.
    int repeats = 1;
    double spreadMs = 0;
    double fallDb = 0;
    /// The repetitions are teeth that pass under a pawl while what bears them starts, runs and stops.
    bool runs = false;
    Rebound rebound;
    std::vector<Follow> follows;
};

/// Something sliding: noise in a band that swells and dies away, in grains.
struct Rub {
    std::string name;
    double levelDb = -40;
    double fromHz = 1500, toHz = 6000;
    double lengthMs = 20;
    /// Slips per millisecond; few crackle, many hiss.
    double grain = 4;
};

/// A strike or a rub within a sound.
struct Play {
    std::size_t which;
    double delayMs = 0;
    /// Way of the key since the first contact; at nominal speed it takes the key's speed to pass.
    double wayMm = 0;
    double levelDb = 0;
    /// How far delay and level stray from hit to hit.
    double delayJitterMs = 0;
    double levelJitterDb = 0;
};

/// How one sound's part differs from its bank: a space bar is a longer keycap.
struct Adjustment {
    std::size_t bank;
    double pitch;
    double sustain;
    double levelDb;
};

/// Where on the board something is struck: fractions of its width from the left and of its depth from the
/// back.
struct Place {
    double across = 0.5;
    double down = 0.5;
};

/// A row of main keys. The sounds of `main` are made once for every row, their hits strewn over it.
struct Row {
    std::string name;
    /// From left to right.
    std::vector<int> keys;
    /// `Place::down` of the row.
    double down = 0.5;
    std::vector<Adjustment> adjustments;
};

/// What a sound is for, as the manifest sorts them.
struct SoundTarget {
    enum class Kind { group, row, key, mouse, scroll };
    Kind kind = Kind::group;
    /// Group, row, key code or button as the manifest writes it; empty for the scroll wheel.
    std::string name;
    /// "down", "up", or empty for the scroll wheel.
    std::string direction;

    friend bool operator==(const SoundTarget&, const SoundTarget&) = default;
};

struct Sound {
    SoundTarget target;
    int variants = 4;
    /// K-weighted level against full scale, as if all energy of the sound lay within 50 ms.
    /// The mean of the variants' energies has it; the variants differ as they were struck.
    double levelDb = -20;
    /// How far the speed of a hit strays: standard deviation.
    double strengthDb = 1.5;
    /// The longest that a file may be; a sound that has died away earlier ends earlier.
    double lengthMs = 250;
    std::vector<Play> strikes;
    std::vector<Play> rubs;
    std::vector<Adjustment> adjustments;
    Place place;
    /// How many hits, those nearest to it, a key of a row is given; all when 0.
    int near = 0;

    /// Where a variant (from 0) strikes: the hits of a row are strewn over it from left to right.
    [[nodiscard]] Place placeOf(int variant) const noexcept;
    /// Name of its files without number and extension: "main-down", "main-home-down", "mouse-left-up",
    /// "scroll".
    [[nodiscard]] std::string fileStem() const;
};

/// What the board is filled and mounted with.
struct Damping {
    /// Factor on every decay time.
    double sustain = 1;
    /// Resonances above this are damped more and more.
    double foamHz = 20000;
};

/// How fast a finger moves a key, going down and letting it up.
struct Stroke {
    double pressMmPerS = 250;
    double returnMmPerS = 250;
};

/// The room around the keyboard, a cube that is furnished as most are.
struct Room {
    /// Length of an edge; 0 for no room at all.
    double sizeM = 0;
    /// Share of the sound that walls and furniture swallow at 177 Hz and at 11.3 kHz.
    double absorptionLow = 0.3, absorptionHigh = 0.5;
    /// From the key to the ear or the microphone: the farther, the more of the room is heard.
    double distanceM = 0.25;
};

/// How the keys of a board differ in colour, as standard deviations in an octave: one key from another by its
/// place, and one hit of a key from another.
struct Colouring {
    double keyDb = 0;
    double hitDb = 0;
};

/// A whole set as its description gives it.
struct SetDescription {
    std::string id;
    std::string name;
    std::uint64_t seed = 0;
    double gainDb = 0;
    double pitchVariation = 0.02;
    double gainVariationDb = 1;
    Damping damping;
    Stroke stroke;
    Room room;
    Colouring colouring;
    /// The board's tuning: how the parts of this set differ from those that it shares.
    std::vector<Adjustment> adjustments;
    std::vector<Bank> banks;
    std::vector<Strike> strikes;
    std::vector<Rub> rubs;
    std::vector<Row> rows;
    /// Where there are rows, those of `main` are of the kind `row`.
    std::vector<Sound> sounds;
};

/// Gives the text of the part of this name, or nothing when it cannot be read. The name is a relative path
/// without
/// "..".
using PartReader = std::function<std::optional<std::string>(std::string_view name)>;

/// Reads a description and the parts that it includes. Sections and keys are listed in docs/sounds.md. Throws
/// `DescriptionError`. Any thread.
[[nodiscard]] SetDescription parseDescription(std::string_view text, const PartReader& readPart = {});

} // namespace keysong::soundgen
