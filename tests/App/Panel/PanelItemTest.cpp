#include "App/Panel/PanelItem.h"

#include "App/CoreProgram.h"
#include "App/ModelFixture.h"
#include "App/Panel/PanelChoice.h"
#include "Platform/TraySelection.h"
#include "fakes/FakePanel.h"
#include "support/PumpUntil.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace keysong::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PanelItemTest : public ModelFixture {
  protected:
    PrivateBus& daemon = makeBusApplication();
    ManualQueue searches;
    SessionBus bus{{[](auto) { return true; }, [](const auto& task) { task(); }, searches}};
    std::optional<FakePanel> panel;
    std::optional<PanelItem> item;
    int quits = 0;
    std::vector<bool> hosts;

    void launch() {
        ASSERT_TRUE(bus.open());
        model->bootstrap();
        settle();
        item.emplace(bus, *model, windows, [this] { ++quits; });
        QObject::connect(&*item, &PanelItem::hasHostChanged, [this] { hosts.push_back(item->hasHost()); });
    }
    void launchInPanel() {
        panel.emplace();
        launch();
        expectShown();
    }
    void expectShown() {
        ASSERT_TRUE(pumpUntil([&] { return item->hasHost(); }));
        EXPECT_EQ(panel->items().size(), 1);
        EXPECT_EQ(panel->greatestAlpha(), 255);
    }
    [[nodiscard]] bool soonHasAlpha(int alpha) {
        return pumpUntil([&] { return panel->greatestAlpha() == alpha; });
    }
    void expectThatThePanelFollows() {
        EXPECT_TRUE(pumpUntil([&] { return panel->followedMenu() == panel->menu(); }))
            << testing::PrintToString(panel->followedMenu());
    }
};

TEST_F(PanelItemTest, AppearsInAPanelThatStartsLater) {
    launch();
    panel.emplace(false);
    ASSERT_TRUE(pumpUntil([&] { return panel->timesAskedForHost() > 0 && !panel->items().isEmpty(); }));
    EXPECT_FALSE(item->hasHost());
    panel->setHasHost(true);
    expectShown();
    panel->setHasHost(false);
    ASSERT_TRUE(pumpUntil([&] { return !item->hasHost(); }));
    panel->setHasHost(true);
    expectShown();
    EXPECT_EQ(panel->itemProperty("Title").toString(), "Keysong");
    EXPECT_EQ(panel->itemProperty("Id").toString(), "Keysong");
    EXPECT_EQ(panel->itemProperty("Status").toString(), "Active");
    EXPECT_EQ(panel->itemProperty("IconName").toString(), "") << "panels would look for it in their theme";
    EXPECT_TRUE(panel->itemProperty("ItemIsMenu").toBool());
}

TEST_F(PanelItemTest, ReturnsWithEveryPanel) {
    launchInPanel();
    for (int restart = 0; restart < 3; ++restart) {
        panel.reset();
        ASSERT_TRUE(pumpUntil([&] { return !item->hasHost(); }));
        panel.emplace();
        expectShown();
    }
    EXPECT_THAT(hosts, ElementsAre(true, false, true, false, true, false, true));
}

TEST_F(PanelItemTest, ReturnsWithTheBus) {
    launchInPanel();
    panel.reset();
    daemon.kill();
    ASSERT_TRUE(daemon.start());
    panel.emplace();
    ASSERT_TRUE(pumpUntil([&] { return !panel->items().isEmpty(); },
                          [this] { searches.advance(SessionBus::searchInterval); }));
    expectShown();
    EXPECT_TRUE(panel->click("Settings…  Control+Alt+C"));
    EXPECT_EQ(windows.settings, 1);
}

TEST_F(PanelItemTest, TriesAgainWhereItWasRefused) {
    panel.emplace(false);
    panel->setRefuses(true);
    launch();
    ASSERT_TRUE(pumpUntil([&] { return panel->timesRefused() > 0; }));
    panel->setHasHost(true);
    ASSERT_TRUE(pumpUntil([&] { return panel->timesRefused() > 1; }));
    EXPECT_FALSE(item->hasHost());
    panel->setRefuses(false);
    panel->setHasHost(true);
    expectShown();
}

