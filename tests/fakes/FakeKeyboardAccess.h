#pragma once

#include "Platform/KeyboardAccess.h"

#include <utility>

namespace keysong::test {

/// A machine that asks for a password until the test answers.
class FakeKeyboardAccess final : public KeyboardAccess {
  public:
    bool possible = true;
    std::string line = "sudo grant \"$USER\" &&\nsudo listen";
    int questions = 0;
    int revocations = 0;
    Way kind = Way::devices;

    [[nodiscard]] Way way() const override { return kind; }
    [[nodiscard]] bool canGrant() const override { return possible; }
    bool revoke(Handler handler) override {
        ++revocations;
        return grant(std::move(handler));
    }
    bool grant(Handler handler) override {
        if (isAsking()) {
            return false;
        }
        ++questions;
        handler_ = std::move(handler);
        return true;
    }
    [[nodiscard]] std::string command() const override { return line; }

    [[nodiscard]] bool isAsking() const { return handler_ != nullptr; }
    void answer(Outcome outcome, std::string explanation = {}) {
        std::exchange(handler_, nullptr)({outcome, std::move(explanation)});
    }

  private:
    Handler handler_;
};

} // namespace keysong::test
