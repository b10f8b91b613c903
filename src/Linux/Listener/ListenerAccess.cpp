#include "Linux/Listener/ListenerAccess.h"

#include <unistd.h>

#include <system_error>
#include <utility>

namespace keysong::listener {

namespace {

/// The service may have to be started for it. Waited for on a thread of its own.
constexpr std::chrono::seconds patience{10};

} // namespace

ListenerAccess::ListenerAccess(TaskQueue& mainQueue, Threads& threads, KeyboardAccess& withoutService,
                               std::string path)
    : mainQueue_(mainQueue), threads_(threads), withoutService_(withoutService), path_(std::move(path)) {
}

ListenerAccess::~ListenerAccess() {
    lifetime_.end();
    if (call_ != nullptr) {
        call_->cancel();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

KeyboardAccess::Way ListenerAccess::way() const {
    return access(path_.c_str(), W_OK) == 0 ? Way::service : withoutService_.way();
}

bool ListenerAccess::canGrant() const {
    return way() == Way::service || withoutService_.canGrant();
}

bool ListenerAccess::grant(Handler handler) {
    return way() == Way::service ? start(Change::Kind::grant, std::move(handler))
                                 : withoutService_.grant(std::move(handler));
}

bool ListenerAccess::revoke(Handler handler) {
    return way() == Way::service ? start(Change::Kind::revoke, std::move(handler))
                                 : withoutService_.revoke(std::move(handler));
}

bool ListenerAccess::start(Change::Kind kind, Handler handler) {
    if (handler_) {
        return false;
    }
    handler_ = std::move(handler);
    if (thread_.joinable()) {
        thread_.join(); // it told its end already
    }
    const auto finishLater = lifetime_.guarded([this](const Result& result) {
        mainQueue_.async(lifetime_.guarded([this, result] { finish(result); }));
    });
    try {
        // Connecting waits for nothing; the answers do.
        call_ = std::make_shared<ListenerCall>(path_);
        thread_ = threads_.start({"com.orlen.keysong.access", "access"},
                                 [call = call_, kind, finishLater] { finishLater(resultOf(*call, kind)); });
    } catch (const std::runtime_error& error) {
        finishLater(Result{Outcome::failed, error.what()});
    }
    return true;
}

KeyboardAccess::Result ListenerAccess::resultOf(ListenerCall& call, Change::Kind kind) {
    try {
        static_cast<void>(call.greet(patience));
        switch (call.change({kind, Change::oneself})) {
        case Answer::Outcome::granted:
        case Answer::Outcome::revoked:
            return {Outcome::granted, {}};
        case Answer::Outcome::dismissed:
            return {Outcome::dismissed, {}};
        case Answer::Outcome::notAuthorized:
            return {Outcome::notAuthorized, {}};
        case Answer::Outcome::cannotAsk:
            return {Outcome::cannotAsk, {}};
        case Answer::Outcome::failed:
            break;
        }
        return {Outcome::failed, "the listener service could not do it; its log says why"};
    } catch (const ListenerCallError& error) {
        return {Outcome::failed, error.what()};
    }
}

void ListenerAccess::finish(const Result& result) {
    call_.reset();
    const Handler handler = std::exchange(handler_, nullptr);
    handler(result); // which may ask again
}

std::string ListenerAccess::command() const {
    return way() == Way::service ? "sudo keysongctl access grant \"$USER\"" : withoutService_.command();
}

} // namespace keysong::listener
