#pragma once

#include "Linux/Files/InotifyFolders.h"
#include "Linux/System/ServiceThread.h"
#include "Platform/FolderWatcher.h"
#include "Platform/Threads.h"
#include "Shared/TaskQueue.h"

#include <chrono>
#include <memory>
#include <optional>
#include <set>

namespace keysong {

/// Folders watched through inotify, on a thread of its own that sleeps until something happens.
class LinuxFolderWatcher final : public FolderWatcher {
  public:
    /// Without a change for so long, a burst has settled.
    static constexpr std::chrono::milliseconds settleTime{500};
    /// A burst that does not settle is told of after so long.
    static constexpr std::chrono::seconds longestBurst{5};

    /// `mainQueue` runs its tasks on the main thread; it and `threads` outlive the watcher.
    LinuxFolderWatcher(TaskQueue& mainQueue, Threads& threads);
    ~LinuxFolderWatcher() override;

    void watch(std::vector<std::filesystem::path> folders, Handler handler) override;

  private:
    class Watching;

    TaskQueue& mainQueue_;
    Threads& threads_;
    /// The watch under way.
    std::unique_ptr<Watching> watching_;
};

} // namespace keysong
