#include "Shared/NumberText.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "soundgen/Description.h"
#include "soundgen/DescriptionText.h"

namespace keysong::soundgen {
namespace {

constexpr double audibleHz = 20000;
constexpr std::size_t greatestParts = 64;

/// What a key does to the part of the set that its section describes.
template <typename Part>
using KeyTable = std::map<std::string_view, void (*)(Part&, LineValues&, const SetDescription&)>;

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
    if (set.id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") != std::string::npos) {
        values.fail("an identifier is made of small letters, digits and '-'");
    }
}

const KeyTable<SetDescription> setKeys = {
    {"id", [](auto& set, auto& v, auto&) { readIdentifier(set, v); }},
    {"name", [](auto& set, auto& v, auto&) { set.name = v.word(); }},
    {"seed",
     [](auto& set, auto& v, auto&) { set.seed = static_cast<std::uint64_t>(v.whole(0, 2'000'000'000)); }},
    {"gain", [](auto& set, auto& v, auto&) { set.gainDb = v.number("dB", -12, 6); }},
    {"pitch-variation", [](auto& set, auto& v, auto&) { set.pitchVariation = v.number("%", 0, 15) / 100; }},
    {"gain-variation", [](auto& set, auto& v, auto&) { set.gainVariationDb = v.number("dB", 0, 6); }},
};

const KeyTable<Damping> dampingKeys = {
    {"sustain", [](auto& damping, auto& v, auto&) { damping.sustain = v.number("", 0.05, 10); }},
    {"foam", [](auto& damping, auto& v, auto&) { damping.foamHz = frequency(v); }},
};

const KeyTable<Room> roomKeys = {
    {"level", [](auto& room, auto& v, auto&) { room.levelDb = level(v); }},
    {"reflections", [](auto& room, auto& v, auto&) { room.reflections = v.whole(0, 500); }},
    {"length", [](auto& room, auto& v, auto&) { room.lengthMs = v.number("ms", 1, 200); }},
    {"decay", [](auto& room, auto& v, auto&) { room.decayMs = decay(v); }},
    {"low-pass", [](auto& room, auto& v, auto&) { room.lowPassHz = frequency(v); }},
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

const KeyTable<Bank> bankKeys = {
    {"mode", addMode},
    {"cloud", addCloud},
    {"series", addSeries},
    {"frequency-jitter",
     [](auto& bank, auto& v, auto&) { bank.frequencyJitter = v.number("%", 0, 30) / 100; }},
    {"decay-jitter", [](auto& bank, auto& v, auto&) { bank.decayJitter = v.number("%", 0, 50) / 100; }},
    {"level-jitter", [](auto& bank, auto& v, auto&) { bank.levelJitterDb = v.number("dB", 0, 24); }},
};

void addDrive(Strike& strike, LineValues& v, const SetDescription& set) {
    const std::size_t bank = indexOf(set.banks, v, "bank");
    strike.drives.push_back({bank, level(v)});
}

void addBurst(Strike& strike, LineValues& v, const SetDescription&) {
    Burst burst{};
    burst.levelDb = level(v);
    readBand(v, burst.fromHz, burst.toHz);
    burst.attackMs = v.number("ms", 0.05, 20);
    burst.decayMs = decay(v);
    strike.bursts.push_back(burst);
}

void readRepeat(Strike& strike, LineValues& v, const SetDescription&) {
    strike.repeats = v.whole(1, 64);
    strike.spreadMs = v.number("ms", 0, 200);
    strike.fallDb = v.number("dB", 0, 60);
}

const KeyTable<Strike> strikeKeys = {
    {"contact", [](auto& strike, auto& v, auto&) { strike.contactMs = v.number("ms", 0.05, 10); }},
    {"roughness", [](auto& strike, auto& v, auto&) { strike.roughnessDb = level(v); }},
    {"drive", addDrive},
    {"burst", addBurst},
    {"repeat", readRepeat},
};

const KeyTable<Rub> rubKeys = {
    {"level", [](auto& rub, auto& v, auto&) { rub.levelDb = level(v); }},
    {"band", [](auto& rub, auto& v, auto&) { readBand(v, rub.fromHz, rub.toHz); }},
    {"length", [](auto& rub, auto& v, auto&) { rub.lengthMs = v.number("ms", 0.5, 200); }},
    {"grain", [](auto& rub, auto& v, auto&) { rub.grain = v.number("", 0.1, 48); }},
};

/// What, when, how loud, and optionally how far both stray.
Play readPlay(std::size_t which, LineValues& v) {
    Play play{.which = which, .delayMs = v.number("ms", 0, 300), .levelDb = level(v)};
    if (!v.atEnd()) {
        play.delayJitterMs = v.number("ms", 0, 50);
        play.levelJitterDb = v.number("dB", 0, 24);
    }
    return play;
}

void addAdjustment(Sound& sound, LineValues& v, const SetDescription& set) {
    Adjustment adjustment{};
    adjustment.bank = indexOf(set.banks, v, "bank");
    adjustment.pitch = v.number("", 0.1, 10);
    adjustment.sustain = v.number("", 0.05, 10);
    adjustment.levelDb = level(v);
    sound.adjustments.push_back(adjustment);
}

const KeyTable<Sound> soundKeys = {
    {"variants", [](auto& sound, auto& v, auto&) { sound.variants = v.whole(1, 16); }},
    {"level", [](auto& sound, auto& v, auto&) { sound.levelDb = v.number("dB", -80, 0); }},
    {"level-jitter", [](auto& sound, auto& v, auto&) { sound.levelJitterDb = v.number("dB", 0, 6); }},
    {"length", [](auto& sound, auto& v, auto&) { sound.lengthMs = v.number("ms", 20, 350); }},
    {"strike", [](auto& sound, auto& v,
                  auto& set) { sound.strikes.push_back(readPlay(indexOf(set.strikes, v, "strike"), v)); }},
    {"rub",
     [](auto& sound, auto& v, auto& set) { sound.rubs.push_back(readPlay(indexOf(set.rubs, v, "rub"), v)); }},
    {"tune", addAdjustment},
};

constexpr std::array<std::string_view, 11> groupNames = {"main",  "space",      "enter",    "backspace",
                                                         "tab",   "escape",     "modifier", "function",
                                                         "arrow", "navigation", "numpad"};
constexpr std::array<std::string_view, 3> buttonNames = {"left", "right", "other"};

template <std::size_t N>
bool contains(const std::array<std::string_view, N>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// "main down", "key.36 up", "mouse.left down" or "scroll".
SoundTarget readTarget(std::size_t line, std::string_view what, std::string_view direction) {
    SoundTarget target{SoundTarget::Kind::group, std::string(what), std::string(direction)};
    if (what == "scroll" && direction.empty()) {
        return {SoundTarget::Kind::scroll, {}, {}};
    }
    if (direction != "down" && direction != "up") {
        failAtLine(line, "a sound is for '<keys> down', '<keys> up' or 'scroll'");
    }
    if (what.starts_with("key.")) {
        target.kind = SoundTarget::Kind::key;
        target.name = what.substr(4);
        // The shortest form only, so that no key has two names.
        const auto code = parseInteger<std::uint8_t>(target.name);
        if (!code || std::to_string(*code) != target.name) {
            failAtLine(line, "a key is numbered from 0 to 255");
        }
    } else if (what.starts_with("mouse.")) {
        target.kind = SoundTarget::Kind::mouse;
        target.name = what.substr(6);
        if (!contains(buttonNames, target.name)) {
            failAtLine(line, "there is no mouse button '" + target.name + "'");
        }
    } else if (!contains(groupNames, what)) {
        failAtLine(line, "there is no group of keys '" + std::string(what) + "'");
    }
    return target;
}

/// Reads the sections in their order into a set.
class Parser {
  public:
    explicit Parser(std::string_view text) : lines_(splitDescription(text)) {}

    SetDescription parse() {
        while (next_ < lines_.size()) {
            readSection(lines_[next_++]);
        }
        checkWhole();
        return std::move(set_);
    }

  private:
    void readSection(const DescriptionLine& head) {
        if (head.section.empty()) {
            failAtLine(head.number, "a key comes before the first section");
        }
        const std::string_view kind = head.section.front();
        if (kind == "set") {
            readKeys(set_, setKeys, head, 1);
        } else if (kind == "damping") {
            readKeys(set_.damping, dampingKeys, head, 1);
        } else if (kind == "room") {
            readKeys(set_.room, roomKeys, head, 1);
        } else if (kind == "bank") {
            readKeys(addNamed(set_.banks, head), bankKeys, head, 2);
        } else if (kind == "strike") {
            readKeys(addNamed(set_.strikes, head), strikeKeys, head, 2);
        } else if (kind == "rub") {
            readKeys(addNamed(set_.rubs, head), rubKeys, head, 2);
        } else if (kind == "sound") {
            readSound(head);
        } else {
            failAtLine(head.number, "there is no section '" + std::string(kind) + "'");
        }
    }

    template <typename Part>
    Part& addNamed(std::vector<Part>& parts, const DescriptionLine& head) {
        if (head.section.size() != 2) {
            failAtLine(head.number, "the section takes one name");
        }
        const std::string_view name = head.section[1];
        for (const Part& part : parts) {
            if (part.name == name) {
                failAtLine(head.number, "'" + std::string(name) + "' is there already");
            }
        }
        limit(parts.size(), greatestParts, head);
        Part part;
        part.name = name;
        return parts.emplace_back(std::move(part));
    }

    static void limit(std::size_t count, std::size_t greatest, const DescriptionLine& head) {
        if (count >= greatest) {
            failAtLine(head.number, "there are too many sections of this kind");
        }
    }

    template <typename Part>
    void readKeys(Part& part, const KeyTable<Part>& keys, const DescriptionLine& head, std::size_t words) {
        if (head.section.size() != words) {
            failAtLine(head.number, "the section takes no name");
        }
        while (next_ < lines_.size() && lines_[next_].section.empty()) {
            readKey(part, keys, lines_[next_++]);
        }
    }

    template <typename Part>
    void readKey(Part& part, const KeyTable<Part>& keys, const DescriptionLine& line) {
        const auto found = keys.find(line.key);
        if (found == keys.end()) {
            failAtLine(line.number, "there is no key '" + std::string(line.key) + "' in this section");
        }
        LineValues values(line.number, line.key, line.text);
        found->second(part, values, set_);
        values.finish();
    }

    /// "[sound what direction]" or "[sound what direction like what direction]": the second starts as a copy
    /// of a sound above, and its first strike or rub line starts that list anew.
    void readSound(const DescriptionLine& head) {
        const auto& words = head.section;
        const auto like = std::find(words.begin(), words.end(), "like");
        Sound sound;
        if (like != words.end()) {
            sound = soundNamed(head, readTargetWords(head, like + 1, words.end()));
        }
        sound.target = readTargetWords(head, words.begin() + 1, like);
        for (const Sound& other : set_.sounds) {
            if (other.target == sound.target) {
                failAtLine(head.number, "this sound is there already");
            }
        }
        limit(set_.sounds.size(), 4 * greatestParts, head);
        bool ownStrikes = false;
        bool ownRubs = false;
        while (next_ < lines_.size() && lines_[next_].section.empty()) {
            const DescriptionLine& line = lines_[next_++];
            if (line.key == "strike" && !std::exchange(ownStrikes, true)) {
                sound.strikes.clear();
            }
            if (line.key == "rub" && !std::exchange(ownRubs, true)) {
                sound.rubs.clear();
            }
            readKey(sound, soundKeys, line);
        }
        if (sound.strikes.empty() || sound.strikes.size() + sound.rubs.size() > greatestParts) {
            failAtLine(head.number, "a sound has 1 to 64 strikes and rubs, and a strike among them");
        }
        set_.sounds.push_back(std::move(sound));
    }

    using Word = std::vector<std::string_view>::const_iterator;

    static SoundTarget readTargetWords(const DescriptionLine& head, Word begin, Word end) {
        const auto count = end - begin;
        if (count < 1 || count > 2) {
            failAtLine(head.number, "a sound is for '<keys> down', '<keys> up' or 'scroll'");
        }
        return readTarget(head.number, *begin, count == 2 ? *(begin + 1) : std::string_view());
    }

    const Sound& soundNamed(const DescriptionLine& head, const SoundTarget& target) const {
        for (const Sound& sound : set_.sounds) {
            if (sound.target == target) {
                return sound;
            }
        }
        failAtLine(head.number, "the sound that it is like is not above");
    }

    void checkWhole() const {
        if (set_.id.empty() || set_.name.empty()) {
            throw DescriptionError("the section [set] gives no id or no name");
        }
        const SoundTarget mainDown{SoundTarget::Kind::group, "main", "down"};
        if (std::none_of(set_.sounds.begin(), set_.sounds.end(),
                         [&](const Sound& sound) { return sound.target == mainDown; })) {
            throw DescriptionError("there is no section [sound main down]");
        }
    }

    std::vector<DescriptionLine> lines_;
    std::size_t next_ = 0;
    SetDescription set_;
};

} // namespace

std::string Sound::fileStem() const {
    switch (target.kind) {
    case SoundTarget::Kind::scroll:
        return "scroll";
    case SoundTarget::Kind::mouse:
        return "mouse-" + target.name + "-" + target.direction;
    case SoundTarget::Kind::key:
        return "key-" + target.name + "-" + target.direction;
    case SoundTarget::Kind::group:
        break;
    }
    return target.name + "-" + target.direction;
}

SetDescription parseDescription(std::string_view text) {
    return Parser(text).parse();
}

} // namespace keysong::soundgen
