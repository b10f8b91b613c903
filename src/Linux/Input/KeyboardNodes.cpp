#include "Linux/Input/KeyboardNodes.h"

#include <linux/input-event-codes.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>

namespace keysong {

namespace {

namespace fs = std::filesystem;

} // namespace

bool hasLetterKeys(const std::string& node) {
    // The last word of the bitmap holds the keys of the main block.
    std::ifstream file("/sys/class/input" / fs::path(node).filename() / "device/capabilities/key");
    std::string bitmap;
    std::getline(file, bitmap);
    const std::string word = bitmap.substr(bitmap.rfind(' ') + 1);
    std::uint64_t bits = 0;
    std::from_chars(word.data(), word.data() + word.size(), bits, 16);
    constexpr std::uint64_t letters = std::uint64_t{1} << KEY_Q | std::uint64_t{1} << KEY_A;
    return (bits & letters) == letters;
}

bool isEventNode(std::string_view path) {
    return path.starts_with("/dev/input/event");
}

std::vector<std::string> eventNodes() {
    std::vector<std::string> nodes;
    std::error_code error;
    for (fs::directory_iterator entry("/dev/input", error), end; !error && entry != end;
         entry.increment(error)) {
        if (isEventNode(entry->path().native())) {
            nodes.push_back(entry->path());
        }
    }
    return nodes;
}

bool mayListenTo(const std::vector<HardwareNode>& nodes) {
    const bool hasKeyboard = std::ranges::any_of(nodes, &HardwareNode::hasLetterKeys);
    return hasKeyboard
               ? std::ranges::all_of(
                     nodes, [](const HardwareNode& node) { return !node.hasLetterKeys || node.readable; })
               : std::ranges::any_of(nodes, &HardwareNode::readable);
}

NodeState nodeStateOf(const std::string& node) {
    struct stat facts {};
    if (stat(node.c_str(), &facts) != 0) {
        return {};
    }
    return {facts.st_ino, facts.st_rdev, access(node.c_str(), R_OK) == 0};
}

} // namespace keysong
