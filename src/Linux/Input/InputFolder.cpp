#include "Linux/Input/InputFolder.h"

#include "Linux/Input/KeyboardNodes.h"
#include "Linux/System/InotifyEvents.h"

#include <algorithm>

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
    takeInotifyEvents(inotify_.get(), [&](int, std::uint32_t mask, std::string_view name) {
        overflowed = overflowed || (mask & IN_Q_OVERFLOW) != 0;
        if ((mask & IN_IGNORED) != 0) {
            watch_ = -1;
        }
        if (!name.empty()) {
            std::string node = "/dev/input/";
            node += name;
            if (isEventNode(node) && std::find(nodes.begin(), nodes.end(), node) == nodes.end()) {
                nodes.push_back(std::move(node));
            }
        }
    });
    return overflowed ? eventNodes() : nodes;
}

} // namespace keysong
