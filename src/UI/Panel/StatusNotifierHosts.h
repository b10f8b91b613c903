#pragma once

#include <QObject>

class QDBusServiceWatcher;

namespace keysong {

/// Whether the desktop shows status notifier items: the watcher of the session bus, with which items and
/// hosts (panels) register. It may come and go at any time. Main thread; nothing here waits for the bus.
class StatusNotifierHosts final : public QObject {
    Q_OBJECT

  public:
    StatusNotifierHosts();
    ~StatusNotifierHosts() override;

    /// Whether a panel shows what registers with the watcher.
    [[nodiscard]] bool hasHost() const { return hasHost_; }

  signals:
    void changed();

  private slots:
    void askForHosts();

  private:
    void askForWatcher();
    void watcherChanged(bool isThere);
    void setHasHost(bool hasHost);

    QDBusServiceWatcher* watch_ = nullptr;
    bool hasWatcher_ = false;
    bool hasHost_ = false;
};

} // namespace keysong
