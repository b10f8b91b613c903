#include "soundgen/DescriptionKeys.h"

#include <algorithm>
#include <map>

namespace keysong::soundgen {
namespace {

constexpr double audibleHz = 20000;
constexpr std::size_t greatestAdjustments = 256;
constexpr std::size_t greatestFollowers = 4;

/// What a key does to the part of the set that its section describes.
template <typename Part>
using KeyTable = std::map<std::string_view, void (*)(Part&, LineValues&, const SetDescription&)>;

/// The keys of each kind of section.
template <typename Part>
const KeyTable<Part> keysOf;

template <typename Part>
std::size_t indexOf(const std::vector<Part>& parts, LineValues& values, std::string_view kind) {
    const std::string_view name = values.word();
    const auto found =
        std::find_if(parts.begin(), parts.end(), [&](const Part& part) { return part.name == name; });
    if (found == parts.end()) {
        values.fail("there is no " + std::string(kind) + " named '" + std::string(name) + "' above");
    }
    return static_cast<std::size_t>(found - parts.begin());
}

double frequency(LineValues& values) {
    return values.number("Hz", 20, audibleHz);
}

double level(LineValues& values) {
    return values.number("dB", -120, 24);
}

double decay(LineValues& values) {
    return values.number("ms", 0.1, 1000);
}

void readBand(LineValues& values, double& from, double& to) {
    from = frequency(values);
    to = frequency(values);
    if (to <= from) {
        values.fail("the second frequency is not above the first");
    }
}

void readIdentifier(SetDescription& set, LineValues& values) {
    set.id = values.word();
    if (!isIdentifier(set.id)) {
        values.fail("an identifier is made of small letters, digits and '-'");
    }
}

template <>
const KeyTable<SetDescription> keysOf<SetDescription> = {
    {"id", [](auto& set, auto& v, auto&) { readIdentifier(set, v); }},
    {"name", [](auto& set, auto& v, auto&) { set.name = v.word(); }},
    {"seed",
     [](auto& set, auto& v, auto&) { set.seed = static_cast<std::uint64_t>(v.whole(0, 2'000'000'000)); }},
    {"gain", [](auto& set, auto& v, auto&) { set.gainDb = v.number("dB", -12, 6); }},
    {"pitch-variation", [](auto& set, auto& v, auto&) { set.pitchVariation = v.number("%", 0, 15) / 100; }},
    {"gain-variation", [](auto& set, auto& v, auto&) { set.gainVariationDb = v.number("dB", 0, 6); }},
};

template <>
const KeyTable<Damping> keysOf<Damping> = {
    {"sustain", [](auto& damping, auto& v, auto&) { damping.sustain = v.number("", 0.05, 10); }},
    {"foam", [](auto& damping, auto& v, auto&) { damping.foamHz = frequency(v); }},
};

template <>
const KeyTable<Stroke> keysOf<Stroke> = {
    {"press", [](auto& stroke, auto& v, auto&) { stroke.pressMmPerS = v.number("mm/s", 20, 5000); }},
    {"return", [](auto& stroke, auto& v, auto&) { stroke.returnMmPerS = v.number("mm/s", 20, 5000); }},
};

void readAbsorption(Room& room, LineValues& v, const SetDescription&) {
    room.absorptionLow = v.number("%", 5, 95) / 100;
    room.absorptionHigh = v.number("%", 5, 95) / 100;
}

template <>
const KeyTable<Room> keysOf<Room> = {
    {"size", [](auto& room, auto& v, auto&) { room.sizeM = v.number("m", 0, 10); }},
    {"absorption", readAbsorption},
    {"distance", [](auto& room, auto& v, auto&) { room.distanceM = v.number("cm", 1, 300) / 100; }},
};

void addMode(Bank& bank, LineValues& v, const SetDescription&) {
    Mode mode{};
    mode.frequencyHz = frequency(v);
    mode.decayMs = decay(v);
    mode.levelDb = level(v);
    bank.modes.push_back(mode);
}

void addCloud(Bank& bank, LineValues& v, const SetDescription&) {
    Cloud cloud{};
    cloud.count = v.whole(1, 200);
    readBand(v, cloud.fromHz, cloud.toHz);
    cloud.decayFromMs = decay(v);
    cloud.decayToMs = decay(v);
    cloud.levelFromDb = level(v);
    cloud.levelToDb = level(v);
    bank.clouds.push_back(cloud);
}

void addSeries(Bank& bank, LineValues& v, const SetDescription&) {
    Series series{};
    series.count = v.whole(1, 64);
    series.baseHz = frequency(v);
    series.stretch = v.number("", 0.5, 3);
    series.decayMs = decay(v);
    series.levelDb = level(v);
    series.fallDb = v.number("dB", 0, 60);
    bank.series.push_back(series);
}

template <>
const KeyTable<Bank> keysOf<Bank> = {
    {"mode", addMode},
    {"cloud", addCloud},
    {"series", addSeries},
    {"frequency-jitter",
     [](auto& bank, auto& v, auto&) { bank.frequencyJitter = v.number("%", 0, 30) / 100; }},
    {"decay-jitter", [](auto& bank, auto& v, auto&) { bank.decayJitter = v.number("%", 0, 50) / 100; }},
    {"level-jitter", [](auto& bank, auto& v, auto&) { bank.levelJitterDb = v.number("dB", 0, 24); }},
    {"shape", [](auto& bank, auto& v, auto&) { bank.shapeDb = v.number("dB", 0, 12); }},
};

void addDrive(Strike& strike, LineValues& v, const SetDescription& set) {
    const std::size_t bank = indexOf(set.banks, v, "bank");
    const Drive drive{bank, level(v)};
    const auto same = std::find_if(strike.drives.begin(), strike.drives.end(),
                                   [&](const Drive& other) { return other.bank == bank; });
    if (same != strike.drives.end()) {
        *same = drive;
    } else {
        strike.drives.push_back(drive);
    }
}

void addBurst(Strike& strike, LineValues& v, const SetDescription&) {
    Burst burst{};
    burst.levelDb = level(v);
    readBand(v, burst.fromHz, burst.toHz);
    burst.attackMs = v.number("ms", 0.05, 20);
    burst.decayMs = decay(v);
    strike.burst = burst;
}

void readRepeat(Strike& strike, LineValues& v, const SetDescription&) {
    strike.repeats = v.whole(1, 64);
    strike.spreadMs = v.number("ms", 0, 200);
    strike.fallDb = v.number("dB", 0, 60);
}

void readRun(Strike& strike, LineValues& v, const SetDescription&) {
    strike.repeats = v.whole(2, 64);
    strike.spreadMs = v.number("ms", 10, 600);
    strike.runs = true;
}

void readRebound(Strike& strike, LineValues& v, const SetDescription&) {
    strike.rebound.firstMs = v.number("ms", 0.1, 50);
    strike.rebound.restitution = v.number("", 0, 0.9);
}

void addFollow(Strike& strike, LineValues& v, const SetDescription& set) {
    Follow follow{};
    follow.mean = v.number("", 0, 8);
    follow.strike = indexOf(set.strikes, v, "strike");
    const Strike& other = set.strikes[follow.strike];
    if (&other == &strike || !other.follows.empty() || other.repeats > 1) {
        v.fail("what follows has no repetitions and no followers");
    }
    follow.fromMs = v.number("ms", 0.2, 100);
    follow.toMs = v.number("ms", 0.2, 200);
    if (follow.toMs <= follow.fromMs) {
        v.fail("the second time is not after the first");
    }
    follow.levelDb = level(v);
    follow.levelJitterDb = v.number("dB", 0, 24);
    const auto same = std::find_if(strike.follows.begin(), strike.follows.end(),
                                   [&](const Follow& known) { return known.strike == follow.strike; });
    if (same != strike.follows.end()) {
        *same = follow;
    } else if (strike.follows.size() < greatestFollowers) {
        strike.follows.push_back(follow);
    } else {
        v.fail("there are too many");
    }
}

void readAir(Strike& strike, LineValues& v, const SetDescription&) {
    const double levelDb = level(v);
    strike.air = Air{levelDb, v.number("ms", 0.1, 20)};
}

template <>
const KeyTable<Strike> keysOf<Strike> = {
    {"contact", [](auto& strike, auto& v, auto&) { strike.contactMs = v.number("ms", 0.05, 10); }},
    {"roughness", [](auto& strike, auto& v, auto&) { strike.roughnessDb = level(v); }},
    {"drive", addDrive},
    {"burst", addBurst},
    {"air", readAir},
    {"repeat", readRepeat},
    {"run", readRun},
    {"rebound", readRebound},
    {"follow", addFollow},
};

template <>
const KeyTable<Rub> keysOf<Rub> = {
    {"level", [](auto& rub, auto& v, auto&) { rub.levelDb = level(v); }},
    {"band", [](auto& rub, auto& v, auto&) { readBand(v, rub.fromHz, rub.toHz); }},
    {"length", [](auto& rub, auto& v, auto&) { rub.lengthMs = v.number("ms", 0.5, 200); }},
    {"grain", [](auto& rub, auto& v, auto&) { rub.grain = v.number("", 0.1, 48); }},
};

/// What, when (a time or a way of the key), how loud, and optionally how far both stray.
Play readPlay(std::size_t which, LineValues& v) {
    Play play{.which = which};
    if (v.nextEndsWith("mm")) {
        play.wayMm = v.number("mm", 0, 10);
    } else {
        play.delayMs = v.number("ms", 0, 600);
    }
    play.levelDb = level(v);
    if (!v.atEnd()) {
        play.delayJitterMs = v.number("ms", 0, 50);
        play.levelJitterDb = v.number("dB", 0, 24);
    }
    return play;
}

/// For whatever is tuned: the board, a row, a sound.
template <typename Part>
void addAdjustment(Part& part, LineValues& v, const SetDescription& set) {
    Adjustment adjustment{};
    adjustment.bank = indexOf(set.banks, v, "bank");
    adjustment.pitch = v.number("", 0.1, 10);
    adjustment.sustain = v.number("", 0.05, 10);
    adjustment.levelDb = level(v);
    if (part.adjustments.size() == greatestAdjustments) {
        v.fail("there are too many");
    }
    part.adjustments.push_back(adjustment);
}

void readColouring(Board& board, LineValues& v, const SetDescription&) {
    board.set.colouring.keyDb = v.number("dB", 0, 6);
    board.set.colouring.hitDb = v.number("dB", 0, 6);
}

template <>
const KeyTable<Board> keysOf<Board> = {
    {"colour", readColouring},
    {"tune", [](auto& board, auto& v, auto& set) { addAdjustment(board.set, v, set); }},
};

void readRowKeys(Row& row, LineValues& v, const SetDescription& set) {
    row.keys.clear();
    while (!v.atEnd()) {
        const int key = v.whole(0, 255);
        // The row itself is among the set's.
        if (std::any_of(set.rows.begin(), set.rows.end(), [key](const Row& other) {
                return std::find(other.keys.begin(), other.keys.end(), key) != other.keys.end();
            })) {
            v.fail("the key " + std::to_string(key) + " is in a row already");
        }
        row.keys.push_back(key);
    }
}

template <>
const KeyTable<Row> keysOf<Row> = {
    {"keys", readRowKeys},
    {"place", [](auto& row, auto& v, auto&) { row.down = v.number("", 0, 1); }},
    {"tune", addAdjustment<Row>},
};

void addStrikePlay(Sound& sound, LineValues& v, const SetDescription& set) {
    sound.strikes.push_back(readPlay(indexOf(set.strikes, v, "strike"), v));
}

void readPlace(Sound& sound, LineValues& v, const SetDescription&) {
    sound.place.across = v.number("", 0, 1);
    sound.place.down = v.number("", 0, 1);
}

template <>
const KeyTable<Sound> keysOf<Sound> = {
    {"variants", [](auto& sound, auto& v, auto&) { sound.variants = v.whole(1, 16); }},
    {"level", [](auto& sound, auto& v, auto&) { sound.levelDb = v.number("dB", -80, 0); }},
    {"strength", [](auto& sound, auto& v, auto&) { sound.strengthDb = v.number("dB", 0, 6); }},
    {"length", [](auto& sound, auto& v, auto&) { sound.lengthMs = v.number("ms", 20, 900); }},
    {"louder", [](auto& sound, auto& v, auto&) { sound.levelDb += v.number("dB", -20, 20); }},
    {"strike", addStrikePlay},
    {"also", addStrikePlay},
    {"rub",
     [](auto& sound, auto& v, auto& set) { sound.rubs.push_back(readPlay(indexOf(set.rubs, v, "rub"), v)); }},
    {"tune", addAdjustment<Sound>},
    {"place", readPlace},
    {"near", [](auto& sound, auto& v, auto&) { sound.near = v.whole(0, 16); }},
};

} // namespace

template <typename Part>
void readKey(Part& part, LineValues& values, const SetDescription& set) {
    const auto found = keysOf<Part>.find(values.key());
    if (found == keysOf<Part>.end()) {
        failAtLine(values.place(), "there is no key '" + std::string(values.key()) + "' in this section");
    }
    found->second(part, values, set);
    values.finish();
}

template void readKey(SetDescription&, LineValues&, const SetDescription&);
template void readKey(Damping&, LineValues&, const SetDescription&);
template void readKey(Stroke&, LineValues&, const SetDescription&);
template void readKey(Room&, LineValues&, const SetDescription&);
template void readKey(Board&, LineValues&, const SetDescription&);
template void readKey(Row&, LineValues&, const SetDescription&);
template void readKey(Bank&, LineValues&, const SetDescription&);
template void readKey(Strike&, LineValues&, const SetDescription&);
template void readKey(Rub&, LineValues&, const SetDescription&);
template void readKey(Sound&, LineValues&, const SetDescription&);

} // namespace keysong::soundgen
