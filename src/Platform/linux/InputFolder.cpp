#include "Platform/linux/InputFolder.h"

#include "Platform/linux/KeyboardNodes.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace keysong {

InputFolder::InputFolder() : inotify_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    watchAgain();
}

void InputFolder::watchAgain() {
    if (inotify_.isOpen() && watch_ < 0) {
        watch_ = inotify_add_watch(inotify_.get(), "/dev/input", IN_ATTRIB | IN_CREATE | IN_DELETE);
    }
}

std::vector<std::string> InputFolder::takeChanges() {
    std::vector<std::string> nodes;
    bool overflowed = false;
    std::array<char, 4096> buffer{};
    for (ssize_t length = 0; (length = read(inotify_.get(), buffer.data(), buffer.size())) > 0;) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            overflowed = overflowed || (event.mask & IN_Q_OVERFLOW) != 0;
            if ((event.mask & IN_IGNORED) != 0) {
                watch_ = -1;
            }
            if (event.len != 0) {
                std::string node = "/dev/input/";
                node += buffer.data() + at + sizeof event;
                if (isEventNode(node) && std::find(nodes.begin(), nodes.end(), node) == nodes.end()) {
                    nodes.push_back(std::move(node));
                }
            }
            at += sizeof event + event.len;
        }
    }
    return overflowed ? eventNodes() : nodes;
}

} // namespace keysong
