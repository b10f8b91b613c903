#include "ProcessFigures.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace keysong::bench {

namespace {

/// The number behind a label in one of the kernel's tables; 0 when it is not there.
std::int64_t numberIn(const std::filesystem::path& table, const std::string& label) {
    std::ifstream file(table);
    for (std::string word; file >> word;) {
        if (word == label) {
            std::int64_t number = 0;
            file >> number;
            return number;
        }
    }
    return 0;
}

} // namespace

ProcessFigures ProcessFigures::of(pid_t process) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    ProcessFigures figures;
    figures.pssKib = numberIn(folder / "smaps_rollup", "Pss:");
    figures.privateKib = numberIn(folder / "smaps_rollup", "Private_Dirty:") +
                         numberIn(folder / "smaps_rollup", "Private_Clean:");
    figures.anonymousKib = numberIn(folder / "smaps_rollup", "Anonymous:");
    std::error_code gone;
    for (const auto& thread : std::filesystem::directory_iterator(folder / "task", gone)) {
        std::int64_t time = 0;
        std::ifstream(thread.path() / "schedstat") >> time;
        figures.cpuNanoseconds += time;
        figures.wakeups += numberIn(thread.path() / "status", "voluntary_ctxt_switches:");
        ++figures.threads;
    }
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder / "fd", gone)) {
        ++figures.descriptors;
    }
    return figures;
}

} // namespace keysong::bench
