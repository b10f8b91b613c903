#pragma once

#include "Linux/Listener/ListenerFacts.h"
#include "Linux/Listener/SystemBus.h"

#include <map>
#include <memory>
#include <string>

struct sd_login_monitor;

namespace keysong::listener {

/// The sessions of systemd's login manager. Who they belong to and which one a seat shows stands in its
/// files; whether a screen is locked is asked over the bus, and counts as locked until it is answered.
class LogindSessions final : public Sessions {
  public:
    /// Both outlive this object.
    LogindSessions(EpollRunLoop& loop, SystemBus& bus);
    ~LogindSessions() override;

    [[nodiscard]] std::string sessionOf(const Process& process) override;
    [[nodiscard]] std::optional<Session> find(const std::string& session) override;

  private:
    struct Unref {
        void operator()(sd_login_monitor* monitor) const noexcept;
    };
    /// What is known of a session's screen.
    struct Screen {
        LogindSessions* owner = nullptr;
        std::optional<bool> isLocked;
        BusSlot question;

        void answered(sd_bus_message* answer);
    };

    void busChanged();
    void sessionsChanged();
    void screensChanged(sd_bus_message* signal);
    void ask(const std::string& session, Screen& screen);
    void tell() const;

    EpollRunLoop& loop_;
    SystemBus& bus_;
    std::unique_ptr<sd_login_monitor, Unref> monitor_;
    std::map<std::string, Screen> screens_;
    BusSlot match_;
};

} // namespace keysong::listener
