#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace keysong::test {

/// A desktop portal with global shortcuts on the session bus. The test calls `process` again and again.
class FakePortal {
  public:
    struct Shortcut {
        std::string id;
        std::string description;
        std::string trigger;

        bool operator==(const Shortcut&) const = default;
    };

    /// Joins the bus; `withShortcuts` is whether the desktop has that interface.
    explicit FakePortal(bool withShortcuts = true);
    /// Leaves the bus, as a crash would.
    ~FakePortal() = default;

    void process();

    /// What was asked for, one list for each time.
    std::vector<std::vector<Shortcut>> asked;
    /// What the user answers: a portal response, and the ids that are not granted.
    std::uint32_t response = 0;
    std::set<std::string> notGranted;
    /// While false the user is still thinking.
    bool answers = true;
    /// Whether creating sessions fails.
    bool refusesSessions = false;
    int sessionsOpen = 0;
    std::string applicationId;

    /// Answers the question that was left open.
    void answer();
    void activate(const std::string& id) { signalShortcut("Activated", id); }
    void deactivate(const std::string& id) { signalShortcut("Deactivated", id); }
    /// Activates a shortcut in a session that is not the newest.
    void activateElsewhere(const std::string& id);
    /// Ends the newest session from this side.
    void closeSession();

  private:
    struct Close {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };

    static int onRegister(sd_bus_message* message, void* self, sd_bus_error*);
    static int onCreateSession(sd_bus_message* message, void* self, sd_bus_error*);
    static int onBindShortcuts(sd_bus_message* message, void* self, sd_bus_error*);
    static int onClose(sd_bus_message* message, void* self, sd_bus_error*);
    static int onVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                         sd_bus_error*);

    [[nodiscard]] std::string pathFor(const char* kind, const std::string& token) const;
    void signalShortcut(const char* signal, const std::string& id);

    std::unique_ptr<sd_bus, Close> bus_;
    std::string client_;
    std::string session_;
    std::string pendingRequest_;
};

} // namespace keysong::test
