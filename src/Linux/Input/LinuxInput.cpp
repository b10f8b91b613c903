#include "Linux/Input/LinuxInput.h"

#include "Linux/Input/LibinputSource.h"
#include "Linux/Input/X11Source.h"
#include "Shared/Log.h"

#include <string>
#include <utility>

namespace keysong {

namespace {

class FirstOf final : public InputSource {
  public:
    FirstOf(std::unique_ptr<InputSource> first, std::unique_ptr<InputSource> second)
        : first_(std::move(first)), second_(std::move(second)) {}

    [[nodiscard]] bool hasAccess() const override { return first_->hasAccess() || second_->hasAccess(); }

    [[nodiscard]] bool isRevoked() const override { return first_->isRevoked() || second_->isRevoked(); }

    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) override {
        if (auto tap = first_->createTap(mask, handler)) {
            return tap;
        }
        return second_->createTap(mask, std::move(handler));
    }

  private:
    std::unique_ptr<InputSource> first_;
    std::unique_ptr<InputSource> second_;
};

} // namespace

std::unique_ptr<InputSource> makeInputSource(const Places& places, std::unique_ptr<InputSource> service,
                                             std::shared_ptr<PointerChoices> choices) {
    const std::string wish = places.environment("KEYSONG_INPUT").value_or("");
    if (wish == "service") {
        return service;
    }
    if (wish == "devices") {
        return std::make_unique<LibinputSource>(std::move(choices));
    }
    if (wish == "x11") {
        return std::make_unique<X11Source>();
    }
    if (!wish.empty()) {
        log.error("KEYSONG_INPUT=%{public}s is not a source of input, taking the first with access", wish);
    }
    auto local = std::make_unique<FirstOf>(std::make_unique<LibinputSource>(std::move(choices)),
                                           std::make_unique<X11Source>());
    return std::make_unique<FirstOf>(std::move(service), std::move(local));
}

} // namespace keysong
