#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/Threads.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

namespace keysong {

/// Watches the sound device nodes on a thread of its own, and lends that thread to its owner.
///
/// A card appears in several steps, and the right to use it comes last or, when a session is switched, much
/// later: each of these shows at the nodes themselves, which a device manager's messages would not tell.
class AlsaWatch {
  public:
    /// When a handler wants `lookAgain` to be called, if at all.
    using NextLook = std::optional<std::chrono::milliseconds>;

    struct Handlers {
        /// Nodes came, went or changed their access rights, a moment ago and not again since; or it was asked
        /// for.
        std::function<NextLook()> lookAgain;
        /// Somebody called `wake`.
        std::function<NextLook()> woken;
        /// A minute has passed.
        std::function<void()> minutePassed;
    };

    /// Watches `deviceFolder`/snd, which need not exist yet. The handlers are called on the watch's thread.
    /// Without inotify only `wake` and the minutes work. Throws std::system_error when there is no thread.
    AlsaWatch(Threads& threads, std::filesystem::path deviceFolder, Handlers handlers);
    /// Waits for a handler that is being called.
    ~AlsaWatch();
    AlsaWatch(const AlsaWatch&) = delete;
    AlsaWatch& operator=(const AlsaWatch&) = delete;

    /// Any thread; real-time safe.
    void wake() noexcept;

  private:
    using Time = std::chrono::steady_clock::time_point;

    void serve();
    void lookAgainIn(NextLook delay);
    void watchNodes();
    /// Reads what has happened; true when it concerns sound.
    [[nodiscard]] bool readEvents();

    std::filesystem::path folder_;
    Handlers handlers_;
    FileDescriptor inotify_;
    FileDescriptor wakeEvent_;
    int folderWatch_ = -1;
    int nodesWatch_ = -1;
    /// When `lookAgain` is due. The thread's own.
    Time nextLook_ = Time::max();
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

} // namespace keysong
