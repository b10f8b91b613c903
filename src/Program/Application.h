#pragma once

#include "Program/Machine.h"

namespace keysong {

/// The program itself, from the launch to the request to end: makes the machine's implementations, the model
/// on top of them, and serves the main thread's event loop. A second launch shows the first one's settings
/// instead. Returns the process's exit status.
///
/// The toolkit gets the program's path alone, so that no argument of its own means anything. Main thread.
[[nodiscard]] int runApplication(Machine& machine, char* programPath);

} // namespace keysong
