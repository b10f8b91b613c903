#include "Linux/Input/LinuxInput.h"

#include "Linux/Input/LibinputSource.h"
#include "Linux/Input/X11Source.h"

namespace keysong {

namespace {

class LinuxInput final : public InputSource {
  public:
    [[nodiscard]] bool hasAccess() const override { return devices_.hasAccess() || display_.hasAccess(); }

    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) override {
        if (auto tap = devices_.createTap(mask, handler)) {
            return tap;
        }
        return display_.createTap(mask, std::move(handler));
    }

  private:
    LibinputSource devices_;
    X11Source display_;
};

} // namespace

std::unique_ptr<InputSource> makeInputSource() {
    return std::make_unique<LinuxInput>();
}

} // namespace keysong
