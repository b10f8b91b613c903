#include "Linux/Files/LinuxStagedFolders.h"

#include "Linux/System/FileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace keysong {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const fs::path& folder, int error) {
    throw StagedFolderError(StagedFolderError::Kind::failed, folder, std::generic_category().message(error));
}

[[noreturn]] void failTaken(const fs::path& folder) {
    throw StagedFolderError(StagedFolderError::Kind::taken, folder, "is there already");
}

FileDescriptor openFolder(const fs::path& folder) {
    return FileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Writes a file or folder to the disk, so that the rename that follows cannot come before it.
void syncEntry(const fs::path& entry) {
    const FileDescriptor descriptor(::open(entry.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    // Some file systems refuse to sync a folder, and keep its order without.
    if (!descriptor.isOpen() || (fsync(descriptor.get()) != 0 && errno != EINVAL)) {
        fail(entry, errno);
    }
}

std::string temporaryPrefix(const fs::path& target) {
    return "." + target.filename().string() + ".new-";
}

/// Removes what another program left when it was killed: nobody holds the lock of such a folder. One that was
/// just made is locked before anybody else looks: whoever makes or removes holds the lock of the folder
/// above.
void removeLeftovers(const fs::path& target) {
    const std::string prefix = temporaryPrefix(target);
    std::error_code error;
    fs::directory_iterator entries(target.parent_path(), error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        if (!entries->path().filename().string().starts_with(prefix)) {
            continue;
        }
        const FileDescriptor folder = openFolder(entries->path());
        if (folder.isOpen() && flock(folder.get(), LOCK_EX | LOCK_NB) == 0) {
            std::error_code ignored;
            fs::remove_all(entries->path(), ignored);
        }
    }
}

class LinuxStagedFolder final : public StagedFolder {
  public:
    explicit LinuxStagedFolder(const fs::path& target) : target_(target) {
        std::string name = (target.parent_path() / (temporaryPrefix(target) + "XXXXXX")).string();
        if (mkdtemp(name.data()) == nullptr) {
            fail(target, errno);
        }
        path_ = name;
        lock_ = openFolder(path_);
        // Where there are no locks, the leftovers of a killed program are for the user to remove.
        if (lock_.isOpen()) {
            flock(lock_.get(), LOCK_EX | LOCK_NB);
        }
    }
    ~LinuxStagedFolder() override {
        if (!path_.empty()) {
            std::error_code ignored;
            fs::remove_all(path_, ignored);
        }
    }
    LinuxStagedFolder(const LinuxStagedFolder&) = delete;
    LinuxStagedFolder& operator=(const LinuxStagedFolder&) = delete;

    [[nodiscard]] const fs::path& path() const override { return path_; }

    void commit(bool replace) override {
        for (const auto& entry : fs::recursive_directory_iterator(path_)) {
            syncEntry(entry.path());
        }
        syncEntry(path_);
        if (renameFresh()) {
            path_.clear();
        } else if (!replace) {
            failTaken(target_);
        } else {
            exchange();
        }
        syncEntry(target_.parent_path());
    }

  private:
    /// False when something stands at the target.
    [[nodiscard]] bool renameFresh() const {
        if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) == 0) {
            return true;
        }
        if (errno == EEXIST) {
            return false;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            fail(target_, errno);
        }
        // A file system without that call: an ordinary rename replaces nothing but an empty folder.
        if (::rename(path_.c_str(), target_.c_str()) == 0) {
            return true;
        }
        if (errno != ENOTEMPTY && errno != EEXIST && errno != ENOTDIR) {
            fail(target_, errno);
        }
        return false;
    }

    /// Swaps the two, so that one of them is there at every moment; the old one then goes with this object.
    void exchange() const {
        if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_EXCHANGE) == 0) {
            return;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            fail(target_, errno);
        }
        const fs::path aside = path_.string() + "-old";
        if (::rename(target_.c_str(), aside.c_str()) != 0) {
            fail(target_, errno);
        }
        if (::rename(path_.c_str(), target_.c_str()) != 0) {
            const int error = errno;
            ::rename(aside.c_str(), target_.c_str());
            fail(target_, error);
        }
        ::rename(aside.c_str(), path_.c_str());
    }

    fs::path target_;
    /// Empty once the folder is in its place.
    fs::path path_;
    FileDescriptor lock_;
};

} // namespace

std::unique_ptr<StagedFolder> LinuxStagedFolders::begin(const fs::path& target) const {
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    if (error) {
        fail(target.parent_path(), error.value());
    }
    const FileDescriptor above = openFolder(target.parent_path());
    if (above.isOpen()) {
        // For the time that it takes to make a folder. Where there are no locks, nothing is removed either.
        while (flock(above.get(), LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    removeLeftovers(target);
    return std::make_unique<LinuxStagedFolder>(target);
}

} // namespace keysong
