#include "App/AskerData.h"
#include "App/RemoteFixture.h"
#include "App/RemoteValue.h"

#include <cmath>

namespace keysong::test {
namespace {

using RemoteControlTest = RemoteFixture;

TEST_F(RemoteControlTest, ReadsAndChangesTheModel) {
    EXPECT_EQ(get("Volume"), QVariant(0.6)) << "a person's number, not the nearest float's";
    model->setOutputDeviceUid("uid-b");
    set("OutputUid", "");
    EXPECT_EQ(model->outputDeviceUid(), std::nullopt);
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

TEST_F(RemoteControlTest, EverySettingIsStoredUnderItsKeyAndAnnounced) {
    struct Row {
        const char* property;
        QVariant value;
        const char* key;
        nlohmann::json stored;
        AppState::Signal changed;
    };
    const Row rows[] = {
        {"Enabled", false, "enabled", false, &AppState::isEnabledChanged},
        {"Volume", 0.25, "volume", 0.25, &AppState::volumeChanged},
        {"SetId", "beta", "setID", "beta", &AppState::selectedSetIdChanged},
        {"OutputUid", "uid-b", "outputUID", "uid-b", &AppState::outputDeviceUidChanged},
        {"SpatialAudio", false, "spatial", false, &AppState::spatialAudioChanged},
        {"Tone", -1.0, "tone", -1.0, &AppState::toneChanged},
        {"Body", 0.7, "body", 0.7, &AppState::bodyChanged},
        {"MouseSounds", false, "mouse", false, &AppState::mouseSoundsChanged},
        {"ScrollSounds", true, "scroll", true, &AppState::scrollSoundsChanged},
        {"MutedApps", QStringList{"one", "two"}, "mutedApps", {"one", "two"}, &AppState::mutedAppsChanged},
        {"MuteWhileRecording", true, "muteWhileRecording", true, &AppState::muteWhileRecordingChanged},
    };
    for (const Row& row : rows) {
        int changes = 0;
        const auto watch = QObject::connect(model.get(), row.changed, [&changes] { ++changes; });
        EXPECT_EQ(set(row.property, row.value).type(), QDBusMessage::ReplyMessage) << row.property;
        QObject::disconnect(watch);
        EXPECT_EQ(changes, 1) << row.property;
        EXPECT_EQ(get(row.property), row.value);
        preferences->flush();
        EXPECT_EQ(domains.read(PreferenceMigration::currentDomain)[row.key], row.stored) << row.key;
    }
    control->advance({});
    const EngineState state = engine->snapshot();
    EXPECT_TRUE(state.muted);
    EXPECT_EQ(state.volume, 0.25F);
    EXPECT_EQ(state.activeUid, "uid-b");
}

TEST_F(RemoteControlTest, RefusesWhatMakesNoSenseAndChangesNothing) {
    QStringList tooMany;
    for (int i = 0; i < 201; ++i) {
        tooMany << QString::number(i);
    }
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
          Row{"MutedApps", tooMany, "at most 200"},
          Row{"MutedApps", QStringList{"one", ""}, "1 to 256 bytes"},
          Row{"MutedApps", QStringList{QString(257, 'a')}, "1 to 256 bytes"},
          Row{"MutedApps", QStringList{"one", "two", "one"}, "twice: one"},
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
    EXPECT_EQ(model->mutedApps(), Settings().mutedApps);

    tooMany.removeLast();
    tooMany.back() = QString(256, 'a');
    EXPECT_EQ(set("MutedApps", tooMany).type(), QDBusMessage::ReplyMessage);
}

/// On a machine without a place for a login item.
class RemoteWithoutLoginTest : public RemoteControlTest {
  public:
    void SetUp() override {
        loginItem.installed = false;
        RemoteControlTest::SetUp();
    }
};

TEST_F(RemoteWithoutLoginTest, NothingIsToldToStartAtLogin) {
    EXPECT_THAT(set("LaunchAtLogin", true).errorMessage().toStdString(), testing::HasSubstr("no place"));
    EXPECT_FALSE(model->launchAtLogin());
    EXPECT_EQ(loginItem.calls, 0);
    EXPECT_EQ(set("LaunchAtLogin", false).type(), QDBusMessage::ReplyMessage);
}

TEST_F(RemoteControlTest, WhoeverLooksAgainAndAgainSeesNoCountChangeWithinTenSeconds) {
    RawEvent press;
    press.type = RawEventType::keyDown;
    int announced = 0;
    QObject::connect(model.get(), &AppState::keysPressedChanged, [&] { ++announced; });
    std::vector<int> changes;
    QVariant seen = get("KeysPressed");
    for (int second = 1; second <= 25; ++second) {
        input.deliver(press);
        mainQueue.advance(std::chrono::seconds(1));
        if (const QVariant now = get("KeysPressed"); now != seen) {
            seen = now;
            changes.push_back(second);
        }
    }
    EXPECT_THAT(changes, testing::ElementsAre(10, 20));
    EXPECT_EQ(seen, 20);
    EXPECT_EQ(announced, 2);
}

TEST_F(RemoteControlTest, AProgramThatEndsIsNotTakenForTheRunningOne) {
    isEnding = true;
    EXPECT_EQ(ask(RemoteControl::applicationInterface, "Activate", {QVariantMap()}).type(),
              QDBusMessage::ErrorMessage);
    EXPECT_EQ(windows.settings, 0);
    isEnding = false;
    remote->beginEnding();
    EXPECT_TRUE(ask(RemoteControl::applicationInterface, "Activate", {QVariantMap()})
                    .errorName()
                    .endsWith("ServiceUnknown"));
    EXPECT_EQ(windows.settings, 0);
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
