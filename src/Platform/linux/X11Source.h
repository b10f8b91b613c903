#pragma once

#include "Platform/InputSource.h"

namespace keysong {

/// Input from an X server through XInput2 raw events, for those who have a display but no right to the
/// devices: every key and button of the session, also under another client's grab, without autorepeat. A
/// scroll notch comes as its button. Injected input (XTEST) is software.
class X11Source final : public InputSource {
  public:
    /// Whether a display with XInput 2 answers. Connects to find out.
    [[nodiscard]] bool isTrusted() const override;
    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) override;
};

} // namespace keysong
