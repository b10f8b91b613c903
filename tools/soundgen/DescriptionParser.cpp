#include "Shared/NumberText.h"

#include <algorithm>
#include <array>
#include <utility>

#include "soundgen/Contacts.h"
#include "soundgen/DescriptionKeys.h"
#include "soundgen/DescriptionParts.h"
#include "soundgen/Rows.h"

namespace keysong::soundgen {
namespace {

constexpr std::size_t greatestParts = 64;
constexpr int greatestContacts = 512;

constexpr std::array<std::string_view, 11> groupNames = {"main",  "space",      "enter",    "backspace",
                                                         "tab",   "escape",     "modifier", "function",
                                                         "arrow", "navigation", "numpad"};
constexpr std::array<std::string_view, 3> buttonNames = {"left", "right", "other"};

template <std::size_t N>
bool contains(const std::array<std::string_view, N>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// "main down", "key.36 up", "mouse.left down" or "scroll".
SoundTarget readTarget(const LinePlace& place, std::string_view what, std::string_view direction) {
    SoundTarget target{SoundTarget::Kind::group, std::string(what), std::string(direction)};
    if (what == "scroll" && direction.empty()) {
        return {SoundTarget::Kind::scroll, {}, {}};
    }
    if (direction != "down" && direction != "up") {
        failAtLine(place, "a sound is for '<keys> down', '<keys> up' or 'scroll'");
    }
    if (what.starts_with("key.")) {
        target.kind = SoundTarget::Kind::key;
        target.name = what.substr(4);
        // The shortest form only, so that no key has two names.
        const auto code = parseInteger<std::uint8_t>(target.name);
        if (!code || std::to_string(*code) != target.name) {
            failAtLine(place, "a key is numbered from 0 to 255");
        }
    } else if (what.starts_with("mouse.")) {
        target.kind = SoundTarget::Kind::mouse;
        target.name = what.substr(6);
        if (!contains(buttonNames, target.name)) {
            failAtLine(place, "there is no mouse button '" + target.name + "'");
        }
    } else if (!contains(groupNames, what)) {
        failAtLine(place, "there is no group of keys '" + std::string(what) + "'");
    }
    return target;
}

/// Reads the sections in their order into a set.
class Parser {
  public:
    explicit Parser(const std::vector<DescriptionLine>& lines) : lines_(lines) {}

    SetDescription parse() {
        while (next_ < lines_.size()) {
            readSection(lines_[next_++]);
        }
        checkWhole();
        spreadOverRows(set_);
        return std::move(set_);
    }

  private:
    void readSection(const DescriptionLine& head) {
        const std::string_view kind = head.section.front();
        if (kind == "set") {
            readUnnamed(set_, head);
        } else if (kind == "damping") {
            readUnnamed(set_.damping, head);
        } else if (kind == "stroke") {
            readUnnamed(set_.stroke, head);
        } else if (kind == "room") {
            readUnnamed(set_.room, head);
        } else if (kind == "board") {
            Board board{set_};
            readUnnamed(board, head);
        } else if (kind == "bank") {
            readKeys(named(set_.banks, head));
        } else if (kind == "strike") {
            readKeys(named(set_.strikes, head));
        } else if (kind == "rub") {
            readKeys(named(set_.rubs, head));
        } else if (kind == "row") {
            Row& row = named(set_.rows, head);
            if (!isIdentifier(row.name)) {
                failAtLine(head.place, "the name of a row is made of small letters, digits and '-'");
            }
            readKeys(row);
        } else if (kind == "include") {
            // Its part stands before it.
            if (atKey()) {
                failAtLine(lines_[next_].place, "a key needs a section after an [include]");
            }
        } else if (kind == "sound") {
            readSound(head);
        } else {
            failAtLine(head.place, "there is no section '" + std::string(kind) + "'");
        }
    }

    [[nodiscard]] bool atKey() const { return next_ < lines_.size() && lines_[next_].section.empty(); }

    /// "[kind NAME]" begins a part, "[kind NAME again]" goes on with one above.
    template <typename Part>
    Part& named(std::vector<Part>& parts, const DescriptionLine& head) {
        const bool again = head.section.size() == 3 && head.section[2] == "again";
        if (head.section.size() != 2 && !again) {
            failAtLine(head.place, "the section takes one name");
        }
        const std::string_view name = head.section[1];
        const auto found =
            std::find_if(parts.begin(), parts.end(), [&](const Part& part) { return part.name == name; });
        checkAgain(again, found != parts.end(), "'" + std::string(name) + "'", head);
        if (again) {
            return *found;
        }
        limit(parts.size(), greatestParts, head);
        Part part;
        part.name = name;
        return parts.emplace_back(std::move(part));
    }

    static void checkAgain(bool again, bool found, const std::string& what, const DescriptionLine& head) {
        if (again != found) {
            failAtLine(head.place, what + (again ? " is not above" : " is there already"));
        }
    }

    static void limit(std::size_t count, std::size_t greatest, const DescriptionLine& head) {
        if (count >= greatest) {
            failAtLine(head.place, "there are too many sections of this kind");
        }
    }

    template <typename Part>
    void readUnnamed(Part& part, const DescriptionLine& head) {
        if (head.section.size() != 1) {
            failAtLine(head.place, "the section takes no name");
        }
        readKeys(part);
    }

    template <typename Part>
    void readKeys(Part& part) {
        while (atKey()) {
            readLine(part, lines_[next_++]);
        }
    }

    template <typename Part>
    void readLine(Part& part, const DescriptionLine& line) {
        LineValues values(line);
        readKey(part, values, set_);
    }

    /// "[sound what direction]", "[sound what direction like what direction]", which starts as a copy of a
    /// sound above, or "[sound what direction again]", which goes on with it.
    void readSound(const DescriptionLine& head) {
        const auto& words = head.section;
        const bool again = words.back() == "again";
        const auto like = std::find(words.begin(), words.end(), "like");
        const auto target = readTargetWords(head, words.begin() + 1, again ? words.end() - 1 : like);
        const auto found = soundOf(target);
        checkAgain(again, found != set_.sounds.end(), "this sound", head);
        if (again) {
            readSoundKeys(*found, head);
            return;
        }
        Sound sound;
        if (like != words.end()) {
            const auto original = soundOf(readTargetWords(head, like + 1, words.end()));
            if (original == set_.sounds.end()) {
                failAtLine(head.place, "the sound that it is like is not above");
            }
            sound = *original;
        }
        sound.target = target;
        limit(set_.sounds.size(), 4 * greatestParts, head);
        readSoundKeys(sound, head);
        set_.sounds.push_back(std::move(sound));
    }

    /// The first strike or rub line starts that list anew.
    void readSoundKeys(Sound& sound, const DescriptionLine& head) {
        bool ownStrikes = false;
        bool ownRubs = false;
        while (atKey()) {
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
            failAtLine(head.place, "a sound has 1 to 64 strikes and rubs, and a strike among them");
        }
    }

    std::vector<Sound>::iterator soundOf(const SoundTarget& target) {
        return std::find_if(set_.sounds.begin(), set_.sounds.end(),
                            [&](const Sound& sound) { return sound.target == target; });
    }

    using Word = std::vector<std::string_view>::const_iterator;

    static SoundTarget readTargetWords(const DescriptionLine& head, Word begin, Word end) {
        const auto count = end - begin;
        if (count < 1 || count > 2) {
            failAtLine(head.place, "a sound is for '<keys> down', '<keys> up' or 'scroll'");
        }
        return readTarget(head.place, *begin, count == 2 ? *(begin + 1) : std::string_view());
    }

    void checkWhole() {
        if (set_.id.empty() || set_.name.empty()) {
            throw DescriptionError("the section [set] gives no id or no name");
        }
        if (soundOf({SoundTarget::Kind::group, "main", "down"}) == set_.sounds.end()) {
            throw DescriptionError("there is no section [sound main down]");
        }
        for (const Sound& sound : set_.sounds) {
            if (mostContacts(set_, sound) > greatestContacts) {
                throw DescriptionError("the sound " + sound.fileStem() + " may have more than " +
                                       std::to_string(greatestContacts) + " contacts");
            }
        }
    }

    const std::vector<DescriptionLine>& lines_;
    std::size_t next_ = 0;
    SetDescription set_;
};

} // namespace

SetDescription parseDescription(std::string_view text, const PartReader& readPart) {
    const DescriptionParts parts(text, readPart);
    return Parser(parts.lines()).parse();
}

} // namespace keysong::soundgen