TEST_F(PanelItemTest, TheSymbolTellsTheState) {
    launchInPanel();
    EXPECT_EQ(panelAppearance(*model), (PanelAppearance{PanelSymbol::keyboard, false}));
    model->setEnabled(false);
    EXPECT_EQ(panelAppearance(*model), (PanelAppearance{PanelSymbol::speakerMuted, true}));
    EXPECT_TRUE(soonHasAlpha(102));
    model->setEnabled(true);
    EXPECT_TRUE(soonHasAlpha(255));
    model->setMutedApps({"game"});
    frontmost.activate("game");
    EXPECT_EQ(panelAppearance(*model), (PanelAppearance{PanelSymbol::keyboard, true}));
    EXPECT_TRUE(soonHasAlpha(102));
    EXPECT_TRUE(pumpUntil([&] { return panel->newIcons == 3; }));
    model->setVolume(0.25F);
    expectThatThePanelFollows();
    EXPECT_EQ(panel->newIcons, 3);
}

TEST_F(PanelItemTest, WithoutAccessItWarns) {
    input.trusted = false;
    panel.emplace();
    launch();
    EXPECT_TRUE(soonHasAlpha(102));
    EXPECT_EQ(panelAppearance(*model), (PanelAppearance{PanelSymbol::warningTriangle, true}));
}

TEST_F(PanelItemTest, ThePanelShowsTheMenuAsItIsAndClicksIt) {
    launchInPanel();
    EXPECT_THAT(panel->menu(),
                ElementsAre("checkmark:1 Enabled  Control+Alt+K", "separator", "disabled Sound",
                            "radio:1 alpha", "radio:0 beta", "radio:0 gamma", "Volume", "> radio:0 25%",
                            "> radio:0 50%", "> radio:0 75%", "> radio:0 100%", "Output",
                            "> radio:1 System default", "> radio:0 Speakers A", "> radio:0 Speakers B",
                            "separator", "disabled 0 keys", "separator", "Settings…  Control+Alt+C",
                            "Quit Keysong"));
    for (const char* click : {"radio:0 50%", "radio:1 50%", "radio:0 gamma", "radio:0 Speakers B",
                              "checkmark:1 Enabled  Control+Alt+K"}) {
        EXPECT_TRUE(panel->click(click)) << click;
        expectThatThePanelFollows();
    }
    EXPECT_EQ(panel->newLayouts, 0);
    EXPECT_EQ(model->volume(), 0.5F);
    EXPECT_EQ(model->selectedSetId(), "gamma");
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    EXPECT_FALSE(model->isEnabled());
    (void)panel->callItem(FakePanel::itemInterface, "ProvideXdgActivationToken", {"leave"});
    ASSERT_TRUE(panel->click("Settings…  Control+Alt+C"));
    EXPECT_EQ(windows.settings, 1);
    EXPECT_EQ(windows.asker.activationToken, "leave");
    for (const char* click : {"Activate", "ContextMenu", "SecondaryActivate"}) {
        (void)panel->callItem(FakePanel::itemInterface, click, {0, 0});
    }
    EXPECT_EQ(windows.settings, 3);
    EXPECT_EQ(windows.asker.activationToken, "") << "leave is given for one window";
    ASSERT_TRUE(panel->click("Quit Keysong"));
    EXPECT_EQ(quits, 1);
}

TEST_F(PanelItemTest, AnOpenMenuFollowsWhatComesAndGoes) {
    launchInPanel();
    (void)panel->followedMenu();
    plug({{1, "uid-a", "Speakers A"}, {3, "uid-c", "snake_case & more"}});
    EXPECT_TRUE(pumpUntil([&] { return panel->newLayouts == 1; }));
    expectThatThePanelFollows();
    EXPECT_THAT(panel->menu(), testing::Contains("> radio:0 snake__case & more"));
    EXPECT_FALSE(panel->click("radio:0 Speakers B"));
}

