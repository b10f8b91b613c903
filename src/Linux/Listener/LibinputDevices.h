#pragma once

#include "Linux/Listener/ListenerFacts.h"
#include "Platform/Threads.h"

namespace keysong::listener {

/// Devices read through libinput (`LibinputTap`), each seat's on a thread of its own that delivers input.
class LibinputDevices final : public Devices {
  public:
    /// Outlives this object and all that it opens.
    explicit LibinputDevices(Threads& threads) : threads_(threads) {}

    [[nodiscard]] std::unique_ptr<OpenDevices> open(const std::string& seat, RawEventHandler handler,
                                                    std::function<void()> rest) override;
    [[nodiscard]] std::size_t keyboards() const override;

  private:
    Threads& threads_;
};

} // namespace keysong::listener
