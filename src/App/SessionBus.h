#pragma once

#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <QDBusConnection>
#include <QObject>
#include <chrono>
#include <functional>

namespace keysong {

/// The program's connection to the session's message bus. When the bus goes, because it was restarted, the
/// connection is made again once there is a bus again.
///
/// Main thread. It waits for the bus in `open` alone, and there for no longer than the limit.
class SessionBus final : public QObject {
    Q_OBJECT

  public:
    /// How the bus is reached.
    struct Services {
        /// Whether the bus answers within the time given; waits that long at most. Any thread.
        std::function<bool(std::chrono::milliseconds)> answers;
        /// Runs a task on another thread.
        std::function<void(std::function<void()>)> background;
        /// Runs its tasks on the main thread. Outlives the connection.
        TaskQueue& mainQueue;
    };

    /// How long a bus may take to let the program in.
    static constexpr std::chrono::milliseconds answerLimit{2000};
    /// How long one call to the bus itself may take.
    static constexpr int callLimitMilliseconds = 2000;
    /// How often a bus that went is looked for.
    static constexpr std::chrono::seconds searchInterval{1};

    explicit SessionBus(Services services);
    ~SessionBus() override;

    /// Connects; false when there is no bus, or none that answers. Then, and after a loss, it is looked for
    /// until it is there.
    bool open();

    /// Whether there is a connection.
    [[nodiscard]] bool isOpen() const { return connection_.isConnected(); }
    /// The connection of now; one that is not connected where there is none. Each one has to be given the
    /// objects and names anew.
    [[nodiscard]] const QDBusConnection& connection() const { return connection_; }

    /// Calls a method of the bus itself and waits for the answer, for `callLimitMilliseconds` at most.
    [[nodiscard]] QDBusMessage callBus(const char* method, const QVariantList& arguments) const;

  signals:
    /// There is a new connection, after `open` found none or the old one was lost.
    void opened();

  private slots:
    void disconnected();

  private:
    void connectNow();
    void searchLater();
    void search();

    const Services services_;
    QDBusConnection connection_;
    int connections_ = 0;
    Lifetime lifetime_;
};

} // namespace keysong
