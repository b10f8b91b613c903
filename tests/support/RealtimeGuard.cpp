#include "support/RealtimeGuard.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numeric>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KEYSONG_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KEYSONG_SANITIZED 1
#endif
#endif

namespace keysong::test {

namespace {

// Plain data, so that touching it never allocates or runs a constructor.
thread_local std::size_t depth = 0;
thread_local RealtimeGuard::Counts counts = {};

void note(RealtimeGuard::Operation operation) noexcept {
    if (depth > 0) {
        ++counts[static_cast<std::size_t>(operation)];
    }
}

} // namespace

RealtimeGuard::RealtimeGuard() noexcept : before_(counts) {
    ++depth;
}

RealtimeGuard::~RealtimeGuard() {
    --depth;
}

std::size_t RealtimeGuard::count(Operation operation) const noexcept {
    const auto index = static_cast<std::size_t>(operation);
    return counts[index] - before_[index];
}

std::size_t RealtimeGuard::total() const noexcept {
    return std::accumulate(counts.begin(), counts.end(), std::size_t{0}) -
           std::accumulate(before_.begin(), before_.end(), std::size_t{0});
}

} // namespace keysong::test

using keysong::test::note;
using Operation = keysong::test::RealtimeGuard::Operation;

#ifdef KEYSONG_SANITIZED

// The sanitizer's heap must stay in its place, but it says what happens there.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                                         void (*freed)(const volatile void*));

namespace {

[[maybe_unused]] const int hooks = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t) { note(Operation::heap); },
    [](const volatile void*) { note(Operation::heap); });

} // namespace

#else

// The C library's own entries stand behind the heap.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) noexcept {
    note(Operation::heap);
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    note(Operation::heap);
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) noexcept {
    note(Operation::heap);
    return __libc_realloc(memory, size);
}
void free(void* memory) noexcept {
    note(Operation::heap);
    __libc_free(memory);
}
void* memalign(std::size_t alignment, std::size_t size) noexcept {
    note(Operation::heap);
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    note(Operation::heap);
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    note(Operation::heap);
    *memory = __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

} // extern "C"

#endif

namespace {

/// The entry behind ours: a sanitizer's if there is one, for GCC's are libraries behind the program. Where
/// the C library keeps an older one for old programs, `version` names the current one; a sanitizer's has
/// none.
template <typename Function>
Function behind(std::atomic<Function>& known, const char* name,
                [[maybe_unused]] const char* version) noexcept {
    Function function = known.load(std::memory_order_relaxed);
    if (function == nullptr) {
        void* found = nullptr;
#ifndef KEYSONG_SANITIZED
        found = version != nullptr ? dlvsym(RTLD_NEXT, name, version) : nullptr;
#endif
        function = reinterpret_cast<Function>(found != nullptr ? found : dlsym(RTLD_NEXT, name));
        known.store(function, std::memory_order_relaxed);
    }
    return function;
}

} // namespace

// Each forwards to the function of the same name and counts the call.
#define KEYSONG_WATCH(operation, result, name, version, parameters, arguments, exception)                    \
    extern "C" result name parameters exception {                                                            \
        note(operation);                                                                                     \
        static std::atomic<result(*) parameters> next = nullptr;                                             \
        return behind(next, #name, version) arguments;                                                       \
    }

#define KEYSONG_WATCH_LOCK(name, type)                                                                       \
    KEYSONG_WATCH(Operation::lock, int, name, nullptr, (type * object), (object), noexcept)

extern "C" {

int printf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int written = vfprintf(stdout, format, arguments);
    va_end(arguments);
    return written;
}
int fprintf(FILE* file, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int written = vfprintf(file, format, arguments);
    va_end(arguments);
    return written;
}

} // extern "C"

KEYSONG_WATCH_LOCK(pthread_mutex_lock, pthread_mutex_t)
KEYSONG_WATCH_LOCK(pthread_mutex_trylock, pthread_mutex_t)
KEYSONG_WATCH_LOCK(pthread_mutex_unlock, pthread_mutex_t)
KEYSONG_WATCH_LOCK(pthread_rwlock_rdlock, pthread_rwlock_t)
KEYSONG_WATCH_LOCK(pthread_rwlock_wrlock, pthread_rwlock_t)
KEYSONG_WATCH_LOCK(pthread_rwlock_unlock, pthread_rwlock_t)

KEYSONG_WATCH(Operation::wait, int, pthread_cond_wait, "GLIBC_2.3.2",
              (pthread_cond_t * condition, pthread_mutex_t* mutex), (condition, mutex), )
KEYSONG_WATCH(Operation::wait, int, pthread_cond_timedwait, "GLIBC_2.3.2",
              (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* until),
              (condition, mutex, until), )
KEYSONG_WATCH(Operation::wait, int, pthread_cond_clockwait, nullptr,
              (pthread_cond_t * condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* until),
              (condition, mutex, clock, until), )
KEYSONG_WATCH(Operation::wait, int, pthread_cond_signal, "GLIBC_2.3.2", (pthread_cond_t * condition),
              (condition), noexcept)
KEYSONG_WATCH(Operation::wait, int, pthread_cond_broadcast, "GLIBC_2.3.2", (pthread_cond_t * condition),
              (condition), noexcept)
KEYSONG_WATCH(Operation::wait, int, nanosleep, nullptr, (const timespec* duration, timespec* left),
              (duration, left), )
KEYSONG_WATCH(Operation::wait, int, clock_nanosleep, "GLIBC_2.17",
              (clockid_t clock, int flags, const timespec* duration, timespec* left),
              (clock, flags, duration, left), )
KEYSONG_WATCH(Operation::wait, int, usleep, nullptr, (useconds_t duration), (duration), )
KEYSONG_WATCH(Operation::wait, int, sched_yield, nullptr, (), (), noexcept)

KEYSONG_WATCH(Operation::file, int, vfprintf, nullptr, (FILE * file, const char* format, va_list arguments),
              (file, format, arguments), )
KEYSONG_WATCH(Operation::file, int, puts, nullptr, (const char* text), (text), )
KEYSONG_WATCH(Operation::file, int, fputs, nullptr, (const char* text, FILE* file), (text, file), )
KEYSONG_WATCH(Operation::file, int, fputc, nullptr, (int character, FILE* file), (character, file), )
KEYSONG_WATCH(Operation::file, int, putchar, nullptr, (int character), (character), )
KEYSONG_WATCH(Operation::file, std::size_t, fwrite, nullptr,
              (const void* data, std::size_t size, std::size_t count, FILE* file),
              (data, size, count, file), )
KEYSONG_WATCH(Operation::file, int, fflush, nullptr, (FILE * file), (file), )
KEYSONG_WATCH(Operation::file, FILE*, fopen, nullptr, (const char* path, const char* mode), (path, mode), )
KEYSONG_WATCH(Operation::file, ssize_t, read, nullptr, (int file, void* data, std::size_t size),
              (file, data, size), )
KEYSONG_WATCH(Operation::file, ssize_t, write, nullptr, (int file, const void* data, std::size_t size),
              (file, data, size), )
