#pragma once

#include "App/SessionBus.h"

#include <QDBusError>
#include <QDBusVirtualObject>
#include <QVariant>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace keysong {

/// An answer that is an error: its name for programs, its text for a person.
class BusRefusal : public std::runtime_error {
  public:
    BusRefusal(QDBusError::ErrorType type, const std::string& text) : std::runtime_error(text), type_(type) {}
    [[nodiscard]] QDBusError::ErrorType type() const noexcept { return type_; }

  private:
    QDBusError::ErrorType type_;
};

/// A property of an interface, with its D-Bus type.
struct BusProperty {
    const char* name;
    const char* signature;
    std::function<QVariant()> get;
    /// Empty for what can only be read. Throws `BusRefusal`.
    std::function<void(const QVariant&)> set = {};
};

/// A method of an interface, with the D-Bus types of its arguments and of its answer.
struct BusMethod {
    const char* name;
    const char* inSignature;
    const char* outSignature;
    /// Gets arguments of just these types. Throws `BusRefusal`.
    std::function<QVariantList(const QVariantList&)> call;
};

/// A signal of an interface, with the D-Bus types of its arguments.
struct BusSignal {
    const char* name;
    const char* signature;
};

struct BusInterface {
    const char* name;
    std::vector<BusProperty> properties;
    std::vector<BusMethod> methods;
    std::vector<BusSignal> sends;
};

/// An object on a bus that is described by tables. A call that fits no row of them is answered with an error
/// and reaches nothing. Main thread.
class BusObject : public QDBusVirtualObject {
    Q_OBJECT

  public:
    ~BusObject() override;

    /// From now on others on the bus can call the object; to be repeated after each opening of the bus, and
    /// without effect when it is there already. False, with a line in the log, when that cannot be.
    [[nodiscard]] bool publish();

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

  protected:
    /// The bus outlives the object.
    BusObject(SessionBus& bus, const char* path) : bus_(bus), path_(path) {}

    /// What the object answers to.
    [[nodiscard]] virtual const std::vector<BusInterface>& interfaces() const = 0;
    /// Throws `BusRefusal` when this call is not to be answered now.
    virtual void admit(const QDBusMessage& call) const;
    /// Sends a signal to whoever listens.
    void send(const char* interface, const char* signal, const QVariantList& arguments = {}) const;
    /// Sends the value of a property that changed.
    void sendChanged(const char* interface, const char* property, const QVariant& value) const;

  private:
    [[nodiscard]] QVariantList handleProperties(const QDBusMessage& message) const;

    SessionBus& bus_;
    const char* path_;
};

/// The `get` of a property that never changes.
[[nodiscard]] inline std::function<QVariant()> constantly(const QVariant& value) {
    return [value] { return value; };
}

} // namespace keysong
