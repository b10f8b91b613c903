#include "Linux/Sound/AlsaWatch.h"

#include "Shared/Log.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

using std::chrono::milliseconds;

/// A card's nodes and their rights come within a few tens of milliseconds of each other.
constexpr milliseconds settleTime{150};
constexpr std::chrono::minutes minute{1};
constexpr const char* nodesFolder = "snd";

} // namespace

AlsaWatch::AlsaWatch(Threads& threads, std::filesystem::path deviceFolder, Handlers handlers)
    : folder_(std::move(deviceFolder)), handlers_(std::move(handlers)),
      inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), wakeEvent_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!wakeEvent_.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    if (inotify_.isOpen()) {
        folderWatch_ = inotify_add_watch(inotify_.get(), folder_.c_str(), IN_CREATE | IN_MOVED_TO);
        watchNodes();
    }
    if (folderWatch_ < 0) {
        log.notice("sound cards that come or go will not be noticed");
    }
    thread_ = threads.start({"com.orlen.keysong.alsa.watch", "alsa.watch"}, [this] { serve(); });
}

AlsaWatch::~AlsaWatch() {
    stopping_ = true;
    wake();
    thread_.join();
}

void AlsaWatch::wake() noexcept {
    eventfd_write(wakeEvent_.get(), 1);
}

void AlsaWatch::lookAgainIn(NextLook delay) {
    if (delay) {
        nextLook_ = std::min(nextLook_, std::chrono::steady_clock::now() + *delay);
    }
}

void AlsaWatch::watchNodes() {
    nodesWatch_ = inotify_add_watch(inotify_.get(), (folder_ / nodesFolder).c_str(),
                                    IN_CREATE | IN_DELETE | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM);
}

bool AlsaWatch::readEvents() {
    alignas(inotify_event) std::array<char, 4096> bytes;
    bool concerned = false;
    for (;;) {
        const ssize_t length = read(inotify_.get(), bytes.data(), bytes.size());
        if (length <= 0) {
            return concerned;
        }
        for (std::size_t offset = 0; offset < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, bytes.data() + offset, sizeof(event));
            const char* name = event.len > 0 ? bytes.data() + offset + sizeof(event) : "";
            offset += sizeof(event) + event.len;
            if (event.wd == folderWatch_ && std::strcmp(name, nodesFolder) == 0) {
                watchNodes();
                concerned = true;
            } else if (event.wd == nodesWatch_ || (event.mask & IN_Q_OVERFLOW) != 0) {
                concerned = true;
            }
        }
    }
}

void AlsaWatch::serve() {
    Time nextMinute = std::chrono::steady_clock::now() + minute;
    while (!stopping_) {
        const auto now = std::chrono::steady_clock::now();
        const Time next = std::max(now, std::min(nextLook_, nextMinute));
        const auto wait = std::chrono::ceil<milliseconds>(next - now);
        std::array<pollfd, 2> events{{{wakeEvent_.get(), POLLIN, 0}, {inotify_.get(), POLLIN, 0}}};
        ::poll(events.data(), events.size(), static_cast<int>(wait.count()));
        if (stopping_) {
            return;
        }
        if ((events[1].revents & POLLIN) != 0 && readEvents()) {
            nextLook_ = std::chrono::steady_clock::now() + settleTime;
        }
        if ((events[0].revents & POLLIN) != 0) {
            eventfd_t count = 0;
            eventfd_read(wakeEvent_.get(), &count);
            lookAgainIn(handlers_.woken());
        }
        const auto later = std::chrono::steady_clock::now();
        if (later >= nextLook_) {
            nextLook_ = Time::max();
            lookAgainIn(handlers_.lookAgain());
        }
        if (later >= nextMinute) {
            nextMinute = later + minute;
            handlers_.minutePassed();
        }
    }
}

} // namespace keysong
