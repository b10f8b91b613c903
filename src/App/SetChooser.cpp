#include "App/SetChooser.h"

#include "Shared/Log.h"

#include <algorithm>
#include <array>
#include <exception>
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

SetChooser::SetChooser(AppState& state, Services services, ListHandler takeList)
    : state_(state), services_(std::move(services)), takeList_(std::move(takeList)) {
}

SetChooser::~SetChooser() {
    stopLoading_.request_stop();
    services_.folders.watch({}, {});
}

void SetChooser::start() {
    takeList_(SoundLibrary::availableSets(services_.places, services_.textOrder));
    loadSelectedOrFirst();
}

void SetChooser::watchFolders() {
    services_.folders.watch(SoundLibrary::directories(services_.places),
                            [this](const auto& changed) { foldersChanged(changed); });
}

const SoundSetInfo* SetChooser::selected() const {
    const auto& sets = state_.availableSets();
    const auto found = std::ranges::find(sets, state_.selectedSetId(), &SoundSetInfo::id);
    return found == sets.end() ? nullptr : &*found;
}

void SetChooser::loadSelectedOrFirst() {
    if (selected() != nullptr) {
        loadSelected();
        return;
    }
    const auto& sets = state_.availableSets();
    state_.setSelectedSetId(sets.empty() ? std::string() : sets.front().id);
    if (state_.selectedSetId().empty()) {
        log.error("no sound sets in %{public}s", SoundLibrary::directory(services_.places).string());
    }
}

void SetChooser::foldersChanged(const std::vector<std::filesystem::path>& changed) {
    changed_.insert(changed_.end(), changed.begin(), changed.end());
    // One list at a time: one that was begun before the change is made again.
    listIsOld_ = isListing_;
    if (!isListing_) {
        listSets();
    }
}

void SetChooser::listSets() {
    const auto take = lifetime_.guarded([this](const std::vector<SoundSetInfo>& sets) {
        isListing_ = false;
        if (std::exchange(listIsOld_, false)) {
            listSets();
        } else {
            takeChangedList(sets);
        }
    });
    services_.background([take, &places = services_.places, &textOrder = services_.textOrder,
                          &mainQueue = services_.mainQueue] {
        mainQueue.async([take, sets = SoundLibrary::availableSets(places, textOrder)] { take(sets); });
    });
    isListing_ = true;
}

void SetChooser::takeChangedList(const std::vector<SoundSetInfo>& sets) {
    const auto changed = std::exchange(changed_, {});
    const SoundSetInfo* const before = selected();
    const auto oldDirectory = before != nullptr ? before->directory : std::filesystem::path();
    takeList_(sets);
    const SoundSetInfo* const now = selected();
    if (now == nullptr) {
        // Without any set the loaded one goes on playing, and that there is none is logged once.
        if (!state_.selectedSetId().empty() || !state_.availableSets().empty()) {
            loadSelectedOrFirst();
        }
        return;
    }
    const auto concernsSelected = [&folder = now->directory](const std::filesystem::path& path) {
        // A folder above it too: that one was moved here as a whole.
        return isWithin(path, folder) || isWithin(folder, path);
    };
    if (now->directory != oldDirectory || std::ranges::any_of(changed, concernsSelected)) {
        loadSelected();
    }
}

void SetChooser::loadSelected() {
    const SoundSetInfo* const found = selected();
    if (found == nullptr) {
        return;
    }
    wanted_ = *found;
    // One at a time: what is under way for nobody ends, and tells that it has.
    stopLoading_.request_stop();
    if (!isLoading_) {
        loadWanted();
    }
}

void SetChooser::loadWanted() {
    stopLoading_ = std::stop_source();
    const auto take = lifetime_.guarded(
        [this, id = wanted_->id, stop = stopLoading_.get_token()](std::shared_ptr<const SoundSet> set) {
            isLoading_ = false;
            if (stop.stop_requested()) {
                loadWanted();
            } else if (set != nullptr) {
                services_.engine.load(std::move(set));
                log.info("loaded sound set %{public}s", id);
            }
        });
    services_.background([take, info = *wanted_, stop = stopLoading_.get_token(),
                          &files = services_.audioFiles, &mainQueue = services_.mainQueue] {
        std::shared_ptr<const SoundSet> set;
        try {
            set = SoundSet::load(info.directory, SoundEngine::renderFormat, files, stop);
        } catch (const std::exception& error) {
            if (!stop.stop_requested()) {
                log.error("sound set %{public}s failed to load: %s", info.id, error.what());
            }
        }
        mainQueue.async([take, set = std::move(set)] { take(set); });
    });
    isLoading_ = true;
}

void SetChooser::preview(const std::string& id) {
    state_.setSelectedSetId(id);
    const std::int64_t generation = ++previewGeneration_;
    services_.mainQueue.async(
        lifetime_.guarded([this, generation, id] { awaitPreviewed(generation, id, previewLooks); }));
}

void SetChooser::awaitPreviewed(std::int64_t generation, const std::string& id, int looksLeft) {
    const auto loaded = services_.engine.set();
    if (loaded == nullptr || loaded->manifest().id != id) {
        if (looksLeft > 0) {
            services_.mainQueue.asyncAfter(previewLookInterval,
                                           lifetime_.guarded([this, generation, id, looksLeft] {
                                               awaitPreviewed(generation, id, looksLeft - 1);
                                           }));
        }
        return;
    }
    playPreview(generation, 0);
}

void SetChooser::playPreview(std::int64_t generation, std::size_t step) {
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
