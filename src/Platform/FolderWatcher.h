#pragma once

#include <filesystem>
#include <functional>
#include <vector>

namespace keysong {

/// Tells when something changes in some folders, or in folders in them. Main thread only.
class FolderWatcher {
  public:
    /// Takes the files and folders that something happened to: written, made, moved, removed. Runs on the
    /// main thread, once for a burst of changes, after it has settled. The first report names nothing and
    /// comes when the watch stands: what happened before that was not seen, so whoever read a folder reads it
    /// again.
    using Handler = std::function<void(const std::vector<std::filesystem::path>& changed)>;

    virtual ~FolderWatcher() = default;

    /// From now on watches these folders, and no others, which need not exist yet; what is hidden in them is
    /// not looked at. An empty handler ends the watch. A machine that cannot tell says so in the log.
    virtual void watch(std::vector<std::filesystem::path> folders, Handler handler) = 0;

  protected:
    FolderWatcher() = default;
    FolderWatcher(const FolderWatcher&) = default;
    FolderWatcher& operator=(const FolderWatcher&) = default;
};

} // namespace keysong
