#pragma once

#include "App/AppState.h"
#include "Audio/SoundEngine.h"
#include "Platform/AudioFile.h"
#include "Platform/FolderWatcher.h"
#include "Platform/Places.h"
#include "Platform/TextOrder.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace keysong {

/// Which sound set plays: lists the installed sets, loads the selected one into the engine, follows changes
/// of the sets' folders, and plays previews.
///
/// The list and the selection themselves are part of the application's state. Main thread; sets are listed
/// and loaded on other threads, and a result that a later request has overtaken is dropped.
class SetChooser {
  public:
    /// Everything referred to outlives the chooser.
    struct Services {
        SoundEngine& engine;
        const Places& places;
        const TextOrder& textOrder;
        const AudioFiles& audioFiles;
        FolderWatcher& folders;
        /// Runs its tasks on the main thread.
        TaskQueue& mainQueue;
        /// Runs a task on another thread, beside others.
        std::function<void(std::function<void()>)> background;
    };
    /// Takes the list of installed sets into the application's state.
    using ListHandler = std::function<void(const std::vector<SoundSetInfo>& sets)>;

    /// `state` outlives the chooser. Nothing happens before `start`.
    SetChooser(AppState& state, Services services, ListHandler takeList);
    /// Ends the watching. What is still being loaded is stopped and dropped.
    ~SetChooser();
    SetChooser(const SetChooser&) = delete;
    SetChooser& operator=(const SetChooser&) = delete;

    /// Lists the installed sets and loads the selected one, or selects the first where that one is missing.
    /// Blocks on the disk for the list.
    void start();
    /// From now on follows changes of the sets' folders.
    void watchFolders();
    /// Loads the selected set in the background; what plays goes on until then. Does nothing for an unknown
    /// set.
    void loadSelected();
    /// Selects the set and plays a short phrase once it is loaded, unless another preview comes in between.
    void preview(const std::string& id);

  private:
    [[nodiscard]] const SoundSetInfo* selected() const;
    void loadSelectedOrFirst();
    void loadWanted();
    void listSets();
    void foldersChanged(const std::vector<std::filesystem::path>& changed);
    void takeChangedList(const std::vector<SoundSetInfo>& sets);
    void awaitPreviewed(std::int64_t generation, const std::string& id, int looksLeft);
    void playPreview(std::int64_t generation, std::size_t step);

    AppState& state_;
    const Services services_;
    const ListHandler takeList_;
    /// The set that was asked for last.
    std::optional<SoundSetInfo> wanted_;
    /// Stops the load under way.
    std::stop_source stopLoading_;
    bool isLoading_ = false;
    bool isListing_ = false;
    /// Something changed since the list under way was begun.
    bool listIsOld_ = false;
    std::int64_t previewGeneration_ = 0;
    /// What changed in the sets' folders since the list was last made.
    std::vector<std::filesystem::path> changed_;
    Lifetime lifetime_;
};

} // namespace keysong
