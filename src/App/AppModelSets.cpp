// Which sound set plays: the list of the installed ones, the selected one, and previews.

#include "App/AppModel.h"
#include "Shared/Log.h"

#include <algorithm>
#include <array>
#include <utility>

namespace keysong {

namespace {

using std::chrono::milliseconds;

/// Q, A, J, Space and Return.
constexpr std::array<std::uint16_t, 5> previewKeys{12, 0, 38, 49, 36};
constexpr milliseconds previewPause{45};
constexpr milliseconds previewLookInterval{20};
constexpr int previewLooks = 100; // two seconds

/// Whether a path is a folder or lies somewhere in it.
bool isWithin(const std::filesystem::path& path, const std::filesystem::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

} // namespace

const SoundSetInfo* AppModel::selectedSet() const {
    const auto found = std::find_if(availableSets().begin(), availableSets().end(),
                                    [&](const SoundSetInfo& set) { return set.id == selectedSetId(); });
    return found == availableSets().end() ? nullptr : &*found;
}

void AppModel::chooseFirstSetIfNeeded() {
    if (selectedSet() != nullptr) {
        loadSelectedSet();
        return;
    }
    setSelectedSetId(availableSets().empty() ? std::string() : availableSets().front().id);
    if (selectedSetId().empty()) {
        log.error("no sound sets in %{public}s", SoundLibrary::directory(services_.places).string());
    }
}

void AppModel::observeSetFolders() {
    services_.folders.watch(SoundLibrary::directories(services_.places),
                            [this](const auto& changed) { setFoldersChanged(changed); });
}

void AppModel::setFoldersChanged(const std::vector<std::filesystem::path>& changed) {
    changedInSets_.insert(changedInSets_.end(), changed.begin(), changed.end());
    const std::int64_t generation = ++setListGeneration_;
    const auto take = lifetime_.guarded([this, generation](const std::vector<SoundSetInfo>& sets) {
        if (setListGeneration_ == generation) {
            applySetFolders(sets);
        }
    });
    services_.background([take, &places = services_.places, &textOrder = services_.textOrder,
                          &mainQueue = services_.mainQueue] {
        mainQueue.async([take, sets = SoundLibrary::availableSets(places, textOrder)] { take(sets); });
    });
}

void AppModel::applySetFolders(const std::vector<SoundSetInfo>& sets) {
    const auto changed = std::exchange(changedInSets_, {});
    const SoundSetInfo* const before = selectedSet();
    const auto oldDirectory = before != nullptr ? before->directory : std::filesystem::path();
    store(live_.availableSets, sets, &AppState::availableSetsChanged);
    const SoundSetInfo* const selected = selectedSet();
    if (selected == nullptr) {
        // Without any set the loaded one goes on playing, and nothing is to be said twice.
        if (!selectedSetId().empty() || !availableSets().empty()) {
            chooseFirstSetIfNeeded();
        }
        return;
    }
    const auto concernsSelected = [selected](const std::filesystem::path& path) {
        // A folder above, too: it was moved here as a whole.
        return isWithin(path, selected->directory) || isWithin(selected->directory, path);
    };
    if (selected->directory != oldDirectory ||
        std::any_of(changed.begin(), changed.end(), concernsSelected)) {
        loadSelectedSet();
    }
}

void AppModel::loadSelectedSet() {
    const SoundSetInfo* const found = selectedSet();
    if (found == nullptr) {
        return;
    }
    const std::int64_t generation = ++setLoadGeneration_;
    const auto take =
        lifetime_.guarded([this, generation, id = found->id](std::shared_ptr<const SoundSet> set) {
            if (setLoadGeneration_ == generation) {
                services_.engine.load(std::move(set));
                log.info("loaded sound set %{public}s", id);
            }
        });
    services_.background(
        [take, info = *found, &files = services_.audioFiles, &mainQueue = services_.mainQueue] {
            std::shared_ptr<const SoundSet> set;
            try {
                set = SoundSet::load(info.directory, SoundEngine::renderFormat, files);
            } catch (const std::runtime_error& error) {
                log.error("sound set %{public}s failed to load: %s", info.id, error.what());
                return;
            }
            mainQueue.async([take, set = std::move(set)] { take(set); });
        });
}

void AppModel::previewSet(const std::string& id) {
    setSelectedSetId(id);
    const std::int64_t generation = ++previewGeneration_;
    services_.mainQueue.async(
        lifetime_.guarded([this, generation, id] { awaitPreviewedSet(generation, id, previewLooks); }));
}

void AppModel::awaitPreviewedSet(std::int64_t generation, const std::string& id, int looksLeft) {
    const auto loaded = services_.engine.set();
    if (loaded == nullptr || loaded->manifest().id != id) {
        if (looksLeft > 0) {
            services_.mainQueue.asyncAfter(previewLookInterval,
                                           lifetime_.guarded([this, generation, id, looksLeft] {
                                               awaitPreviewedSet(generation, id, looksLeft - 1);
                                           }));
        }
        return;
    }
    playPreview(generation, 0);
}

void AppModel::playPreview(std::int64_t generation, std::size_t step) {
    const std::size_t key = step / 2;
    if (previewGeneration_ != generation || key >= previewKeys.size()) {
        return;
    }
    const std::uint16_t code = previewKeys[key];
    services_.engine.play(step % 2 == 0 ? SoundEvent::keyDown(code) : SoundEvent::keyUp(code));
    services_.mainQueue.asyncAfter(
        previewPause, lifetime_.guarded([this, generation, step] { playPreview(generation, step + 1); }));
}

} // namespace keysong
