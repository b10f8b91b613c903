#pragma once

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

namespace keysong::test {

/// A folder of a test's own, removed with all its content at the end.
class TempFolder {
  public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "keysong-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    ~TempFolder() {
        // A program that was just killed, or what it started, may still write here for a moment.
        for (int attempt = 0; attempt < 200 && exists(); ++attempt) {
            if (attempt > 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        }
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Writes a file below the folder, with the folders that it needs, and returns its path.
    std::filesystem::path write(const std::filesystem::path& name, std::string_view bytes) const {
        const auto file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << bytes;
        return file;
    }

    /// Makes a folder below the folder and returns its path.
    [[nodiscard]] std::filesystem::path makeFolder(const std::filesystem::path& name) const {
        std::filesystem::create_directories(path_ / name);
        return path_ / name;
    }

  private:
    [[nodiscard]] bool exists() const {
        std::error_code ignored;
        return std::filesystem::exists(path_, ignored);
    }

    std::filesystem::path path_;
};

} // namespace keysong::test
