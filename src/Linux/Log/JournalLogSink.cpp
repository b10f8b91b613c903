#include "Linux/Log/JournalLogSink.h"

#include "Linux/System/FileDescriptor.h"

// The macros would add the place in this file to every message.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <systemd/sd-journal.h>

#include <array>
#include <cstring>
#include <new>
#include <string>

namespace keysong {

namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";

const char* priorityOf(LogLevel level) noexcept {
    static_assert(LOG_INFO == 6 && LOG_NOTICE == 5 && LOG_ERR == 3);
    switch (level) {
    case LogLevel::info:
        return "6";
    case LogLevel::notice:
        return "5";
    case LogLevel::error:
        break;
    }
    return "3";
}

std::string field(const char* name, std::string_view value) {
    std::string text(name);
    text += '=';
    text += value;
    return text;
}

} // namespace

bool JournalLogSink::isAvailable() noexcept {
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, journalSocket, sizeof address.sun_path - 1);
    return socket.isOpen() &&
           connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void JournalLogSink::write(const LogRecord& record) noexcept {
    try {
        const std::array<std::string, 7> fields = {
            field("MESSAGE", record.message),
            field("PRIORITY", priorityOf(record.level)),
            field("SYSLOG_IDENTIFIER", "keysong"),
            field("SUBSYSTEM", record.subsystem),
            field("CATEGORY", record.category),
            field("LEVEL", nameOf(record.level)),
            field("MESSAGE_PRIVATE", record.privateMessage),
        };
        std::array<iovec, fields.size()> vectors{};
        for (std::size_t index = 0; index < fields.size(); ++index) {
            vectors[index] = {const_cast<char*>(fields[index].data()), fields[index].size()};
        }
        const std::size_t count = privacy_ == LogPrivacy::whole ? fields.size() : fields.size() - 1;
        sd_journal_sendv(vectors.data(), static_cast<int>(count));
    } catch (const std::bad_alloc&) {
        // Without memory there is no message; the program goes on.
    }
}

} // namespace keysong
