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

/// Whether the device of an event node has letter keys.
[[nodiscard]] bool hasLetterKeys(const std::string& node);

/// An event node of a hardware device of the seat.
struct HardwareNode {
    bool hasLetterKeys = false;
    bool readable = false;
};

/// Whether somebody who sees these nodes may listen to the keyboards: all that have letter keys can be read.
/// One alone is not enough, since the right to it may come from a rule for something else that is tagged on
/// it while the keyboard that the user types on stays silent. Where there is no keyboard now, since it is
/// asleep or detached, one other node that can be read is taken as a sign that a keyboard could be read too.
[[nodiscard]] bool mayListenTo(const std::vector<HardwareNode>& nodes);

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
