#pragma once

#include <array>
#include <cstddef>

namespace keysong::test {

/// Counts what a render thread must not do, on this thread and for as long as it lives. Scopes may nest;
/// each counts what happens during its own life.
///
/// Works in a test program that links `keysong_realtime_guard`, which puts itself before the C library's
/// heap, locks, waits and files, and before those of a sanitizer.
class RealtimeGuard {
  public:
    enum class Operation : std::size_t { heap, lock, wait, file };
    static constexpr std::size_t operationCount = 4;
    using Counts = std::array<std::size_t, operationCount>;

    RealtimeGuard() noexcept;
    ~RealtimeGuard();
    RealtimeGuard(const RealtimeGuard&) = delete;
    RealtimeGuard& operator=(const RealtimeGuard&) = delete;

    /// How often since this scope began.
    [[nodiscard]] std::size_t count(Operation operation) const noexcept;
    [[nodiscard]] std::size_t total() const noexcept;

  private:
    Counts before_;
};

} // namespace keysong::test
