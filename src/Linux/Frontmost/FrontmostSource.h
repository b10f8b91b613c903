#pragma once

#include "Linux/Frontmost/WindowIdentity.h"

#include <optional>

namespace keysong {

class EpollRunLoop;

/// One way to learn which window is in front: a window system, or a service of the desktop.
///
/// Everything runs on the thread that serves the run loop; `open` and `close` also before and after. No call
/// waits longer than a second, and none for what another program may never do. A source can be opened again
/// after `close`.
class FrontmostSource {
  public:
    enum class Failure {
        /// This desktop has nothing of the kind.
        notOffered,
        /// It has, or had, but does not answer now.
        unreachable,
    };

    /// Who is told. None of the calls closes or destroys the source before it has returned.
    class Listener {
      public:
        /// The source follows the windows from now on.
        virtual void sourceReady() = 0;
        /// The source cannot be had, or is no longer to be had. Nothing more comes until it is opened again.
        virtual void sourceFailed(Failure failure) = 0;
        /// Another window is in front, or none. May repeat itself.
        virtual void windowInFront(std::optional<WindowIdentity> window) = 0;

      protected:
        ~Listener() = default;
    };

    virtual ~FrontmostSource() = default;

    /// A short name for the log.
    [[nodiscard]] virtual const char* name() const noexcept = 0;

    /// Starts; the listener is told what comes of it, perhaps before this returns. Both outlive `close`.
    virtual void open(EpollRunLoop& loop, Listener& listener) = 0;

    /// Gives up everything that `open` took. Does nothing when closed.
    virtual void close() noexcept = 0;

    /// Whether what was unreachable answers again. Asked while another source is in use.
    [[nodiscard]] virtual bool isReachable() const { return false; }

  protected:
    FrontmostSource() = default;
    FrontmostSource(const FrontmostSource&) = default;
    FrontmostSource& operator=(const FrontmostSource&) = default;
};

} // namespace keysong
