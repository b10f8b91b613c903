#pragma once

#include <unistd.h>

#include <utility>

namespace keysong {

/// Owns a file descriptor and closes it. Any thread.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int get() const noexcept { return descriptor_; }
    [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }
    void reset(int descriptor = -1) noexcept {
        if (isOpen()) {
            ::close(descriptor_);
        }
        descriptor_ = descriptor;
    }

  private:
    int descriptor_ = -1;
};

} // namespace keysong