TEST_F(PanelItemTest, WhatMakesNoSenseIsRefusedAndChangesNothing) {
    launchInPanel();
    const auto before = panel->menu();
    const QVariant none = QVariant::fromValue(QDBusVariant(0));
    const QVariant many = QVariant::fromValue(QList<int>(5000, 1));
    struct Row {
        const char* method;
        QVariantList arguments;
        const char* error;
    };
    for (const Row& row :
         {Row{"GetLayout", {999, -1, QStringList()}, "no item 999"},
          Row{"GetLayout", {"root"}, "no such method"},
          Row{"GetLayout", {0, -1, QStringList(5000, "label")}, "too many"},
          Row{"GetGroupProperties", {many, QStringList()}, "too many"},
          Row{"GetProperty", {999, "label"}, "no item 999"},
          Row{"GetProperty", {1, "colour"}, "no such property"},
          Row{"Event", {-5, "clicked", none, 0U}, "no item -5"},
          Row{"Event", {1, "clicked", "no variant", 0U}, "no such method"},
          Row{"EventGroup",
              {QVariant::fromValue(QList<PanelMenuBus::Event>{{999, "clicked", QDBusVariant(0), 0U}})},
              "no such items"},
          Row{"AboutToShow", {999}, "no item 999"}, Row{"AboutToShowGroup", {many}, "too many"},
          Row{"Explode", {}, "no such method"}}) {
        const auto answer = panel->callMenu(row.method, row.arguments);
        EXPECT_EQ(answer.type(), QDBusMessage::ErrorMessage) << row.method;
        EXPECT_THAT(answer.errorMessage().toStdString(), HasSubstr(row.error)) << row.method;
    }
    for (const char* ignored : {"hovered", "opened", "closed", "dance"}) {
        EXPECT_EQ(panel->callMenu("Event", {1, ignored, none, 0U}).type(), QDBusMessage::ReplyMessage);
    }
    for (const auto& [method, arguments] :
         {std::pair<const char*, QVariantList>{"Activate", {}}, {"Scroll", {120}}, {"Explode", {0, 0}}}) {
        EXPECT_EQ(panel->callItem(FakePanel::itemInterface, method, arguments).type(),
                  QDBusMessage::ErrorMessage);
    }
    (void)panel->callItem(FakePanel::itemInterface, "Scroll", {120, "vertical"});
    const auto set = panel->callItem(
        "org.freedesktop.DBus.Properties", "Set",
        {QString(FakePanel::itemInterface), "Title", QVariant::fromValue(QDBusVariant("Another"))});
    EXPECT_THAT(set.errorMessage().toStdString(), HasSubstr("can only be read"));
    EXPECT_EQ(panel->menu(), before);
    EXPECT_EQ(windows.settings, 0);
}

