#pragma once

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace keysong {

/// Takes every event that waits on an inotify descriptor, which does not block, and calls `handler` with each
/// one's watch, mask and name; the name is empty where the event is about the watched folder itself.
template <typename Handler>
void takeInotifyEvents(int inotify, Handler handler) {
    std::array<char, 4096> buffer{};
    for (ssize_t length = 0; (length = read(inotify, buffer.data(), buffer.size())) > 0;) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            // The name is padded with zero bytes.
            const std::string_view name = event.len != 0 ? buffer.data() + at + sizeof event : "";
            handler(event.wd, event.mask, name);
            at += sizeof event + event.len;
        }
    }
}

} // namespace keysong
