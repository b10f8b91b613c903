#pragma once

#include "Platform/FrontmostApplication.h"

#include <utility>

namespace keysong::test {

/// The application in front as a test wants it.
class FakeFrontmost final : public FrontmostApplication {
  public:
    [[nodiscard]] std::optional<std::string> current() const override { return current_; }
    void setChangeHandler(ChangeHandler handler) override { handler_ = std::move(handler); }
    [[nodiscard]] std::string sourceName() const override { return "fake"; }

    /// Brings an application, or none, to the front and tells of it.
    void activate(std::optional<std::string> identifier) {
        current_ = std::move(identifier);
        if (handler_) {
            handler_(current_);
        }
    }

    [[nodiscard]] bool isFollowed() const { return static_cast<bool>(handler_); }

  private:
    std::optional<std::string> current_;
    ChangeHandler handler_;
};

} // namespace keysong::test
