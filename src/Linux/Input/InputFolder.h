#pragma once

#include "Linux/System/FileDescriptor.h"

#include <string>
#include <vector>

namespace keysong {

/// Watches /dev/input: tells which event nodes came, went, or may be read by others than before. An open
/// descriptor does not tell that the right to it was withdrawn; the node does.
///
/// One thread: the tap's. Without inotify it says nothing.
class InputFolder {
  public:
    InputFolder();

    /// Readable when there are changes; negative when the machine refuses to tell.
    [[nodiscard]] int descriptor() const noexcept { return inotify_.get(); }
    /// The paths of the nodes that something happened to; all that are there when too much has happened.
    [[nodiscard]] std::vector<std::string> takeChanges();
    /// Watches the folder again if it was gone, as it is while the machine has no input device at all.
    void watchAgain();

  private:
    FileDescriptor inotify_;
    int watch_ = -1;
};

} // namespace keysong
