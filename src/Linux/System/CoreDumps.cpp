#include "Linux/System/CoreDumps.h"

#include <sys/resource.h>

namespace keysong {

void leaveNoCore() noexcept {
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &limit);
    }
}

} // namespace keysong
