// The protocol's tables, which wayland-scanner writes as C. Its header comes first: it declares what in C++
// would otherwise be private to this file.
#include "wlr-foreign-toplevel-management-unstable-v1-client.h"
#include "wlr-foreign-toplevel-management-unstable-v1-protocol.c"
