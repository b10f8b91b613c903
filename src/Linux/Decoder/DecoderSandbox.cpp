#include "Linux/Decoder/DecoderSandbox.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <vector>

namespace keysong {

namespace {

#if defined(__x86_64__)
constexpr unsigned architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned architecture = AUDIT_ARCH_AARCH64;
#else
constexpr unsigned architecture = 0;
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif
#else
constexpr bool isSanitized = false;
#endif

/// Messages, what is open already, memory, time and the end.
// clang-format off
constexpr int allowedCalls[] = {
    SYS_read, SYS_pread64, SYS_write, SYS_lseek, SYS_fstat, SYS_newfstatat, SYS_close, SYS_recvmsg,
    SYS_sendmsg, SYS_ftruncate, SYS_memfd_create, SYS_mmap, SYS_munmap, SYS_mremap, SYS_mprotect,
    SYS_madvise, SYS_brk, SYS_futex, SYS_clock_gettime, SYS_clock_nanosleep, SYS_gettimeofday,
    SYS_getrandom, SYS_sched_yield, SYS_rt_sigreturn, SYS_rt_sigprocmask, SYS_rt_sigaction,
    SYS_sigaltstack, SYS_getpid, SYS_gettid, SYS_exit, SYS_exit_group, SYS_restart_syscall,
};
// clang-format on

sock_filter load(std::size_t offset) {
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset));
}

sock_filter answer(unsigned value) {
    return BPF_STMT(BPF_RET | BPF_K, value);
}

/// Skips the next instruction unless the loaded value is this one.
sock_filter unlessEqual(unsigned value) {
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1);
}

std::vector<sock_filter> makeFilter() {
    std::vector<sock_filter> filter = {
        load(offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, architecture, 1, 0),
        answer(SECCOMP_RET_KILL_PROCESS),
        load(offsetof(seccomp_data, nr)),
    };
    for (const int call : allowedCalls) {
        filter.push_back(unlessEqual(static_cast<unsigned>(call)));
        filter.push_back(answer(SECCOMP_RET_ALLOW));
    }
    // fcntl only for what a file in memory needs; the second argument's lower half says what.
    constexpr std::size_t secondArgument = offsetof(seccomp_data, args) + sizeof(__u64);
    constexpr unsigned addSeals = 1033;
    constexpr unsigned getFlags = 3;
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fcntl, 0, 4));
    filter.push_back(load(secondArgument));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, addSeals, 1, 0));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, getFlags, 0, 1));
    filter.push_back(answer(SECCOMP_RET_ALLOW));
    filter.push_back(answer(SECCOMP_RET_ERRNO | EPERM));
    return filter;
}

bool limit(__rlimit_resource resource, unsigned long value) {
    const rlimit both{value, value};
    return setrlimit(resource, &both) == 0;
}

} // namespace

bool lockDownForDecoding(const DecoderLimits& limits) {
    if (architecture == 0) {
        return false;
    }
    // A sanitizer's shadow takes more address space than there is memory.
    const bool isLimited = limit(RLIMIT_CORE, 0) && limit(RLIMIT_CPU, limits.processorSeconds) &&
                           (isSanitized || limit(RLIMIT_AS, limits.memoryBytes)) &&
                           limit(RLIMIT_FSIZE, limits.memoryBytes);
    if (!isLimited || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) {
        return false;
    }
    std::vector<sock_filter> filter = makeFilter();
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

} // namespace keysong
