#include "Linux/Decoder/DecodingChild.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace keysong {

DecodingChild::~DecodingChild() {
    rest();
}

void DecodingChild::rest() const {
    const MutexLock lock(mutex_);
    end();
}

void DecodingChild::start() const {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw DecodingError(std::generic_category().message(errno));
    }
    socket_.reset(ends[0]);
    const FileDescriptor theirs(ends[1]);
    SpawnedProcess::Setting setting;
    setting.words = {program_.string()};
    setting.inherited = theirs.get();
    try {
        process_.emplace(setting);
    } catch (const std::system_error& error) {
        socket_.reset();
        throw DecodingError(std::string("the decoder does not start: ") + error.what());
    }
}

void DecodingChild::end() const {
    if (!process_) {
        return;
    }
    socket_.reset();
    process_->signal(SIGKILL);
    // It is as good as dead: the wait is short.
    pollfd ended{process_->descriptor(), POLLIN, 0};
    while (poll(&ended, 1, -1) < 0 && errno == EINTR) {
    }
    static_cast<void>(process_->collect());
    process_.reset();
}

DecodingChild::Result DecodingChild::ask(const DecoderRequest& request, const FileDescriptor& file,
                                         std::chrono::milliseconds longest) const {
    const MutexLock lock(mutex_);
    if (!process_) {
        start();
    }
    // The position is the file's: who had it before may have moved it.
    lseek(file.get(), 0, SEEK_SET);
    Result result;
    bool isAnswered = sendMessage(socket_.get(), &request, sizeof(request), file.get());
    bool isLate = false;
    if (isAnswered) {
        pollfd answered{socket_.get(), POLLIN, 0};
        isLate = poll(&answered, 1, static_cast<int>(longest.count())) == 0;
        isAnswered =
            !isLate && receiveMessage(socket_.get(), &result.answer, sizeof(result.answer), result.file);
    }
    if (!isAnswered) {
        end();
        throw DecodingError(isLate ? "decoding it takes too long" : "the decoder failed on it");
    }
    result.answer.text[sizeof(result.answer.text) - 1] = '\0';
    if (result.answer.isGood == 0) {
        throw DecodingError(result.answer.text);
    }
    return result;
}

} // namespace keysong
