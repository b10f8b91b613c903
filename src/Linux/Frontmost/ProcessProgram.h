#pragma once

#include <cstdint>
#include <string>

namespace keysong {

/// The path of the program that a process runs; empty when there is no such process or it is another user's.
/// Reads a link under /proc. Any thread but the render and the event-tap thread.
[[nodiscard]] std::string programOfProcess(std::uint32_t process);

} // namespace keysong
