#pragma once

#include "App/AppState.h"
#include "App/AppWindows.h"
#include "App/SessionBus.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusVirtualObject>
#include <QStringList>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace keysong {

/// The program on the session bus: `org.freedesktop.Application`, by which a second launch reaches the first,
/// and an interface of its own with every setting as a property and the everyday operations.
///
/// Values are checked here, before they reach the model: a wrong type, a number that is out of range or an
/// unknown set is answered with an error. Main thread.
class RemoteControl final : public QDBusVirtualObject {
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
    ~RemoteControl() override;

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

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

  private:
    /// An answer that is an error: its name for programs, its text for a person.
    class Refusal : public std::runtime_error {
      public:
        Refusal(QDBusError::ErrorType type, const std::string& text)
            : std::runtime_error(text), type_(type) {}
        [[nodiscard]] QDBusError::ErrorType type() const noexcept { return type_; }

      private:
        QDBusError::ErrorType type_;
    };
    struct Property {
        const char* name;
        /// A D-Bus type.
        const char* signature;
        std::function<QVariant(const AppState&)> get;
        /// Empty for what can only be read. Throws `Refusal` and `SettingRefused`.
        std::function<void(AppState&, const QVariant&)> set;
        /// The signal of a change; null for what is asked anew each time.
        AppState::Signal changed = nullptr;
    };
    struct Method {
        const char* interface;
        const char* name;
        const char* inSignature;
        const char* outSignature;
        std::function<QVariantList(RemoteControl&, const QVariantList&)> call;
    };

    static const std::vector<Property>& properties();
    static const std::vector<Method>& methods();

    void showSettings(const Asker& asker);
    [[nodiscard]] QVariantList handleProperties(const QDBusMessage& message);
    [[nodiscard]] QVariantMap allProperties() const;
    void emitChanged(const Property& property) const;
    void takeNameAgain();

    SessionBus& bus_;
    AppState* model_ = nullptr;
    AppWindows* windows_ = nullptr;
    std::function<void()> quit_;
    std::function<bool()> isEnding_;
    bool ends_ = false;
};

} // namespace keysong
