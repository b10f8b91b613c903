#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVariant>
#include <atomic>
#include <map>
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
    std::atomic<bool> refuses = false;
    std::atomic<int> timesRefused = 0;

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
class FakePanel final : public QObject {
    Q_OBJECT

  public:
    /// The items one after the other, such as "radio:1 Alps Blue", "checkmark:1 Enabled", "separator",
    /// "disabled Sound", those of a submenu with "> " in front.
    using Menu = std::vector<std::string>;

    /// Takes the watcher's name, with or without a host that shows what is registered.
    explicit FakePanel(bool hasHost = true);
    /// Leaves the bus, as a crash would.
    ~FakePanel() override;

    void setHasHost(bool hasHost) { watcher_.setHasHost(hasHost); }
    /// Whether items that want to register get an error.
    void setRefuses(bool refuses) { watcher_.refuses = refuses; }
    /// The services of the items that registered so far.
    [[nodiscard]] QStringList items() const { return watcher_.items(); }

    [[nodiscard]] int timesAskedForHost() const { return watcher_.timesAsked; }
    [[nodiscard]] int timesRefused() const { return watcher_.timesRefused; }

    /// A property of the newest item; invalid where it has none.
    [[nodiscard]] QVariant itemProperty(const QString& name) const;
    /// The greatest alpha of any pixel in any picture of the item; -1 where it has no picture.
    [[nodiscard]] int greatestAlpha() const;
    /// The item's menu as it is now.
    [[nodiscard]] Menu menu() const;
    /// The menu as a panel knows it that read it once, and then only what it was told of.
    [[nodiscard]] Menu followedMenu();
    /// As a click on an item of the menu, found by its text alone. False where there is none.
    [[nodiscard]] bool click(const std::string& text) const;

    /// Calls the item, and gives its answer, which may be an error.
    [[nodiscard]] QDBusMessage callItem(const QString& interface, const QString& method,
                                        const QVariantList& arguments) const;
    /// The same with the item's menu.
    [[nodiscard]] QDBusMessage callMenu(const QString& method, const QVariantList& arguments) const;

    static constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
    static constexpr const char* menuInterface = "com.canonical.dbusmenu";

    /// How often the item said so.
    int newIcons = 0;
    int newLayouts = 0;

  private slots:
    void iconChanged() { ++newIcons; }
    void layoutChanged(uint revision, int parent);
    void propertiesChanged(const QDBusMessage& message);

  private:
    struct Node {
        QVariantMap properties;
        std::vector<int> children;
    };
    using Nodes = std::map<int, Node>;

    [[nodiscard]] QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                                    const QVariantList& arguments) const;
    /// Reads what an item holds.
    void read(Nodes& nodes, int parent) const;
    static int read(Nodes& nodes, const QDBusArgument& layout);
    static void list(Menu& menu, const Nodes& nodes, int parent, const std::string& indent = "");

    QDBusConnection bus_;
    QThread thread_;
    FakeWatcher watcher_;
    bool follows_ = false;
    Nodes followed_;
    /// Whose items are to be read again.
    std::vector<int> outdated_;
};

} // namespace keysong::test
