#include "Packs/PackSounds.h"

#include <algorithm>
#include <set>

namespace keysong {

namespace {

/// What a file's name says.
struct NameMeaning {
    bool isRelease = false;
    std::optional<NamedTarget> target;
};

bool isArchive(const std::string& name) {
    const std::string lower = lowerCase(name);
    const auto endsWith = [&lower](const char* ending) { return lower.ends_with(ending); };
    return endsWith(".zip") || endsWith(".7z") || endsWith(".rar") || endsWith(".tar") || endsWith(".tgz") ||
           endsWith(".gz") || endsWith(".xz");
}

/// The words of a name: runs of letters, with a new one at each capital after a small letter. Numbers part
/// words and say nothing, except those of the F-keys.
std::vector<std::string> wordsOf(const std::string& name) {
    std::vector<std::string> words;
    std::string word;
    const auto finish = [&] {
        if (!word.empty()) {
            words.push_back(lowerCase(word));
            word.clear();
        }
    };
    for (const char character : name) {
        const bool isSmall = character >= 'a' && character <= 'z';
        const bool isCapital = character >= 'A' && character <= 'Z';
        const bool isDigit = character >= '0' && character <= '9';
        if (isCapital && !word.empty() && word.back() >= 'a' && word.back() <= 'z') {
            finish();
        }
        if (isSmall || isCapital ||
            (isDigit &&
             (word == "f" || word == "F" || word == "f1" || word == "F1" || word == "f2" || word == "F2"))) {
            word += character;
        } else {
            finish();
        }
    }
    finish();
    return words;
}

/// Takes a word's part that says "coming up" away; false when it has none.
bool takeRelease(std::string& word) {
    constexpr std::string_view up = "up";
    if (word.find("release") != std::string::npos) {
        word.clear();
        return true;
    }
    if (!word.ends_with(up)) {
        return false;
    }
    const std::string rest = word.substr(0, word.size() - up.size());
    // "spaceup" and "keyup", not "backup".
    if (rest.empty() || rest == "key" || targetNamed(rest)) {
        word = rest;
        return true;
    }
    return false;
}

NameMeaning meaningOf(const std::string& name) {
    static const std::set<std::string> emptyWords = {"down", "press", "pressed", "key", "keys"};
    NameMeaning meaning;
    std::string rest;
    std::string last;
    for (std::string& word : wordsOf(name.substr(0, name.rfind('.')))) {
        meaning.isRelease = takeRelease(word) || meaning.isRelease;
        if (!word.empty() && !emptyWords.contains(word)) {
            rest += word;
            last = word;
        }
    }
    meaning.target = targetNamed(rest);
    if (!meaning.target && last.size() > 1) {
        // "thock/enter" or "red switch space": the last word decides, unless it is one letter, as in "click
        // b".
        meaning.target = targetNamed(last);
    }
    return meaning;
}

} // namespace

PackSounds readPlainFolder(const PackReading& reading) {
    PackSounds sounds;
    sounds.format = "a folder of sound files";
    for (const std::string& name : reading.files.names()) {
        if (!hasSoundEnding(name)) {
            reading.report.leave(isArchive(name) ? "a pack within the pack" : "a file that is no sound",
                                 name);
            continue;
        }
        const NameMeaning meaning = meaningOf(name);
        const Clip clip{name, std::nullopt};
        if (meaning.target && meaning.target->kind == NamedTarget::Kind::scroll) {
            sounds.plan.scroll.push_back(clip);
            continue;
        }
        Variants<Clip>* place = &sounds.plan.defaults;
        if (meaning.target) {
            Variants<Clip>* const named = variantsOf(sounds.plan, *meaning.target, reading.keys);
            place = named != nullptr ? named : place;
        }
        (meaning.isRelease ? place->up : place->down).push_back(clip);
    }
    return sounds;
}

} // namespace keysong
