#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVariant>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace keysong::test {

/// What a panel has on the bus: the watcher with which items register, and which says whether there is a host
/// that shows them. It lives on a thread of its own, as it would in another program, since the toolkit waits
/// for its answers.
class FakeWatcher final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(int ProtocolVersion READ protocol)

  public:
    explicit FakeWatcher(bool hasHost) : hasHost_(hasHost) {}

    [[nodiscard]] bool hasHost() const {
        ++timesAsked;
        return hasHost_;
    }
    [[nodiscard]] QStringList items() const;
    [[nodiscard]] int protocol() const { return 0; }
    /// Another thread.
    void setHasHost(bool hasHost);

    /// How often it told whether there is a host.
    mutable std::atomic<int> timesAsked = 0;

  public slots:
    void RegisterStatusNotifierItem(const QString& service);

  signals:
    void StatusNotifierItemRegistered(const QString& service);
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

  private:
    std::atomic<bool> hasHost_;
    mutable std::mutex mutex_;
    QStringList items_;
};

/// A panel on the session bus that shows status notifier items. Questions to the item serve the application's
/// events while they wait. Main thread.
class FakePanel {
  public:
    struct MenuItem {
        int id = 0;
        /// Such as "radio:1 Alps Blue", "checkmark:1 Enabled", "separator", "disabled Sound".
        std::string text;
        std::vector<MenuItem> items;
    };

    /// Takes the watcher's name, with or without a host that shows what is registered.
    explicit FakePanel(bool hasHost = true);
    /// Leaves the bus, as a crash would.
    ~FakePanel();
    FakePanel(const FakePanel&) = delete;
    FakePanel& operator=(const FakePanel&) = delete;

    void setHasHost(bool hasHost) { watcher_.setHasHost(hasHost); }
    /// The services of the items that registered so far.
    [[nodiscard]] QStringList items() const { return watcher_.items(); }

    [[nodiscard]] int timesAskedForHost() const { return watcher_.timesAsked; }

    /// A property of the newest item; invalid where it has none.
    [[nodiscard]] QVariant itemProperty(const QString& name) const;
    /// The greatest alpha of any pixel in any picture of the item; -1 where it has no picture.
    [[nodiscard]] int greatestAlpha() const;
    /// The item's menu as it is now.
    [[nodiscard]] MenuItem menu() const;
    /// As a click on an item of the menu, found by its text. False where there is none.
    [[nodiscard]] bool click(const std::string& text) const;
    /// As a click on the symbol.
    void activate() const { (void)ask("/StatusNotifierItem", itemInterface, "Activate", {0, 0}); }

  private:
    static constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

    /// The arguments of the item's answer; none for an error.
    [[nodiscard]] QVariantList ask(const QString& path, const QString& interface, const QString& method,
                                   const QVariantList& arguments) const;
    [[nodiscard]] QVariantList askMenu(const QString& method, const QVariantList& arguments) const;

    QDBusConnection bus_;
    QThread thread_;
    FakeWatcher watcher_;
};

} // namespace keysong::test
