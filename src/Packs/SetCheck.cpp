#include "Packs/SetCheck.h"

#include "Audio/SoundEngine.h"
#include "Audio/SoundSetLoader.h"
#include "Packs/PackReport.h"
#include "Packs/PackSounds.h"
#include "Packs/SoundMeasure.h"
#include "Shared/KeyGroup.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <map>
#include <set>
#include <system_error>

namespace keysong {

namespace fs = std::filesystem;

namespace {

std::string quoted(const std::string& text) {
    return "\"" + printable(text) + "\"";
}

std::string joined(const std::vector<std::string>& texts) {
    constexpr std::size_t most = 4;
    std::string result;
    for (std::size_t index = 0; index < std::min(texts.size(), most); ++index) {
        result += (index > 0 ? ", " : "") + printable(texts[index]);
    }
    return texts.size() > most ? result + " and " + std::to_string(texts.size() - most) + " more" : result;
}

/// Looks at one loaded set.
class Inspector {
  public:
    Inspector(const fs::path& folder, const SoundSet& set, const AudioFiles& files, SetCheck& check)
        : folder_(folder), set_(set), files_(files), check_(check) {}

    void inspect() {
        inspectManifest();
        inspectKeys();
        inspectMouse();
        inspectSounds();
        inspectFolder();
    }

  private:
    void problem(const std::string& text) { check_.problems.push_back(text); }
    void note(const std::string& text) { check_.notes.push_back(text); }

    void inspectManifest() {
        const SoundManifest& manifest = set_.manifest();
        const std::string folderName = folder_.filename().string();
        if (manifest.id != folderName) {
            problem("the id is " + quoted(manifest.id) + ", but the folder is called " + quoted(folderName) +
                    ": they should be the same");
        }
        if (manifest.groups) {
            for (const auto& [name, pair] : *manifest.groups) {
                if (!keyGroupFromRawValue(name)) {
                    problem("there is no group of keys called " + quoted(name));
                }
            }
        }
        limit("gain", manifest.gain, manifest.effectiveGain(), " dB");
        limit("pitchVariation", manifest.pitchVariation, manifest.effectivePitchVariation(), "");
        limit("gainVariation", manifest.gainVariation, manifest.effectiveGainVariation(), " dB");
    }

    void limit(const std::string& key, std::optional<float> written, float used, const std::string& unit) {
        if (written && *written != used) {
            problem(key + " is " + shortestText(*written) + unit + ", which counts as " + shortestText(used) +
                    unit);
        }
    }

    [[nodiscard]] std::vector<std::string> fileNames(std::span<const SampleRef> samples) const {
        std::vector<std::string> names;
        for (const SampleRef& sample : samples) {
            names.emplace_back(set_.fileName(sample.get()));
        }
        return names;
    }

    /// Says which groups and keys have sounds of their own, and which sound like most others.
    void inspectKeys() {
        for (const bool isDown : {true, false}) {
            const std::string direction = isDown ? "down" : "up";
            // By what is heard, and not by what the manifest says: the keys of each group that sound alike.
            std::map<std::vector<std::string>, std::vector<std::string>> groupsBySound;
            for (const KeyGroup group : allKeyGroups) {
                groupsBySound[soundOfGroup(group, isDown)].emplace_back(rawValue(group));
            }
            const auto usual = soundOfGroup(KeyGroup::main, isDown);
            for (const auto& [names, groups] : groupsBySound) {
                note("keys going " + direction + ", " + joined(groups) + ": " +
                     (names.empty() ? "silent" : joined(names)) +
                     (names == usual ? " (the usual sound)" : ""));
            }
            noteSingleKeys(isDown, direction);
        }
    }

    /// What most keys of a group play.
    [[nodiscard]] std::vector<std::string> soundOfGroup(KeyGroup group, bool isDown) const {
        std::map<std::vector<std::string>, int> counts;
        for (std::uint16_t code = 0; code < SoundSet::keyCount; ++code) {
            if (keyGroupOf(code) == group) {
                ++counts[soundOfKey(code, isDown)];
            }
        }
        return std::max_element(counts.begin(), counts.end(),
                                [](const auto& a, const auto& b) { return a.second < b.second; })
            ->first;
    }

    [[nodiscard]] std::vector<std::string> soundOfKey(std::uint16_t code, bool isDown) const {
        return fileNames(set_.candidates(isDown ? SoundEvent::keyDown(code) : SoundEvent::keyUp(code)));
    }

    void noteSingleKeys(bool isDown, const std::string& direction) {
        std::vector<std::string> codes;
        for (std::uint16_t code = 0; code < SoundSet::keyCount; ++code) {
            if (soundOfKey(code, isDown) != soundOfGroup(keyGroupOf(code), isDown)) {
                codes.push_back(std::to_string(code));
            }
        }
        if (!codes.empty()) {
            note("keys going " + direction + " with a sound of their own: " + std::to_string(codes.size()) +
                 " (codes " + joined(codes) + ")");
        }
    }

