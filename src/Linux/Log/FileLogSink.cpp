#include "Linux/Log/FileLogSink.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdio>
#include <exception>
#include <system_error>

namespace keysong {

namespace {

/// Whether an open file is the one that a path leads to, and not one that was renamed or removed.
bool isAt(const FileDescriptor& file, const std::filesystem::path& path) {
    struct stat open {};
    struct stat named {};
    return file.isOpen() && fstat(file.get(), &open) == 0 && lstat(path.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

std::int64_t sizeOf(const FileDescriptor& file) {
    struct stat status {};
    return fstat(file.get(), &status) == 0 ? status.st_size : 0;
}

/// Opens the log for appending, and makes it where it is missing. It is the user's alone.
FileDescriptor openLog(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path().parent_path(), ignored);
    mkdir(path.parent_path().c_str(), 0700);
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file(::open(path.c_str(), flags, 0600));
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        fchmod(file.get(), 0600) != 0) {
        return {};
    }
    return file;
}

} // namespace

FileLogSink::FileLogSink(std::filesystem::path path, LogPrivacy privacy, std::int64_t limitBytes)
    : path_(std::move(path)), privacy_(privacy), limitBytes_(limitBytes) {
}

void FileLogSink::write(const LogRecord& record) noexcept {
    try {
        append(logLine(record, privacy_));
    } catch (const std::exception&) {
        // Without memory there is no message; the program goes on.
    }
}

void FileLogSink::append(const std::string& line) {
    const MutexLock lock(mutex_);
    if (!follow()) {
        return;
    }
    if (sizeOf(file_) + static_cast<std::int64_t>(line.size()) > limitBytes_) {
        rotate();
        if (!follow()) {
            return;
        }
    }
    // One call, so that lines of several processes do not mix. A full disk loses the line.
    [[maybe_unused]] const ssize_t written = ::write(file_.get(), line.data(), line.size());
}

bool FileLogSink::follow() {
    if (!isAt(file_, path_)) {
        file_ = openLog(path_);
    }
    return file_.isOpen();
}

void FileLogSink::rotate() {
    // The lock goes with the full file. Another process that waited for it finds a new file at the path
    // and leaves that one alone.
    if (flock(file_.get(), LOCK_EX) == 0 && isAt(file_, path_) && sizeOf(file_) > 0) {
        std::filesystem::path previous = path_;
        previous += ".1";
        std::error_code ignored;
        std::filesystem::rename(path_, previous, ignored);
    }
    flock(file_.get(), LOCK_UN);
}

} // namespace keysong
