#pragma once

#include <mutex>

// Clang's thread-safety analysis, checked by script/check; nothing elsewhere.
#if defined(__clang__)
#define KEYSONG_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KEYSONG_THREAD_ANNOTATION(x)
#endif
#define KEYSONG_GUARDED_BY(mutex) KEYSONG_THREAD_ANNOTATION(guarded_by(mutex))
#define KEYSONG_REQUIRES(mutex) KEYSONG_THREAD_ANNOTATION(requires_capability(mutex))
#define KEYSONG_EXCLUDES(mutex) KEYSONG_THREAD_ANNOTATION(locks_excluded(mutex))

namespace keysong {

/// A plain mutex that the thread-safety analysis knows. Never taken by the render thread.
class KEYSONG_THREAD_ANNOTATION(capability("mutex")) Mutex {
  public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() KEYSONG_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
    void unlock() KEYSONG_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

    /// For condition variables, which need the standard type.
    std::mutex& native() { return mutex_; }

  private:
    std::mutex mutex_;
};

/// Holds a `Mutex` for a scope.
class KEYSONG_THREAD_ANNOTATION(scoped_lockable) MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) KEYSONG_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) {
        mutex_.lock();
    }
    ~MutexLock() KEYSONG_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mutex_;
};

} // namespace keysong
