#include "Shared/NumberText.h"

#include <algorithm>
#include <array>
#include <utility>

#include "soundgen/DescriptionKeys.h"

namespace keysong::soundgen {
namespace {

constexpr std::size_t greatestParts = 64;

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
            readKeys(set_, head, 1);
        } else if (kind == "damping") {
            readKeys(set_.damping, head, 1);
        } else if (kind == "room") {
            readKeys(set_.room, head, 1);
        } else if (kind == "bank") {
            readKeys(addNamed(set_.banks, head), head, 2);
        } else if (kind == "strike") {
            readKeys(addNamed(set_.strikes, head), head, 2);
        } else if (kind == "rub") {
            readKeys(addNamed(set_.rubs, head), head, 2);
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
    void readKeys(Part& part, const DescriptionLine& head, std::size_t words) {
        if (head.section.size() != words) {
            failAtLine(head.number, "the section takes no name");
        }
        while (next_ < lines_.size() && lines_[next_].section.empty()) {
            readLine(part, lines_[next_++]);
        }
    }

    template <typename Part>
    void readLine(Part& part, const DescriptionLine& line) {
        LineValues values(line.number, line.key, line.text);
        readKey(part, values, set_);
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
            readLine(sound, line);
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
