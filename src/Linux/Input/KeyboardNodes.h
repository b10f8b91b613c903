#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// What sysfs and the device nodes tell about input devices. Any thread but the render thread.

/// Whether this is the path of an event node under /dev/input.
[[nodiscard]] bool isEventNode(std::string_view path);

/// The event nodes under /dev/input, readable or not.
[[nodiscard]] std::vector<std::string> eventNodes();

/// Those of them that have letter keys.
[[nodiscard]] std::vector<std::string> keyboardNodes();

[[nodiscard]] bool isReadable(const std::string& node);

/// A device node at one moment. Names are used again for other devices; the inode is not, nor the number
/// while the inode is there.
struct NodeState {
    /// 0 when there is no such node.
    ino_t inode = 0;
    dev_t device = 0;
    bool readable = false;
};

/// Two system calls.
[[nodiscard]] NodeState nodeStateOf(const std::string& node);

} // namespace keysong
