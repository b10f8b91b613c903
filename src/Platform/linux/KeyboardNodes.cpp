#include "Platform/linux/KeyboardNodes.h"

#include "Platform/linux/FileDescriptor.h"

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>

namespace keysong {

namespace {

namespace fs = std::filesystem;

/// Whether the device has letter keys: the last word of its key bitmap holds the keys of the main block.
bool hasLetterKeys(const fs::path& sysfsDevice) {
    std::ifstream file(sysfsDevice / "capabilities/key");
    std::string bitmap;
    std::getline(file, bitmap);
    const std::string word = bitmap.substr(bitmap.rfind(' ') + 1);
    std::uint64_t bits = 0;
    std::from_chars(word.data(), word.data() + word.size(), bits, 16);
    constexpr std::uint64_t letters = std::uint64_t{1} << KEY_Q | std::uint64_t{1} << KEY_A;
    return (bits & letters) == letters;
}

} // namespace

DeviceOrigin originOfDevice(std::string_view sysfsPath) {
    return sysfsPath.find("/devices/virtual/input/") != std::string_view::npos ? DeviceOrigin::software
                                                                               : DeviceOrigin::hardware;
}

std::vector<std::string> keyboardNodes() {
    std::vector<std::string> nodes;
    std::error_code error;
    for (fs::directory_iterator entry("/sys/class/input", error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.starts_with("event") && hasLetterKeys(entry->path() / "device")) {
            nodes.push_back("/dev/input/" + name);
        }
    }
    return nodes;
}

bool isReadable(const std::string& node) {
    return access(node.c_str(), R_OK) == 0;
}

bool isGrabbedByOther(const std::string& node) {
    const FileDescriptor device(open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!device.isOpen()) {
        return false;
    }
    if (ioctl(device.get(), EVIOCGRAB, 1) != 0) {
        return errno == EBUSY;
    }
    ioctl(device.get(), EVIOCGRAB, 0);
    return false;
}

} // namespace keysong
