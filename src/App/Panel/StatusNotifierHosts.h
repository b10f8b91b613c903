#pragma once

#include "App/SessionBus.h"

#include <QObject>
#include <functional>
#include <memory>

class QDBusMessage;
class QDBusPendingCall;
class QDBusServiceWatcher;

namespace keysong {

/// Registers this connection's status notifier item with the desktop, and tells whether a panel shows it: the
/// watcher of the session bus, with which items and hosts (panels) register. It may come and go at any time,
/// and gets the item anew each time. Main thread; nothing here waits for the bus.
class StatusNotifierHosts final : public QObject {
    Q_OBJECT

  public:
    /// The bus outlives this object.
    explicit StatusNotifierHosts(SessionBus& bus);
    ~StatusNotifierHosts() override;

    /// Begins, or begins anew on another connection: the bus is open, and the item is on it.
    void start();

    /// Whether a panel shows what registers with the watcher, and the item is registered.
    [[nodiscard]] bool hasHost() const { return hasHost_; }

  signals:
    void changed();

  private slots:
    void hostsChanged();

  private:
    void askForHosts();
    void askForWatcher();
    void watcherChanged(bool isThere);
    void registerItem();
    void tell();
    /// Sends a call that starts no service, and gives the answer, or an error, to `answered` later: unless
    /// another watcher took over meanwhile.
    void ask(QDBusMessage call, const std::function<void(const QDBusPendingCall&)>& answered);

    SessionBus& bus_;
    std::unique_ptr<QDBusServiceWatcher> watch_;
    bool hasWatcher_ = false;
    bool watcherHasHost_ = false;
    bool isRegistered_ = false;
    bool isRegistering_ = false;
    /// Whether the hosts changed while the watcher thought about the item: a refusal may be out of date.
    bool hostsChangedMeanwhile_ = false;
    bool hasHost_ = false;
    /// Counts the watchers that came and went.
    int generation_ = 0;
};

} // namespace keysong
