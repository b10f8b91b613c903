#pragma once

#include "App/HeldKeys.h"
#include "Platform/MessageChannel.h"

#include <QObject>
#include <QSocketNotifier>
#include <cstdint>
#include <memory>

namespace keysong {

struct PanelState;
struct ShowWindow;
enum class WindowKind : std::uint8_t;

/// A windows' program's end of the channel to the program that started it. Main thread; served by its event
/// loop.
class ResidentLink final : public QObject {
    Q_OBJECT

  public:
    /// The keys follow what comes over the channel, and their watching is told there. They outlive this
    /// object.
    ResidentLink(std::unique_ptr<MessageChannel> channel, HeldKeys& keys);

    /// What was asked for shows.
    void tellShown(WindowKind window);

  signals:
    void asked(const ShowWindow& request);
    void panelChanged(const PanelState& panel);
    /// So many keys were pressed so far.
    void keysCounted(std::int64_t total);
    /// The other program ended, or says that this one shall.
    void closed();
    /// The other program is of another version.
    void notUnderstood();

  private:
    void serve();

    const std::unique_ptr<MessageChannel> channel_;
    HeldKeys& keys_;
    QSocketNotifier notifier_;
};

} // namespace keysong
