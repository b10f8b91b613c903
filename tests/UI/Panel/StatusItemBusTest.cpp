#include "App/ModelFixture.h"
#include "UI/Panel/StatusItem.h"
#include "fakes/FakePanel.h"
#include "fakes/FakeTray.h"
#include "support/DisplayProgram.h"
#include "support/PrivateBus.h"

#include <chrono>

#include "Linux/Desktop/X11TraySelection.h"

namespace keysong {
namespace {

using test::FakePanel;
using test::pumpUntil;
using testing::ElementsAre;

/// With a display, since without one the toolkit shows no status items at all, and a bus of its own.
class BusProgram final : public test::DisplayProgram {
    void prepare() override {
        DisplayProgram::prepare();
        ASSERT_TRUE(bus_.start());
    }

    test::PrivateBus bus_;
};
auto* const program = new BusProgram; // taken over
[[maybe_unused]] const auto* const added = testing::AddGlobalTestEnvironment(program);

std::vector<std::string> texts(const FakePanel::MenuItem& menu) {
    std::vector<std::string> all;
    for (const auto& item : menu.items) {
        all.push_back(item.text);
        for (const auto& inner : item.items) {
            all.push_back("> " + inner.text);
        }
    }
    return all;
}

class StatusItemBusTest : public test::ModelFixture {
  protected:
    std::optional<FakePanel> panel;
    std::unique_ptr<StatusItem> item;
    int quits = 0;
    std::vector<bool> hosts;

