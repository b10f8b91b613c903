#pragma once

#include "Linux/System/FileDescriptor.h"

#include <cstddef>
#include <string_view>

namespace keysong {

/// A sealed file in memory, mapped for reading. One thread.
class MappedFile {
  public:
    /// Throws std::runtime_error unless the file has this size, and is sealed so that it keeps it and its
    /// content.
    MappedFile(const FileDescriptor& file, std::size_t bytes);
    ~MappedFile();
    MappedFile(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    MappedFile& operator=(MappedFile&&) = delete;

    [[nodiscard]] std::string_view bytes() const noexcept {
        return {static_cast<const char*>(start_), size_};
    }

  private:
    void* start_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace keysong
