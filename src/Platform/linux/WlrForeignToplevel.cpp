// The protocol's tables, which wayland-scanner writes as C. Its header comes first: it declares what in C++
// would otherwise be private to this file. The tables' own wish for visibility then comes too late.
#include "wlr-foreign-toplevel-management-unstable-v1-client.h"

#pragma GCC diagnostic ignored "-Wattributes"
#include "wlr-foreign-toplevel-management-unstable-v1-protocol.c"
