#pragma once

// The header has a field of this name.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace keysong {

/// From now on a key that is held and repeats is released for this connection when it comes up and no sooner:
/// each repeat is a further press. Otherwise each is a release and a press, and who reads the one before the
/// other is there takes it for the end. False where the server has no keyboard extension. Round trips to the
/// server; the thread that uses the connection, or any where the toolkit owns it.
bool useDetectableRepeat(xcb_connection_t* connection);

} // namespace keysong
