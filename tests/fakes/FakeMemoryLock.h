#pragma once

#include "Platform/MemoryLock.h"

namespace keysong::test {

/// Counts the bytes that are held.
class FakeMemoryLock final : public MemoryLock {
  public:
    std::size_t heldBytes = 0;

    [[nodiscard]] std::unique_ptr<MemoryHold>
    hold(std::span<const std::span<const std::byte>> pieces) override {
        std::size_t size = 0;
        for (const auto& piece : pieces) {
            size += piece.size();
        }
        return std::make_unique<Hold>(heldBytes, size);
    }

  private:
    class Hold final : public MemoryHold {
      public:
        Hold(std::size_t& held, std::size_t size) : held_(held), size_(size) { held_ += size_; }
        ~Hold() override { held_ -= size_; }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

      private:
        std::size_t& held_;
        const std::size_t size_;
    };
};

} // namespace keysong::test
