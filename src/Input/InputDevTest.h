#pragma once

#include "Platform/InputSource.h"
#include "Platform/Threads.h"
#include "Shared/SoundEvent.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace keysong {

/// The input diagnostics: a self-check of the decoder, then a live tap that prints what it hears.
/// Main thread.
class InputDevTest {
  public:
    /// `source` and `threads` outlive the diagnostics.
    InputDevTest(InputSource& source, Threads& threads) : source_(source), threads_(threads) {}

    /// Runs the mode and returns the process's exit status; the live tap never returns. `arguments` is the
    /// whole argument vector: "selftest" anywhere in it asks for the self-check alone.
    int run(std::span<const std::string_view> arguments);

    /// An event, or its absence, as the diagnostics print it: "keyDown 0 [main]", "nil".
    [[nodiscard]] static std::string describe(const std::optional<SoundEvent>& event);

    /// Decodes synthetic events with known answers and prints a line for each; true when all passed.
    static bool selfCheck();

  private:
    InputSource& source_;
    Threads& threads_;
};

} // namespace keysong
