#include "Linux/Frontmost/ProcessProgram.h"

#include <filesystem>
#include <string_view>
#include <system_error>

namespace keysong {

std::string programOfProcess(std::uint32_t process) {
    if (process == 0) {
        return {};
    }
    std::error_code error;
    std::string path =
        std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error).string();
    // A program that was updated while it runs.
    constexpr std::string_view deleted = " (deleted)";
    if (path.ends_with(deleted)) {
        path.resize(path.size() - deleted.size());
    }
    return path;
}

} // namespace keysong
