#include "App/WindowsLauncher.h"

#include "App/AskerData.h"
#include "Shared/Log.h"

#include <utility>

namespace keysong {

namespace {

WindowsProgram::Environment environmentFor(const WindowsLauncher::Display& display, const Asker& asker) {
    WindowsProgram::Environment result;
    for (const char* variable : displayVariables()) {
        result.emplace(variable, ""); // what this process has of it belongs to another display
    }
    for (const auto& [name, value] : display) {
        result[name] = value;
    }
    // The leave that this process was started with is long used.
    result["XDG_ACTIVATION_TOKEN"] = asker.activationToken;
    result["DESKTOP_STARTUP_ID"] = asker.startupId;
    return result;
}

std::string nameOf(const WindowsLauncher::Display& display) {
    for (const char* variable : {"WAYLAND_DISPLAY", "DISPLAY"}) {
        if (const auto found = display.find(variable); found != display.end()) {
            return found->second;
        }
    }
    return {};
}

} // namespace

WindowsLauncher::WindowsLauncher(WindowsProgram& program, KeyMonitor& monitor, TaskQueue& mainQueue,
                                 Display ownDisplay, std::function<bool()> hasBus)
    : program_(program), mainQueue_(mainQueue), hasBus_(std::move(hasBus)),
      ownDisplay_(std::move(ownDisplay)), lastDisplay_(ownDisplay_),
      liveKeys_(monitor, mainQueue, [this](const KeyBitmap& down) {
          return process_ != nullptr && process_->send(encoded(KeysHeld{down}));
      }) {
}

WindowsLauncher::~WindowsLauncher() = default;

std::string WindowsLauncher::show(WindowKind window, const Asker& asker) {
    wantedDisplay_ = namesDisplay(asker.display) ? asker.display : lastDisplay_;
    if (const std::string why = obstacle(); !why.empty()) {
        if (window == WindowKind::onboarding) {
            log.notice("not allowed to hear the keyboards: see \"keysongctl access\"");
        }
        log.notice("no window to show: %{public}s", why);
        return why;
    }
    requests_[window] = asker;
    if (process_ == nullptr) {
        return start(wantedDisplay_);
    }
    if (!isClosing_ && isSameDisplay(display_, wantedDisplay_)) {
        send({window, asker});
    } else {
        close(); // its end starts the next one
    }
    return {};
}

std::string WindowsLauncher::obstacle() const {
    if (!hasBus_()) {
        return "there is no session bus, by which windows speak to Keysong";
    }
    return namesDisplay(wantedDisplay_) ? "" : "there is no display; ask from a desktop, or use keysongctl";
}

std::string WindowsLauncher::start(const Display& display) {
    hasShown_ = false;
    isClosing_ = false;
    isEnding_ = false;
    display_ = display;
    try {
        const auto asker = requests_.empty() ? Asker() : requests_.begin()->second;
        process_ = program_.start(environmentFor(display_, asker));
    } catch (const WindowsProgramError& error) {
        requests_.clear();
        log.error("the windows cannot be shown: %{public}s; install Keysong again, or use keysongctl",
                  std::string_view(error.what()));
        return std::string("the windows cannot be shown: ") + error.what();
    }
    processLife_.emplace();
    notifier_ = std::make_unique<QSocketNotifier>(process_->descriptor(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { serve(); });
    setPanel(panel_);
    process_->send(encoded(KeysCounted{keysPressed_}));
    for (const auto& request : requests_) {
        send(request);
    }
    return {};
}

void WindowsLauncher::setPanel(const PanelState& panel) {
    panel_ = panel;
    if (process_ != nullptr) {
        const bool isHere = isSameDisplay(display_, ownDisplay_);
        process_->send(encoded(PanelState{panel.isShown, panel.serveTray && isHere}));
    } else {
        startTray();
    }
}

void WindowsLauncher::setKeysPressed(std::int64_t total) {
    if (std::exchange(keysPressed_, total) != total && process_ != nullptr) {
        process_->send(encoded(KeysCounted{total}));
    }
}

void WindowsLauncher::startTray() {
    if (panel_.serveTray && hasBus_()) {
        start(ownDisplay_);
    }
}

void WindowsLauncher::send(const Requests::value_type& request) {
    // One that is just ending takes nothing any more; its end then starts the next one.
    process_->send(encoded(ShowWindow{request.first, request.second.activationToken}));
}

void WindowsLauncher::serve() {
    // One by one, so that other work gets its turn, too.
    if (const auto message = process_->receive()) {
        received(*message);
    } else if (const auto end = process_->end()) {
        ended(*end);
    } else if (process_->isClosed() && !isEnding_) {
        expectEnd();
    }
}

void WindowsLauncher::received(const MessageChannel::Message& bytes) {
    const auto message = decodedFromWindows(bytes);
    if (!message) {
        log.error("the windows' program is of another version: quit Keysong and start it again");
        requests_.clear();
        close();
        return;
    }
    if (const auto* shown = std::get_if<WindowShown>(&*message)) {
        hasShown_ = true;
        lastDisplay_ = display_; // one that cannot be opened is not asked for again
        requests_.erase(shown->window);
    } else if (const auto* watch = std::get_if<WatchKeys>(&*message)) {
        liveKeys_.setWatching(watch->isWatching);
    }
}

void WindowsLauncher::close() {
    if (!isClosing_) {
        isClosing_ = true;
        process_->close();
        expectEnd();
    }
}

void WindowsLauncher::expectEnd() {
    isEnding_ = true;
    liveKeys_.setWatching(false);
    mainQueue_.asyncAfter(patience, processLife_->guarded([this] { process_->kill(); }));
}

void WindowsLauncher::ended(const WindowsProcess::End& end) {
    logEnd(end);
    liveKeys_.setWatching(false);
    processLife_.reset();
    notifier_->setEnabled(false);
    notifier_.release()->deleteLater(); // it is the one that calls
    process_.reset();
    // Asked for while the program was about to end. One that never showed anything would fail again.
    if (!requests_.empty() && (hasShown_ || isClosing_)) {
        start(wantedDisplay_);
        return;
    }
    requests_.clear();
    if (end.signal == 0 && end.status == 0) {
        startTray(); // it was elsewhere
    }
}

void WindowsLauncher::logEnd(const WindowsProcess::End& end) const {
    if (end.signal != 0 && !isClosing_) {
        log.error("the windows' program was ended by signal %{public}d; the next request starts it again",
                  end.signal);
    } else if (end.status != 0) {
        log.notice("the windows' program on display %{public}s ended with status %{public}d",
                   nameOf(display_), end.status);
    }
}

} // namespace keysong