TEST_F(PanelItemTest, ThePanelGetsAsMuchAsItAsksFor) {
    launchInPanel();
    const auto sizeOf = [&](int parent, int depth) {
        const auto layout = panel->callMenu("GetLayout", {parent, depth, QStringList{"toggle-state"}});
        const auto argument = layout.arguments().value(1).value<QDBusArgument>();
        PanelMenuBus::Layout read;
        argument >> read;
        return std::get<2>(read).size();
    };
    EXPECT_EQ(sizeOf(0, 0), 0);
    EXPECT_EQ(sizeOf(0, 1), 13);
    EXPECT_EQ(sizeOf(0, -3), 13) << "as all";
    EXPECT_EQ(sizeOf(1, -1), 0);
    const auto propertiesOf = [&](const QList<int>& ids, const QStringList& names) {
        const auto answer = panel->callMenu("GetGroupProperties", {QVariant::fromValue(ids), names});
        return qdbus_cast<QList<PanelMenuBus::Item>>(answer.arguments().value(0));
    };
    const auto some = propertiesOf({1, 1, 999}, {"label", "enabled"});
    ASSERT_EQ(some.size(), 1);
    EXPECT_EQ(std::get<1>(some[0]), (QVariantMap{{"label", "Enabled"}, {"enabled", true}}));
    EXPECT_EQ(propertiesOf({}, {}).size(), 21) << "all, and the menu itself";
    const auto label = panel->callMenu("GetProperty", {1, "label"}).arguments().value(0);
    EXPECT_EQ(label.value<QDBusVariant>().variant(), "Enabled");
    const auto unknown = panel->callMenu("AboutToShowGroup", {QVariant::fromValue(QList<int>{0, 999})});
    EXPECT_EQ(qdbus_cast<QList<int>>(unknown.arguments().value(1)), QList<int>{999});
    const QList<PanelMenuBus::Event> events{{999, "clicked", QDBusVariant(0), 0U},
                                            {1, "clicked", QDBusVariant(0), 0U}};
    (void)panel->callMenu("EventGroup", {QVariant::fromValue(events)});
    EXPECT_FALSE(model->isEnabled());
}

class FakeTraySelection final : public TraySelection {
  public:
    ~FakeTraySelection() override { close(descriptor_); }
    [[nodiscard]] bool isOwned() const override { return isOwned_; }
    [[nodiscard]] int descriptor() const override { return descriptor_; }
    bool dispatch() override {
        eventfd_t ignored = 0;
        (void)eventfd_read(descriptor_, &ignored);
        return true;
    }
    void setOwned(bool owned) {
        isOwned_ = owned;
        (void)eventfd_write(descriptor_, 1);
    }

  private:
    const int descriptor_ = eventfd(0, EFD_CLOEXEC);
    bool isOwned_ = true;
};

class PanelChoiceTest : public PanelItemTest {
  protected:
    FakeTraySelection* trays = nullptr;
    std::vector<bool> served;
    std::optional<PanelChoice> choice;

    void choose(PanelChoice::Patience patience) {
        launch();
        auto selection = std::make_unique<FakeTraySelection>();
        trays = selection.get();
        choice.emplace(
            *item, std::move(selection), [this](bool serve) { served.push_back(serve); }, patience);
    }
    /// Serves whatever is waiting.
    void pump() {
        bool done = false;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [&] { done = true; }, Qt::QueuedConnection);
        ASSERT_TRUE(pumpUntil([&] { return done; }));
    }
};

TEST_F(PanelChoiceTest, ServesATrayUntilThereIsAPanel) {
    choose({milliseconds(0), hours(1)});
    ASSERT_TRUE(pumpUntil([&] { return choice->isShown(); }));
    trays->setOwned(false);
    ASSERT_TRUE(pumpUntil([&] { return !choice->isShown(); }));
    trays->setOwned(true);
    ASSERT_TRUE(pumpUntil([&] { return choice->isShown(); }));
    EXPECT_THAT(served, ElementsAre(true, false, true));
    panel.emplace();
    expectShown();
    EXPECT_TRUE(choice->isShown());
    EXPECT_THAT(served, ElementsAre(true, false, true, false));
    // A panel that goes is waited for.
    panel.reset();
    ASSERT_TRUE(pumpUntil([&] { return !choice->isShown(); }));
    pump();
    EXPECT_EQ(served.size(), 4U);
}

TEST_F(PanelChoiceTest, WaitsForAPanelFirst) {
    choose({hours(1), milliseconds(0)});
    pump();
    EXPECT_FALSE(choice->isShown());
    panel.emplace();
    ASSERT_TRUE(pumpUntil([&] { return choice->isShown(); }));
    EXPECT_THAT(served, IsEmpty());
    panel.reset();
    ASSERT_TRUE(pumpUntil([&] { return served.size() == 1; }));
    EXPECT_TRUE(choice->isShown());
    choice.reset();
    EXPECT_THAT(served, ElementsAre(true, false));
}

} // namespace
} // namespace keysong::test
