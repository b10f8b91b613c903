#pragma once

#include "Input/EventDecoder.h"

#include <optional>
#include <string_view>

namespace keysong {

/// Feeds the decoder synthetic events with known answers, printing one line a case on standard output.
/// Used once, on one thread.
class DecoderSelfCheck {
  public:
    /// Runs every case; true when none failed.
    bool run();

  private:
    void checkKeys();
    void checkModifiers();
    void checkMediaKeys();
    void checkMouse();
    void checkScroll();
    void checkFlick();

    void expect(std::string_view name, EventDecoder& decoder, const RawEvent& event,
                const std::optional<SoundEvent>& want);
    void report(std::string_view name, bool passed, std::string_view got, std::string_view want);

    int failures_ = 0;
};

} // namespace keysong
