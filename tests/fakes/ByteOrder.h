#pragma once

#include "Platform/TextOrder.h"

#include <functional>
#include <utility>

namespace keysong::test {

/// Texts in the order of their bytes, whatever the language.
class ByteOrder final : public TextOrder {
  public:
    /// Runs once, at the next comparison: after the sets have been looked for, before they are listed.
    mutable std::function<void()> meanwhile;

    [[nodiscard]] int compare(std::string_view a, std::string_view b) const override {
        if (const auto task = std::exchange(meanwhile, {})) {
            task();
        }
        return a.compare(b);
    }
};

} // namespace keysong::test
