#pragma once

namespace keysong {

/// Keeps the memory of this process and its children off the disk when one of them fails. Who looks for a
/// fault lifts the limit of a running process with `prlimit --core=unlimited`. Call early, on any thread.
void leaveNoCore() noexcept;

} // namespace keysong
