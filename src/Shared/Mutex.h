#pragma once

#include <mutex>

// Clang's thread-safety analysis, checked by script/check; nothing elsewhere.
#if defined(__clang__)
#define KEYSONG_THREAD_ANNOTATION(...) __attribute__((__VA_ARGS__))
#else
#define KEYSONG_THREAD_ANNOTATION(...)
#endif
#define KEYSONG_GUARDED_BY(mutex) KEYSONG_THREAD_ANNOTATION(guarded_by(mutex))
#define KEYSONG_REQUIRES(...) KEYSONG_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KEYSONG_EXCLUDES(...) KEYSONG_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

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