    void inspectMouse() {
        std::vector<std::string> silent;
        const std::pair<MouseButton, const char*> buttons[] = {{MouseButton::left, "left button"},
                                                               {MouseButton::right, "right button"},
                                                               {MouseButton::other, "other buttons"}};
        for (const auto& [button, name] : buttons) {
            if (set_.candidates(SoundEvent::mouseDown(button)).empty()) {
                silent.emplace_back(name);
            }
        }
        if (set_.candidates(SoundEvent::scrollTick()).empty()) {
            silent.emplace_back("scrolling");
        }
        if (!silent.empty()) {
            note("mouse, silent: " + joined(silent));
        }
    }

    /// Every sample that some event may play, by its file's name.
    [[nodiscard]] std::map<std::string, SampleRef> samples() const {
        std::map<std::string, SampleRef> found;
        const auto take = [&](const SoundEvent& event) {
            for (const SampleRef& sample : set_.candidates(event)) {
                found.emplace(set_.fileName(sample.get()), sample);
            }
        };
        for (std::uint16_t code = 0; code < SoundSet::keyCount; ++code) {
            take(SoundEvent::keyDown(code));
            take(SoundEvent::keyUp(code));
        }
        for (const MouseButton button : {MouseButton::left, MouseButton::right, MouseButton::other}) {
            take(SoundEvent::mouseDown(button));
            take(SoundEvent::mouseUp(button));
        }
        take(SoundEvent::scrollTick());
        return found;
    }

    void inspectSounds() {
        double quietest = 1000;
        double loudest = -1000;
        for (const auto& [name, sample] : samples()) {
            const SoundMeasure measure = measureSound(*sample);
            if (name == silenceFileName) {
                continue; // meant to be
            }
            if (measure.isSilent) {
                problem(printable(name) + " is silent");
                continue;
            }
            quietest = std::min(quietest, measure.loudnessDecibels);
            loudest = std::max(loudest, measure.loudnessDecibels);
            if (measure.onsetMilliseconds > latestOnset) {
                problem(printable(name) + " begins " + fixedText(measure.onsetMilliseconds, 1) +
                        " ms late: cut the silence before the sound");
            }
            const double clipped = clippedMilliseconds(files_, folder_.native() + "/" + name);
            if (clipped > 0) {
                problem(printable(name) + " is recorded too loud: it is cut off at full scale for " +
                        fixedText(clipped, 2) + " ms");
            }
        }
        if (loudest > -1000) {
            note("loudness (each sound as if it lasted 50 ms, K-weighted): " + fixedText(quietest, 1) +
                 " to " + fixedText(loudest, 1) + " LUFS before the set's gain");
        }
        const auto usual = set_.candidates(SoundEvent::keyDown(0));
        if (!usual.empty()) {
            noteSpread(usual);
        }
    }

    /// Variants of one sound that are not equally loud stand out while typing.
    void noteSpread(std::span<const SampleRef> variants) {
        std::vector<double> levels;
        for (const SampleRef& sample : variants) {
            levels.push_back(measureSound(*sample).loudnessDecibels);
        }
        const auto [low, high] = std::minmax_element(levels.begin(), levels.end());
        if (*high - *low > widestSpread) {
            problem("the sounds that stand for each other on ordinary keys differ by " +
                    fixedText(*high - *low, 1) + " dB in loudness");
        }
    }

    void inspectFolder() {
        std::set<std::string> used{SoundManifest::fileName};
        for (const auto& [name, sample] : samples()) {
            used.insert(fs::path(name).lexically_normal().generic_string());
        }
        std::vector<std::string> unused;
        std::error_code error;
        fs::recursive_directory_iterator entries(folder_, error);
        for (; !error && entries != fs::recursive_directory_iterator(); entries.increment(error)) {
            std::error_code kindError;
            const std::string name = entries->path().lexically_relative(folder_).generic_string();
            if (entries->is_regular_file(kindError) && !used.contains(name)) {
                unused.push_back(name);
            }
        }
        std::sort(unused.begin(), unused.end());
        if (!unused.empty()) {
            note("files that the set does not use: " + joined(unused));
        }
    }

    static constexpr double latestOnset = 5;
    static constexpr double widestSpread = 12;

    const fs::path& folder_;
    const SoundSet& set_;
    const AudioFiles& files_;
    SetCheck& check_;
};

} // namespace

SetCheck checkSet(const fs::path& folder, const AudioFiles& files) {
    SetCheck check;
    std::error_code error;
    const fs::path absolute = fs::absolute(folder, error).lexically_normal();
    const fs::path named = absolute.has_filename() ? absolute : absolute.parent_path();
    SoundSetLoader loader(named, SoundEngine::renderFormat, files);
    try {
        const auto set = loader.load();
        Inspector(named, *set, files, check).inspect();
    } catch (const std::runtime_error& failure) {
        check.problems.emplace_back(failure.what());
    }
    // What the loader met first comes first.
    check.problems.insert(check.problems.begin(), loader.problems().begin(), loader.problems().end());
    return check;
}

} // namespace keysong
