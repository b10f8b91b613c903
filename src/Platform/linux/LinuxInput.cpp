#include "Platform/linux/LinuxInput.h"

#include "Platform/linux/LibinputSource.h"
#include "Platform/linux/X11Source.h"

namespace keysong {

namespace {

class LinuxInput final : public InputSource {
  public:
    [[nodiscard]] bool isTrusted() const override { return devices_.isTrusted() || display_.isTrusted(); }

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
