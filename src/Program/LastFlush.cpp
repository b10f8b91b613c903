#include "Program/LastFlush.h"

#include "Shared/Log.h"

#include <cstdlib>
#include <thread>
#include <utility>

namespace keysong {

namespace {

struct Pending {
    std::function<void()> flush;
    std::thread::id thread;
};

/// Never destroyed: it is looked at after the destructors of static objects may have run.
Pending& pending() {
    static auto& instance = *new Pending; // NOLINT(cppcoreguidelines-owning-memory)
    return instance;
}

void atExit() {
    if (pending().flush != nullptr) {
        if (pending().thread == std::this_thread::get_id()) {
            std::exchange(pending().flush, nullptr)();
            log.error("the display went away");
        }
        std::_Exit(EXIT_FAILURE);
    }
}

} // namespace

LastFlush::LastFlush(std::function<void()> flush) {
    [[maybe_unused]] static const int registered = std::atexit(atExit);
    pending() = {std::move(flush), std::this_thread::get_id()};
}

LastFlush::~LastFlush() {
    pending().flush = nullptr;
}

} // namespace keysong