    void launch() {
        model->bootstrap();
        settle();
        item = std::make_unique<StatusItem>(*model, nullptr, [this] { ++quits; });
        QObject::connect(item.get(), &StatusItem::hasHostChanged,
                         [this] { hosts.push_back(item->hasHost()); });
    }
    void expectShown() {
        ASSERT_TRUE(pumpUntil([&] { return item->hasHost() && !panel->items().isEmpty(); }));
    }
    [[nodiscard]] bool soonHasAlpha(int alpha) {
        return pumpUntil([&] { return panel->greatestAlpha() == alpha; });
    }
};

// The first test of the program, since the toolkit looks for a panel once in its life: it must not have
// looked before there was one, nor when there was only the watcher, which starts first on some desktops.
TEST_F(StatusItemBusTest, AppearsInAPanelThatStartsLater) {
    launch();
    panel.emplace(false);
    ASSERT_TRUE(pumpUntil([&] { return panel->timesAskedForHost() > 0; }));
    QApplication::processEvents();
    EXPECT_FALSE(item->hasHost());
    panel->setHasHost(true);
    expectShown();
    EXPECT_EQ(panel->itemProperty("Title").toString(), "Keysong");
    EXPECT_EQ(panel->itemProperty("Id").toString(), "Keysong");
    EXPECT_EQ(panel->itemProperty("Status").toString(), "Active");
    EXPECT_EQ(panel->itemProperty("IconName").toString(), "") << "panels would look for it in their theme";
    EXPECT_EQ(panel->greatestAlpha(), 255);
}

TEST_F(StatusItemBusTest, ReturnsWithEveryPanel) {
    panel.emplace();
    launch();
    expectShown();
    for (int restart = 0; restart < 3; ++restart) {
        panel.reset();
        ASSERT_TRUE(pumpUntil([&] { return !item->hasHost(); }));
        panel.emplace();
        expectShown();
        EXPECT_EQ(panel->items().size(), 1);
        EXPECT_EQ(panel->greatestAlpha(), 255);
    }
    EXPECT_THAT(hosts, ElementsAre(true, false, true, false, true, false, true));
}

TEST_F(StatusItemBusTest, WaitsALittleForThisKindOfPanelWhereThereIsATray) {
    test::FakeTray tray(program->display());
    model->bootstrap();
    settle();
    item = std::make_unique<StatusItem>(*model, makeX11TraySelection(), [] {});
    const auto soon = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    ASSERT_TRUE(pumpUntil([&] { return std::chrono::steady_clock::now() > soon; }));
    panel.emplace();
    expectShown();
    tray.process();
    EXPECT_EQ(tray.embedded, 0);
}

TEST_F(StatusItemBusTest, APanelMayGoWhileTheWatcherStays) {
    panel.emplace();
    launch();
    expectShown();
    panel->setHasHost(false);
    ASSERT_TRUE(pumpUntil([&] { return !item->hasHost(); }));
    panel->setHasHost(true);
    ASSERT_TRUE(pumpUntil([&] { return item->hasHost(); }));
    EXPECT_EQ(panel->greatestAlpha(), 255);
}

TEST_F(StatusItemBusTest, TheSymbolTellsTheState) {
    using Look = StatusItem::Appearance;
    panel.emplace();
    launch();
    expectShown();
    EXPECT_EQ(StatusItem::appearance(*model), (Look{Symbol::keyboard, 1}));
    EXPECT_TRUE(soonHasAlpha(255));
    model->setEnabled(false);
    EXPECT_EQ(StatusItem::appearance(*model), (Look{Symbol::speakerMuted, 0.4}));
    EXPECT_TRUE(soonHasAlpha(102));
    model->setEnabled(true);
    EXPECT_TRUE(soonHasAlpha(255));
    model->setMutedApps({"game"});
    frontmost.activate("game");
    EXPECT_EQ(StatusItem::appearance(*model), (Look{Symbol::keyboard, 0.4}));
    EXPECT_TRUE(soonHasAlpha(102));
}

TEST_F(StatusItemBusTest, WithoutTrustItWarns) {
    panel.emplace();
    input.trusted = false;
    launch();
    expectShown();
    EXPECT_EQ(StatusItem::appearance(*model), (StatusItem::Appearance{Symbol::warningTriangle, 0.4}));
    EXPECT_TRUE(soonHasAlpha(102));
}

TEST_F(StatusItemBusTest, ThePanelShowsTheMenuAsItIsAndClicksIt) {
    panel.emplace();
    launch();
    expectShown();
    EXPECT_THAT(texts(panel->menu()),
                ElementsAre("checkmark:1 Enabled", "separator", "disabled Sound", "radio:1 alpha",
                            "radio:0 beta", "radio:0 gamma", "Volume", "> radio:0 25%", "> radio:0 50%",
                            "> radio:0 75%", "> radio:0 100%", "Output", "> radio:1 System default",
                            "> radio:0 Speakers A", "> radio:0 Speakers B", "separator", "disabled 0 keys",
                            "separator", "Settings…", "Quit Keysong"));
    ASSERT_TRUE(panel->click("radio:0 50%"));
    EXPECT_TRUE(pumpUntil([&] { return model->volume() == 0.5F; }));
    EXPECT_TRUE(pumpUntil([&] { return panel->click("radio:1 50%"); })) << "the mark followed";
    EXPECT_TRUE(pumpUntil([&] { return panel->click("radio:1 50%"); })) << "and stays";
    EXPECT_EQ(model->volume(), 0.5F);
    ASSERT_TRUE(panel->click("radio:0 gamma"));
    EXPECT_TRUE(pumpUntil([&] { return model->selectedSetId() == "gamma"; }));
    ASSERT_TRUE(panel->click("checkmark:1 Enabled"));
    EXPECT_TRUE(pumpUntil([&] { return !model->isEnabled(); }));
    ASSERT_TRUE(panel->click("Settings…"));
    EXPECT_TRUE(pumpUntil([&] { return windows.settings == 1; }));
    ASSERT_TRUE(panel->click("Quit Keysong"));
    EXPECT_TRUE(pumpUntil([&] { return quits == 1; }));
}

TEST_F(StatusItemBusTest, AClickOnTheSymbolOpensTheMenu) {
    panel.emplace();
    launch();
    expectShown();
    panel->activate();
    ASSERT_TRUE(pumpUntil([] { return QApplication::activePopupWidget() != nullptr; }));
    QApplication::activePopupWidget()->close();
}

} // namespace
} // namespace keysong
