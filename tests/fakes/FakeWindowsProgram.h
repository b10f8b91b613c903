#pragma once

#include "App/WindowsMessages.h"
#include "Linux/System/FileDescriptor.h"
#include "Platform/WindowsProgram.h"

#include <sys/eventfd.h>

#include <deque>
#include <utility>
#include <vector>

namespace keysong::test {

/// A windows' program that does what the test says.
class FakeWindowsProgram final : public WindowsProgram {
  public:
    /// The program that was started last, and what the test does with it.
    struct Child {
        Environment environment;
        /// What it was told, in words: "settings", "onboarding token", "keys 1".
        std::vector<std::string> told;
        bool takesMessages = true;
        bool isClosed = false;
        bool wasKilled = false;
        std::deque<MessageChannel::Message> says;
        std::optional<WindowsProcess::End> end;
        FileDescriptor news{eventfd(0, EFD_CLOEXEC)};

        void say(const MessageFromWindows& message) { sayBytes(encoded(message)); }
        void sayBytes(MessageChannel::Message bytes) {
            says.push_back(std::move(bytes));
            eventfd_write(news.get(), 1);
        }
        void finish(WindowsProcess::End how) {
            end = how;
            eventfd_write(news.get(), 1);
        }
    };

    std::vector<std::shared_ptr<Child>> children;
    std::string refusal;

    [[nodiscard]] Child& child() const { return *children.back(); }

    [[nodiscard]] std::unique_ptr<WindowsProcess> start(const Environment& changes) override {
        if (!refusal.empty()) {
            throw WindowsProgramError(refusal);
        }
        children.push_back(std::make_shared<Child>());
        children.back()->environment = changes;
        return std::make_unique<Process>(children.back());
    }

  private:
    class Process final : public WindowsProcess {
      public:
        explicit Process(std::shared_ptr<Child> child) : child_(std::move(child)) {}
        ~Process() override { child_->isClosed = true; }

        [[nodiscard]] int descriptor() const noexcept override { return child_->news.get(); }
        bool send(std::span<const std::byte> bytes) override {
            if (!child_->takesMessages || child_->isClosed) {
                return false;
            }
            child_->told.push_back(inWords(decodedToWindows(bytes).value()));
            return true;
        }
        [[nodiscard]] std::optional<Message> receive() override {
            if (child_->says.empty()) {
                return std::nullopt;
            }
            auto message = std::move(child_->says.front());
            child_->says.pop_front();
            return message;
        }
        [[nodiscard]] bool isClosed() const noexcept override { return child_->isClosed || child_->end; }
        [[nodiscard]] std::optional<End> end() override { return child_->end; }
        void close() noexcept override { child_->isClosed = true; }
        void kill() noexcept override { child_->wasKilled = true; }

      private:
        static std::string inWords(const MessageToWindows& message) {
            if (const auto* keys = std::get_if<KeysHeld>(&message)) {
                return "keys " + std::to_string(keys->down[0]);
            }
            if (const auto* count = std::get_if<KeysCounted>(&message)) {
                return "count " + std::to_string(count->total);
            }
            if (const auto* panel = std::get_if<PanelState>(&message)) {
                return std::string("panel ") + (panel->isShown ? "shown" : "not shown") +
                       (panel->serveTray ? " tray" : "");
            }
            const auto& show = std::get<ShowWindow>(message);
            return (show.window == WindowKind::settings ? "settings" : "onboarding") +
                   (show.activationToken.empty() ? std::string() : " " + show.activationToken);
        }

        const std::shared_ptr<Child> child_;
    };
};

} // namespace keysong::test
