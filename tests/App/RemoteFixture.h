#pragma once

#include "App/CoreProgram.h"
#include "App/ModelFixture.h"
#include "App/RemoteControl.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <future>
#include <memory>

namespace keysong::test {

/// A model that answers on a bus of the test's own.
class RemoteFixture : public ModelFixture {
  public:
    void SetUp() override {
        makeBusApplication();
        ASSERT_TRUE(sessionBus.open());
        remote = std::make_unique<RemoteControl>(sessionBus);
        ASSERT_EQ(remote->claim(), RemoteControl::Claim::owned);
        model->bootstrap();
        settle();
        remote->attach(
            *model, windows, [this] { quitAsked = true; }, [this] { return isEnding; });
    }

    void TearDown() override {
        remote.reset(); // the name goes back with its connection
    }

    /// Calls a method as another program does and returns the answer. The client is on another thread, so
    /// that this one can serve it.
    QDBusMessage ask(const char* interface, const char* method, const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall(RemoteControl::serviceName, RemoteControl::objectPath,
                                                      interface, method);
        message.setArguments(arguments);
        auto answer = std::async(std::launch::async, [&] {
            auto client = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "client");
            return client.call(message);
        });
        while (answer.wait_for(std::chrono::milliseconds(2)) != std::future_status::ready) {
            QCoreApplication::processEvents();
        }
        return answer.get();
    }
    QDBusMessage set(const char* property, const QVariant& value) {
        return ask(
            "org.freedesktop.DBus.Properties", "Set",
            {QString(RemoteControl::controlInterface), property, QVariant::fromValue(QDBusVariant(value))});
    }
    QVariant get(const char* property) {
        const auto answer = ask("org.freedesktop.DBus.Properties", "Get",
                                {QString(RemoteControl::controlInterface), property});
        return answer.arguments().value(0).value<QDBusVariant>().variant();
    }

    ManualQueue searches;
    SessionBus sessionBus{{[](auto) { return true; }, [](const auto& task) { task(); }, searches}};
    std::unique_ptr<RemoteControl> remote;
    bool quitAsked = false;
    /// Whether the program was asked to end in another way.
    bool isEnding = false;
};

} // namespace keysong::test
