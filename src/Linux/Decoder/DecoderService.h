#pragma once

namespace keysong {

/// Answers the requests that come over a socket, one after the other, until its other end is closed; gives
/// the process's exit status. The body of the decoding child: it locks itself down first.
[[nodiscard]] int serveDecoding(int socket);

} // namespace keysong
