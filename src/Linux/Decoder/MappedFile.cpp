#include "Linux/Decoder/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <stdexcept>
#include <utility>

namespace keysong {

MappedFile::MappedFile(const FileDescriptor& file, std::size_t bytes) : size_(bytes) {
    constexpr int needed = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
    struct stat status {};
    const int seals = fcntl(file.get(), F_GET_SEALS);
    if (seals < 0 || (seals & needed) != needed || fstat(file.get(), &status) != 0 ||
        static_cast<std::size_t>(status.st_size) != bytes) {
        throw std::runtime_error("the decoder's answer is not whole");
    }
    if (bytes > 0) {
        start_ = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, file.get(), 0);
        if (start_ == MAP_FAILED) {
            start_ = nullptr;
            throw std::runtime_error("no room for the decoder's answer");
        }
    }
}

MappedFile::~MappedFile() {
    if (start_ != nullptr) {
        munmap(start_, size_);
    }
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : start_(std::exchange(other.start_, nullptr)), size_(std::exchange(other.size_, 0)) {
}

} // namespace keysong
