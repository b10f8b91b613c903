#pragma once

#include "App/AppState.h"
#include "App/AppWindows.h"
#include "App/BusObject.h"
#include "App/SessionBus.h"

#include <QDBusMessage>
#include <chrono>
#include <functional>
#include <vector>

namespace keysong {

/// The program on the session bus: `org.freedesktop.Application`, by which a second launch reaches the first,
/// and an interface of its own with every setting as a property and the everyday operations.
///
/// Values are checked here, before they reach the model: a wrong type, a number that is out of range or an
/// unknown set is answered with an error. Main thread.
class RemoteControl final : public BusObject {
    Q_OBJECT

  public:
    static constexpr const char* serviceName = "com.orlen.keysong";
    static constexpr const char* objectPath = "/com/orlen/keysong";
    static constexpr const char* controlInterface = "com.orlen.keysong.Control";
    static constexpr const char* applicationInterface = "org.freedesktop.Application";

    enum class Claim {
        /// This process is the program.
        owned,
        /// Another one is.
        taken,
        /// There is no bus to tell.
        noBus,
    };

    /// The bus outlives this object.
    explicit RemoteControl(SessionBus& bus);

    /// Puts the object on the bus, then takes the name. Messages wait until the event loop runs. After the
    /// bus was lost the name is taken again by itself.
    [[nodiscard]] Claim claim();
    /// Asks the process that owns the name to show its settings on this process's display, and waits so long
    /// at most for the answer. False without one, and when the process is about to end. That it cannot show
    /// them is logged.
    [[nodiscard]] bool activateOther(std::chrono::milliseconds limit) const;

    /// From now on answers for this model and tells the bus of its changes; `windows` shows what is asked
    /// for. `quit` ends the program; `isEnding` tells that something else has asked for its end. Call once,
    /// before the event loop runs. The model and the windows outlive this object.
    void attach(AppState& model, AppWindows& windows, std::function<void()> quit,
                std::function<bool()> isEnding);

    /// The program is about to end: gives the name back and refuses whatever still comes, so that nobody
    /// takes this process for the running program.
    void beginEnding();

  private:
    [[nodiscard]] const std::vector<BusInterface>& interfaces() const override { return interfaces_; }
    void admit(const QDBusMessage& call) const override;

    /// The tables, with whose rows the changes of the model are connected.
    [[nodiscard]] std::vector<BusInterface> describe();
    [[nodiscard]] std::vector<BusProperty> describeProperties();
    void showSettings(const Asker& asker);
    void takeNameAgain();

    SessionBus& bus_;
    /// None before there is a model.
    std::vector<BusInterface> interfaces_;
    AppState* model_ = nullptr;
    AppWindows* windows_ = nullptr;
    std::function<void()> quit_;
    std::function<bool()> isEnding_;
    bool ends_ = false;
};

} // namespace keysong
