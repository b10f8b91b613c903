#pragma once

#include <map>
#include <string>

namespace keysong {

/// Who asks for a window: on which display they sit, and the desktop's leave to take the focus there.
struct Asker {
    /// The variables by which their programs find the display; none where they have no display or do not
    /// tell.
    std::map<std::string, std::string> display;
    /// Empty for none, as the next one.
    std::string activationToken;
    std::string startupId;
};

} // namespace keysong
