#pragma once

#include "Linux/System/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// Another program, started as a child of this process. It has none of this process's signal settings and
/// none of its descriptors but those that it is given. One thread at a time.
class SpawnedProcess {
  public:
    /// The number under which the program finds `Setting::inherited`.
    static constexpr int inheritedDescriptor = 3;

    struct Setting {
        /// The program's path and its arguments.
        std::vector<std::string> words;
        /// "NAME=value" each.
        std::vector<std::string> environment;
        /// Where its output and its errors go; -1 for nowhere.
        int output = -1;
        int errors = -1;
        /// A further descriptor for the program; -1 for none.
        int inherited = -1;
    };

    /// This process's own environment, as `Setting` takes it. Main thread.
    [[nodiscard]] static std::vector<std::string> ownEnvironment();

    /// A program of this project: beside this process's own executable, as in a build tree, else in `folder`.
    /// Any thread.
    [[nodiscard]] static std::filesystem::path ownProgram(const char* name,
                                                          const std::filesystem::path& folder);

    /// No program.
    SpawnedProcess() = default;
    /// Starts the program. Throws std::system_error.
    explicit SpawnedProcess(const Setting& setting);

    /// Readable once the program has ended.
    [[nodiscard]] int descriptor() const noexcept { return process_.get(); }
    /// How it ended, as `waitpid` tells it; nothing while it runs. Call it no more once it has told: until it
    /// has, the system keeps a record of the program.
    [[nodiscard]] std::optional<int> collect() const;
    /// Without effect when it has ended, or runs as another user by now.
    void signal(int number) const noexcept;

  private:
    FileDescriptor process_;
};

} // namespace keysong
