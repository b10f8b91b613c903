#include "App/RemoteControl.h"

#include "App/AskerData.h"
#include "App/ModelFixture.h"
#include "App/RemoteValue.h"
#include "support/PrivateBus.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <cmath>
#include <future>

namespace keysong::test {
namespace {

/// A client on another thread, so that the main thread can serve it.
class RemoteControlTest : public ModelFixture {
  public:
    void SetUp() override {
        // The bus library keeps its connection for the life of the process, so all tests share one bus.
        static PrivateBus bus;
        static const bool started = bus.start();
        ASSERT_TRUE(started);
        static int count = 1;
        static char name[] = "test";
        static char* words[] = {name, nullptr};
        static const QCoreApplication application(count, words);
        remote = std::make_unique<RemoteControl>();
        ASSERT_EQ(remote->claim(), RemoteControl::Claim::owned);
        model->bootstrap();
        settle();
        remote->attach(*model, windows, [this] { quitAsked = true; });
    }

    void TearDown() override {
        remote.reset();
        QDBusConnection::sessionBus().unregisterService(RemoteControl::serviceName);
    }

    /// Calls a method as another program does and returns the answer.
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

    std::unique_ptr<RemoteControl> remote;
    bool quitAsked = false;
};

TEST_F(RemoteControlTest, ReadsAndChangesTheModel) {
    EXPECT_EQ(get("Volume"), QVariant(0.6)) << "a person's number, not the nearest float's";
    EXPECT_EQ(set("Volume", 0.25).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(model->volume(), 0.25F);
    EXPECT_EQ(set("SetId", "beta").type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(model->selectedSetId(), "beta");
    set("OutputUid", "uid-b");
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    set("OutputUid", "");
    EXPECT_EQ(model->outputDeviceUid(), std::nullopt);
    set("MutedApps", QStringList{"one", "two"});
    EXPECT_THAT(model->mutedApps(), testing::ElementsAre("one", "two"));
    const auto sets = RemoteValue<std::vector<SoundSetInfo>>::fromBus(get("Sets"));
    ASSERT_TRUE(sets);
    ASSERT_EQ(sets->size(), 3U);
    EXPECT_EQ((*sets)[1], (SoundSetInfo{"beta", "beta", {}}));
    EXPECT_FALSE(RemoteValue<std::vector<SoundSetInfo>>::fromBus(get("MutedApps")));
    EXPECT_EQ(ask(RemoteControl::controlInterface, "Toggle", {}).arguments(), QVariantList{false});
    EXPECT_FALSE(model->isEnabled());
    ask(RemoteControl::applicationInterface, "Activate", {QVariantMap()});
    EXPECT_EQ(windows.settings, 1);
    const Asker asker{.display = {{"DISPLAY", ":7"}}, .activationToken = "go", .startupId = ""};
    ask(RemoteControl::applicationInterface, "Activate", {platformDataOf(asker)});
    EXPECT_EQ(windows.asker.display, asker.display);
    EXPECT_EQ(windows.asker.activationToken, "go");
    windows.obstacle = "there is no display";
    EXPECT_EQ(ask(RemoteControl::controlInterface, "ShowSettings", {}).errorMessage(), "there is no display");
    ask(RemoteControl::controlInterface, "Quit", {});
    EXPECT_TRUE(quitAsked);
}

TEST_F(RemoteControlTest, RefusesWhatMakesNoSenseAndChangesNothing) {
    struct Row {
        const char* property;
        QVariant value;
        const char* error;
    };
    for (const Row& row :
         {Row{"Volume", 1.5, "out of range"}, Row{"Volume", std::nan(""), "out of range"},
          Row{"Volume", "loud", "another type"}, Row{"Tone", -1.01, "out of range"},
          Row{"SetId", "missing", "no set \"missing\""},
          Row{"OutputUid", "gone", "output device gone is not attached"}, Row{"Enabled", 1, "another type"},
          Row{"KeysPressed", 7LL, "can only be read"}, Row{"Nothing", true, "no such property"}}) {
        const auto answer = set(row.property, row.value);
        EXPECT_EQ(answer.type(), QDBusMessage::ErrorMessage) << row.property;
        EXPECT_THAT(answer.errorMessage().toStdString(), testing::HasSubstr(row.error));
    }
    EXPECT_EQ(ask(RemoteControl::controlInterface, "Preview", {"missing"}).type(),
              QDBusMessage::ErrorMessage);
    EXPECT_EQ(ask(RemoteControl::controlInterface, "Preview", {}).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(model->volume(), 0.6F);
    EXPECT_EQ(model->selectedSetId(), "alpha");
}

TEST_F(RemoteControlTest, DescribesAllThatItHas) {
    const auto all =
        ask("org.freedesktop.DBus.Properties", "GetAll", {QString(RemoteControl::controlInterface)});
    const auto values = qdbus_cast<QVariantMap>(all.arguments().value(0));
    EXPECT_GT(values.size(), 15);
    const auto xml = ask("org.freedesktop.DBus.Introspectable", "Introspect", {}).arguments()[0].toString();
    for (const QString& name : values.keys()) {
        EXPECT_TRUE(xml.contains("<property name=\"" + name + "\"")) << name.toStdString();
    }
    EXPECT_TRUE(xml.contains("<method name=\"ActivateAction\"><arg type=\"s\" direction=\"in\"/>"
                             "<arg type=\"av\" direction=\"in\"/><arg type=\"a{sv}\" direction=\"in\"/>"));
}

} // namespace
} // namespace keysong::test
