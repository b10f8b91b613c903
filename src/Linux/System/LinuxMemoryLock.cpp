#include "Linux/System/LinuxMemoryLock.h"

#include "Shared/Log.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace keysong {

namespace {

/// Whole pages, by their addresses.
struct Pages {
    std::uintptr_t begin;
    std::uintptr_t end;

    [[nodiscard]] void* address() const { return reinterpret_cast<void*>(begin); }
    [[nodiscard]] std::size_t size() const { return end - begin; }
    [[nodiscard]] bool meets(const Pages& other) const { return begin < other.end && other.begin < end; }
};

/// The pages on which the pieces lie; pieces that touch the same or neighbouring pages are one.
std::vector<Pages> pagesOf(std::span<const std::span<const std::byte>> pieces) {
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    std::vector<Pages> all;
    for (const auto& piece : pieces) {
        const auto begin = reinterpret_cast<std::uintptr_t>(piece.data());
        if (!piece.empty()) {
            all.push_back(
                {begin / pageSize * pageSize, (begin + piece.size() + pageSize - 1) / pageSize * pageSize});
        }
    }
    std::sort(all.begin(), all.end(), [](const Pages& a, const Pages& b) { return a.begin < b.begin; });
    std::vector<Pages> merged;
    for (const Pages& pages : all) {
        if (!merged.empty() && pages.begin <= merged.back().end) {
            merged.back().end = std::max(merged.back().end, pages.end);
        } else {
            merged.push_back(pages);
        }
    }
    return merged;
}

} // namespace

class LinuxMemoryLock::Hold final : public MemoryHold {
  public:
    Hold(LinuxMemoryLock& owner, std::vector<Pages> held) : pages(std::move(held)), owner_(owner) {}
    ~Hold() override {
        const MutexLock lock(owner_.mutex_);
        if (std::erase(owner_.holds_, this) > 0) {
            owner_.unlock(*this);
        }
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    const std::vector<Pages> pages;

  private:
    LinuxMemoryLock& owner_;
};

std::unique_ptr<MemoryHold> LinuxMemoryLock::hold(std::span<const std::span<const std::byte>> pieces) {
    auto hold = std::make_unique<Hold>(*this, pagesOf(pieces));
    int error = 0;
    {
        const MutexLock lock(mutex_);
        for (const Pages& pages : hold->pages) {
            if (mlock(pages.address(), pages.size()) != 0) {
                error = errno;
                unlock(*hold);
                break;
            }
        }
        if (error == 0) {
            holds_.push_back(hold.get());
            return hold;
        }
    }
    log.info("memory of sounds is not locked: %{public}s", std::strerror(error));
    return nullptr;
}

void LinuxMemoryLock::unlock(const Hold& hold) {
    for (const Pages& pages : hold.pages) {
        munlock(pages.address(), pages.size());
        for (const Hold* other : holds_) {
            for (const Pages& shared : other->pages) {
                if (shared.meets(pages)) {
                    // It was locked a moment ago, so the limit allows it.
                    static_cast<void>(mlock(shared.address(), shared.size()));
                }
            }
        }
    }
}

} // namespace keysong
