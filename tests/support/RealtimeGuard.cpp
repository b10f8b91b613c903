#include "support/RealtimeGuard.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
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

[[maybe_unused]] void note(RealtimeGuard::Operation operation) noexcept {
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

bool RealtimeGuard::watches(Operation operation) noexcept {
#ifdef KEYSONG_SANITIZED
    return operation == Operation::heap;
#else
    static_cast<void>(operation);
    return true;
#endif
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

void* operator new(std::size_t size) {
    note(Operation::heap);
    if (void* memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    note(Operation::heap);
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

#else

// The C library's own entries stand behind the heap. Everything else is looked up when first called.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {

/// The entry behind ours. Where the C library keeps an older one for old programs, `version` names the
/// current one.
template <typename Function>
Function* behind(Function*& known, const char* name, const char* version = nullptr) noexcept {
    if (known == nullptr) {
        void* found = version != nullptr ? dlvsym(RTLD_NEXT, name, version) : nullptr;
        known = reinterpret_cast<Function*>(found != nullptr ? found : dlsym(RTLD_NEXT, name));
    }
    return known;
}

} // namespace

// Each forwards to the function of the same name and counts the call.
// NOLINTBEGIN(bugprone-macro-parentheses): parameter lists are no expressions.
#define KEYSONG_WATCH(operation, result, name, version, parameters, arguments, exception)                    \
    extern "C" result name parameters exception {                                                            \
        note(operation);                                                                                     \
        static result(*next) parameters = nullptr;                                                           \
        return behind(next, #name, version) arguments;                                                       \
    }
// NOLINTEND(bugprone-macro-parentheses)

#define KEYSONG_WATCH_LOCK(name, type)                                                                       \
    KEYSONG_WATCH(Operation::lock, int, name, nullptr, (type * object), (object), noexcept)

extern "C" {

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

#endif
