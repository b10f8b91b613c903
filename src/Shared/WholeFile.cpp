#include "Shared/WholeFile.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace keysong {

namespace {

[[noreturn]] void failUnreadable(const std::filesystem::path& path, const std::string& reason) {
    throw FileReadError(FileReadError::Kind::unreadable, path, reason);
}

} // namespace

FileReadError::FileReadError(Kind kind, const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error("cannot read " + path.string() + ": " + reason), kind_(kind) {
}

std::string readWholeFile(const std::filesystem::path& path, std::size_t largestBytes) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        const bool missing = status.type() == std::filesystem::file_type::not_found;
        throw FileReadError(missing ? FileReadError::Kind::missing : FileReadError::Kind::unreadable, path,
                            error.message());
    }
    // Opening a pipe that nobody writes to would wait for ever.
    if (!std::filesystem::is_regular_file(status)) {
        failUnreadable(path, "not a regular file");
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        failUnreadable(path, std::generic_category().message(errno));
    }
    // The size is not asked for beforehand: the file may grow meanwhile, or not know its size.
    std::string bytes;
    constexpr std::size_t step = std::size_t{64} << 10U;
    while (stream) {
        const std::size_t before = bytes.size();
        bytes.resize(before + step);
        stream.read(bytes.data() + before, static_cast<std::streamsize>(step));
        bytes.resize(before + static_cast<std::size_t>(stream.gcount()));
        if (bytes.size() > largestBytes) {
            throw FileReadError(FileReadError::Kind::tooLarge, path, "the file is too large");
        }
    }
    if (stream.bad()) {
        failUnreadable(path, "input error");
    }
    return bytes;
}

} // namespace keysong
