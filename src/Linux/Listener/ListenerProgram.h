#pragma once

#include "Linux/Listener/ListenerService.h"

#include <chrono>

namespace keysong::listener {

/// Makes this process one that nobody can look into and that leaves no core.
void hideProcess() noexcept;

/// The socket that the service manager has handed to this process, as it does when somebody connects; not
/// open when it has not. Main thread, first of all.
[[nodiscard]] FileDescriptor socketOfManager();

/// Serves the socket until the process is asked to end, or nobody has been connected for `idleTime`. The loop
/// is the one that the means work on. Main thread.
void serveListeners(EpollRunLoop& loop, int listeningSocket, const ListenerService::Means& means,
                    std::chrono::milliseconds idleTime);

} // namespace keysong::listener
