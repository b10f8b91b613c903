#include "Shared/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace keysong {

namespace {

/// Closes what it holds.
struct Descriptor {
    explicit Descriptor(int opened) noexcept : number(opened) {}
    ~Descriptor() {
        if (number >= 0) {
            close(number);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

[[noreturn]] void failUnreadable(const std::filesystem::path& path, const std::string& reason) {
    throw FileReadError(FileReadError::Kind::unreadable, path, reason);
}

} // namespace

FileReadError::FileReadError(Kind kind, const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error("cannot read " + path.string() + ": " + reason), kind_(kind) {
}

std::string readWholeFile(const std::filesystem::path& path, std::size_t largestBytes) {
    // Opened first and looked at then: what is looked at by its name may be another thing when it is opened.
    // Without waiting: a pipe that nobody writes to would wait for ever.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (file.number < 0 || fstat(file.number, &status) != 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR;
        throw FileReadError(missing ? FileReadError::Kind::missing : FileReadError::Kind::unreadable, path,
                            std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        failUnreadable(path, "not a regular file");
    }
    // The size is not asked for beforehand: the file may grow meanwhile, or not know its size.
    std::string bytes;
    constexpr std::size_t step = std::size_t{64} << 10U;
    for (;;) {
        const std::size_t before = bytes.size();
        bytes.resize(before + step);
        const ssize_t got = read(file.number, bytes.data() + before, step);
        if (got < 0 && errno == EINTR) {
            bytes.resize(before);
            continue;
        }
        if (got < 0) {
            failUnreadable(path, std::generic_category().message(errno));
        }
        bytes.resize(before + static_cast<std::size_t>(got));
        if (bytes.size() > largestBytes) {
            throw FileReadError(FileReadError::Kind::tooLarge, path, "the file is too large");
        }
        if (got == 0) {
            return bytes;
        }
    }
}

} // namespace keysong
