#include "App/ModelFixture.h"
#include "App/Panel/PanelChoice.h"
#include "App/Panel/PanelItem.h"
#include "Linux/Desktop/X11TraySelection.h"
#include "Linux/Hotkeys/X11Hotkeys.h"
#include "Linux/System/XcbKeyboard.h"
#include "UI/Panel/StatusItem.h"
#include "fakes/FakeTray.h"
#include "fakes/PumpedQueue.h"
#include "support/DisplayProgram.h"
#include "support/XTestClient.h"

#include <linux/input-event-codes.h>

#include <chrono>

namespace keysong {
namespace {

using test::FakeTray;
using test::XTestClient;

/// Without a bus, so that there are no panels of the other kind.
class TrayProgram final : public test::DisplayProgram {
    void prepare() override {
        setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        DisplayProgram::prepare();
    }
};
auto* const program = new TrayProgram; // taken over
[[maybe_unused]] const auto* const added = testing::AddGlobalTestEnvironment(program);

class StatusItemTrayTest : public test::ModelFixture {
  protected:
    test::PumpedQueue hotkeyQueue;
    std::unique_ptr<X11Hotkeys> grabs;
    std::optional<FakeTray> tray;
    test::ManualQueue searches;
    SessionBus bus{{[](auto) { return false; }, [](const auto& task) { task(); }, searches}};
    std::optional<PanelItem> panel;
    std::optional<StatusItem> item;
    std::optional<PanelChoice> choice;
    XTestClient hands{program->display()};
    int toggles = 0;

    ~StatusItemTrayTest() override {
        choice.reset();
        panel.reset();
        model.reset(); // before the hotkeys that it registered
    }

    void launch() {
        grabs = X11Hotkeys::make(hotkeyQueue, threads);
        ASSERT_NE(grabs, nullptr);
        ASSERT_TRUE(
            useDetectableRepeat(qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection()));
        usedHotkeys = grabs.get();
        makeModel();
        model->bootstrap();
        settle();
        QObject::connect(model.get(), &AppState::isEnabledChanged, [this] { ++toggles; });
        panel.emplace(bus, *model, windows, [] {});
        const auto serve = [this](bool begin) {
            item.reset();
            if (begin) {
                item.emplace(*model, PanelMenu::Actions{[this] { model->showSettings(); }, [] {}});
            }
        };
        choice.emplace(*panel, makeX11TraySelection(), serve, PanelChoice::Patience{{}, {}});
    }
    [[nodiscard]] bool soon(const std::function<bool()>& condition) {
        return test::pumpUntil(condition, [this] {
            hotkeyQueue.run();
            if (tray) {
                tray->process();
            }
        });
    }
    void expectEmbedded() {
        ASSERT_TRUE(soon([this] { return choice->isShown() && tray->symbols() == 1; }));
    }
    void click(int button) {
        tray->pointAtSymbol();
        hands.button(XTestClient::injected, button, true);
        hands.button(XTestClient::injected, button, false);
    }
    void setHeld(int key, bool down) {
        for (const int code : {KEY_LEFTCTRL, KEY_LEFTALT, key}) {
            hands.key(XTestClient::injected, code, down);
        }
    }
    void type(int key) {
        setHeld(key, true);
        setHeld(key, false);
    }
    /// Types a hotkey's key and counts how often it acted, by a second one that surely comes after.
    [[nodiscard]] int togglesOf(int key) {
        const int before = toggles;
        type(key);
        EXPECT_TRUE(soon([&] { return toggles > before; }));
        const int opened = windows.settings;
        type(KEY_C);
        EXPECT_TRUE(soon([&] { return windows.settings > opened; }));
        EXPECT_EQ(windows.settings, opened + 1);
        return toggles - before;
    }
};

[[nodiscard]] bool menuIsOpen() {
    return QApplication::activePopupWidget() != nullptr;
}

TEST_F(StatusItemTrayTest, AppearsInAPanelThatStartsLaterAndInTheNextOne) {
    launch();
    QApplication::processEvents();
    EXPECT_FALSE(choice->isShown());
    for (int start = 0; start < 3; ++start) {
        tray.emplace(program->display());
        expectEmbedded();
        tray.reset();
        ASSERT_TRUE(soon([this] { return !choice->isShown(); }));
    }
}

TEST_F(StatusItemTrayTest, AHotkeyCountsOnceWhetherTheMenuIsOpenOrNot) {
    tray.emplace(program->display());
    launch();
    expectEmbedded();
    ASSERT_EQ(model->hotkeyWay(), "x11");
    EXPECT_EQ(togglesOf(KEY_K), 1);
    for (const int button : {1, 3}) {
        click(button);
        ASSERT_TRUE(soon(menuIsOpen));
        EXPECT_EQ(togglesOf(KEY_K), 1) << "from the open menu, button " << button;
        EXPECT_FALSE(menuIsOpen());
    }
    // Held for long: the server repeats after 20 ms, every 10 ms.
    click(1);
    ASSERT_TRUE(soon(menuIsOpen));
    const int before = toggles;
    setHeld(KEY_K, true);
    const auto released = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    ASSERT_TRUE(soon([&] { return std::chrono::steady_clock::now() > released; }));
    EXPECT_TRUE(menuIsOpen()) << "until the key comes up";
    setHeld(KEY_K, false);
    ASSERT_TRUE(soon([&] { return toggles > before; }));
    EXPECT_EQ(togglesOf(KEY_K), 1);
    EXPECT_EQ(toggles, before + 2) << "a held key counts once";
    // With a window of the program in front.
    QWidget window;
    window.show();
    window.activateWindow();
    ASSERT_TRUE(soon([&] { return window.isVisible(); }));
    EXPECT_EQ(togglesOf(KEY_K), 1);
}

TEST(X11TraySelection, EndsWithItsServer) {
    test::PrivateXServer server;
    ASSERT_TRUE(server.start());
    const FakeTray tray(server.display());
    setenv("DISPLAY", server.display().c_str(), 1);
    const auto selection = makeX11TraySelection();
    setenv("DISPLAY", ":12345", 1);
    EXPECT_EQ(makeX11TraySelection(), nullptr);
    setenv("DISPLAY", program->display().c_str(), 1);
    ASSERT_NE(selection, nullptr);
    EXPECT_TRUE(test::pumpUntil([&] { return selection->dispatch() && selection->isOwned(); }));
    server.kill();
    EXPECT_TRUE(test::pumpUntil([&] { return !selection->dispatch(); }));
    EXPECT_FALSE(selection->isOwned());
}

} // namespace
} // namespace keysong
