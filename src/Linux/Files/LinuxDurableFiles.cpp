#include "Linux/Files/LinuxDurableFiles.h"

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

[[noreturn]] void fail(const fs::path& file, int error) {
    throw DurableFileError(file, std::generic_category().message(error));
}

/// Where a chain of symbolic links ends, also when there is nothing at its end yet.
fs::path linkTarget(const fs::path& file) {
    constexpr int longestChain = 40;
    fs::path target = file;
    std::error_code error;
    for (int step = 0; step < longestChain; ++step) {
        if (!fs::is_symlink(fs::symlink_status(target, error))) {
            return target;
        }
        const fs::path next = fs::read_symlink(target, error);
        if (error) {
            fail(file, error.value());
        }
        target = target.parent_path() / next;
    }
    fail(file, ELOOP);
}

void syncFolder(const fs::path& folder, const fs::path& file) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems refuse to sync a folder, and keep its order without.
    if (!descriptor.isOpen() || (fsync(descriptor.get()) != 0 && errno != EINVAL)) {
        fail(file, errno);
    }
}

void makeFolders(const fs::path& folder, const fs::path& file) {
    int error = mkdir(folder.c_str(), 0700) == 0 ? 0 : errno;
    if (error == ENOENT && folder.has_relative_path()) {
        makeFolders(folder.parent_path(), file);
        error = mkdir(folder.c_str(), 0700) == 0 ? 0 : errno;
    }
    if (error == 0) {
        syncFolder(folder.parent_path(), file);
    } else if (error != EEXIST) {
        fail(file, error);
    }
}

/// What the names of this file's temporary files begin with.
std::string temporaryPrefix(const fs::path& target) {
    return "." + target.filename().string() + ".tmp-";
}

/// A new file beside the target, locked so that nobody takes it for a leftover; removed unless it was
/// renamed.
class TemporaryFile {
  public:
    explicit TemporaryFile(const fs::path& target)
        : name_((target.parent_path() / (temporaryPrefix(target) + "XXXXXX")).string()),
          descriptor_(mkostemp(name_.data(), O_CLOEXEC)) {
        if (!descriptor_.isOpen()) {
            fail(target, errno);
        }
        // A file system without locks keeps its leftovers.
        flock(descriptor_.get(), LOCK_EX | LOCK_NB);
    }
    ~TemporaryFile() {
        if (!renamed_) {
            unlink(name_.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(std::string_view bytes, const fs::path& target) const {
        while (!bytes.empty()) {
            const ssize_t written = ::write(descriptor_.get(), bytes.data(), bytes.size());
            if (written >= 0) {
                bytes.remove_prefix(static_cast<std::size_t>(written));
            } else if (errno != EINTR) {
                fail(target, errno);
            }
        }
        if (fchmod(descriptor_.get(), 0600) != 0 || fsync(descriptor_.get()) != 0) {
            fail(target, errno);
        }
    }

    /// False when another process took it for a leftover before it was locked.
    [[nodiscard]] bool moveTo(const fs::path& target) {
        renamed_ = rename(name_.c_str(), target.c_str()) == 0;
        if (!renamed_ && errno != ENOENT) {
            fail(target, errno);
        }
        return renamed_;
    }

  private:
    std::string name_;
    FileDescriptor descriptor_;
    bool renamed_ = false;
};

/// Renames unless the new name is taken; false when it is.
bool renameToFreeName(const fs::path& from, const fs::path& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno == EINVAL || errno == ENOSYS) {
        // This file system cannot rename so; a link does not replace anything either.
        if (link(from.c_str(), to.c_str()) == 0) {
            return unlink(from.c_str()) == 0;
        }
    }
    if (errno != EEXIST) {
        fail(from, errno);
    }
    return false;
}

void removeIfAbandoned(const fs::path& leftover) {
    const FileDescriptor descriptor(
        ::open(leftover.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    if (descriptor.isOpen() && flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0) {
        unlink(leftover.c_str());
    }
}

} // namespace

void LinuxDurableFiles::replace(const fs::path& file, std::string_view bytes) const {
    const fs::path target = linkTarget(file);
    const fs::path folder = target.parent_path();
    makeFolders(folder, target);
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        TemporaryFile temporary(target);
        temporary.write(bytes, target);
        if (temporary.moveTo(target)) {
            syncFolder(folder, target);
            return;
        }
    }
    fail(target, ENOENT);
}

void LinuxDurableFiles::removeLeftovers(const fs::path& file) const noexcept {
    try {
        const fs::path target = linkTarget(file);
        const std::string prefix = temporaryPrefix(target);
        std::error_code error;
        fs::directory_iterator entries(target.parent_path(), error);
        for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
            if (entries->path().filename().string().starts_with(prefix)) {
                removeIfAbandoned(entries->path());
            }
        }
    } catch (const std::exception&) {
        // What cannot be found stays; it does no harm.
    }
}

fs::path LinuxDurableFiles::setAside(const fs::path& file) const {
    const fs::path target = linkTarget(file);
    constexpr int mostKept = 1000;
    for (int number = 1; number <= mostKept; ++number) {
        fs::path aside = target;
        aside += number == 1 ? ".damaged" : ".damaged-" + std::to_string(number);
        if (renameToFreeName(target, aside)) {
            syncFolder(target.parent_path(), target);
            return aside;
        }
    }
    fail(target, EEXIST);
}

std::optional<DurableFiles::Date> LinuxDurableFiles::modificationDate(const fs::path& file) const noexcept {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return std::nullopt;
    }
    const std::chrono::seconds seconds(status.st_mtim.tv_sec);
    // Some file systems keep dates that do not fit 64 bits of nanoseconds.
    if (seconds >= std::chrono::floor<std::chrono::seconds>(Date::max().time_since_epoch())) {
        return Date::max();
    }
    if (seconds <= std::chrono::ceil<std::chrono::seconds>(Date::min().time_since_epoch())) {
        return Date::min();
    }
    return Date(seconds + std::chrono::nanoseconds(status.st_mtim.tv_nsec));
}

} // namespace keysong
