#include "App/RemoteState.h"

#include "App/RemoteFixture.h"
#include "support/PumpUntil.h"

namespace keysong::test {
namespace {

/// A copy of the model in what could be another process.
class RemoteStateTest : public RemoteFixture {
  public:
    void SetUp() override {
        RemoteFixture::SetUp();
        static int number = 0;
        copy.emplace(QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                                   "windows" + QString::number(++number)));
        QObject::connect(&*copy, &RemoteState::loaded, &guard, [this] { ++loads; });
        QObject::connect(&*copy, &RemoteState::lost, &guard,
                         [this](const QString& reason) { losses.push_back(reason.toStdString()); });
    }
    void TearDown() override {
        copy.reset();
        RemoteFixture::TearDown();
    }
    void load() {
        copy->load();
        ASSERT_TRUE(pumpUntil([this] { return loads == 1; }));
    }
    bool pumpUntil(const std::function<bool()>& condition) {
        return test::pumpUntil(condition, [this] { settle(); });
    }
    /// Lets all that is under way arrive.
    void settleBus() {
        get("Volume");
        for (int i = 0; i < 20; ++i) {
            QCoreApplication::processEvents();
        }
    }

    std::optional<RemoteState> copy;
    QObject guard;
    int loads = 0;
    std::vector<std::string> losses;
};

TEST_F(RemoteStateTest, HoldsWhatTheModelHoldsAndFollowsIt) {
    model->setVolume(0.25F);
    model->setMutedApps({"one", "two"});
    model->setOutputDeviceUid("uid-b");
    load();
    EXPECT_EQ(copy->volume(), 0.25F);
    EXPECT_EQ(copy->selectedSetId(), "alpha");
    EXPECT_EQ(copy->outputDeviceUid(), "uid-b");
    EXPECT_THAT(copy->mutedApps(), testing::ElementsAre("one", "two"));
    ASSERT_EQ(copy->availableSets().size(), 3U);
    EXPECT_EQ(copy->availableSets()[1].name, "beta");
    EXPECT_EQ(copy->outputDevices().size(), model->outputDevices().size());
    EXPECT_EQ(copy->hasAccess(), model->hasAccess());
    EXPECT_EQ(copy->systemGivesAccess(), model->systemGivesAccess());
    EXPECT_EQ(copy->hotkeyWay(), model->hotkeyWay());

    int tells = 0;
    QObject::connect(&*copy, &AppState::isEnabledChanged, &guard, [&] { ++tells; });
    model->setEnabled(false);
    EXPECT_TRUE(pumpUntil([&] { return !copy->isEnabled(); }));
    EXPECT_EQ(tells, 1);
}

TEST_F(RemoteStateTest, TheCountThatTheProgramTellsItselfIsNewerThanThatOfTheBus) {
    const auto countOfTheBus = [&] {
        RawEvent press;
        press.type = RawEventType::keyDown;
        input.deliver(press);
        mainQueue.advance(std::chrono::seconds(10));
        settleBus();
        return model->keysPressed();
    };
    load();
    EXPECT_EQ(countOfTheBus(), 1);
    EXPECT_EQ(copy->keysPressed(), 1);
    copy->setKeysPressed(7);
    EXPECT_EQ(countOfTheBus(), 2);
    EXPECT_EQ(copy->keysPressed(), 7);
}

TEST_F(RemoteStateTest, ANewValueShowsAtOnceAndARefusedOneGoesBack) {
    load();
    copy->setVolume(0.5F);
    EXPECT_EQ(copy->volume(), 0.5F);
    EXPECT_EQ(model->volume(), 0.6F) << "nothing waits for the program";
    EXPECT_TRUE(pumpUntil([&] { return model->volume() == 0.5F; }));
    copy->setOutputDeviceUid("gone");
    EXPECT_EQ(copy->outputDeviceUid(), "gone");
    EXPECT_TRUE(pumpUntil([&] { return copy->outputDeviceUid() == std::nullopt; }));

    loginItem.refuses = true;
    copy->setLaunchAtLogin(true);
    EXPECT_TRUE(copy->launchAtLogin());
    EXPECT_TRUE(pumpUntil([&] { return !copy->launchAtLogin(); })) << "taken, and then taken back";
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);

    copy->previewSet("beta");
    EXPECT_TRUE(pumpUntil([&] { return copy->selectedSetId() == "beta"; }));
    copy->resetStats();
    copy->previewSet("missing");
    settleBus();
    EXPECT_EQ(copy->selectedSetId(), "beta");
    EXPECT_TRUE(losses.empty());
}

TEST_F(RemoteStateTest, ASliderIsNotPulledBackWhileItMoves) {
    load();
    std::vector<float> shown;
    QObject::connect(&*copy, &AppState::volumeChanged, &guard, [&] { shown.push_back(copy->volume()); });
    int changes = 0;
    QObject::connect(&*model, &AppState::volumeChanged, &guard, [&] { ++changes; });
    std::vector<float> moved;
    for (int i = 1; i <= 50; ++i) {
        moved.push_back(static_cast<float>(i) / 100);
        copy->setVolume(moved.back());
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(pumpUntil([&] { return model->volume() == 0.5F; }));
    settleBus();
    EXPECT_EQ(shown, moved);
    EXPECT_EQ(copy->volume(), 0.5F);
    EXPECT_LT(changes, 50) << "one value is on its way at a time";

    // What somebody else sets in the meantime is what counts in the end.
    copy->setTone(0.5F);
    EXPECT_TRUE(pumpUntil([&] { return model->tone() == 0.5F; }));
    model->setTone(-0.5F);
    EXPECT_TRUE(pumpUntil([&] { return copy->tone() == -0.5F; }));
}

TEST_F(RemoteStateTest, TellsThatTheProgramDoesNotAnswerOrIsGone) {
    load();
    remote->beginEnding();
    EXPECT_TRUE(pumpUntil([&] { return losses == std::vector<std::string>{""}; }));
    copy->load();
    EXPECT_TRUE(pumpUntil([&] { return losses.size() == 2; }));
    EXPECT_NE(losses.back(), "");
    EXPECT_EQ(loads, 1);
}

} // namespace
} // namespace keysong::test
