#include "UI/Panel/MenuContent.h"

#include "App/ModelFixture.h"
#include "UI/Look/FixedDigits.h"
#include "support/WidgetProgram.h"

#include <QAction>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QScreen>

namespace keysong {
namespace {

using testing::ElementsAre;

[[maybe_unused]] const auto* const program =
    testing::AddGlobalTestEnvironment(new test::WidgetProgram); // taken over

/// An item as a person sees it: "[x]" and "[ ]" for what can be marked, its shortcut.
std::string seen(const QAction& item) {
    if (item.isSeparator()) {
        return "---";
    }
    std::string text = item.text().toStdString();
    if (item.isCheckable()) {
        text = (item.isChecked() ? "[x] " : "[ ] ") + text;
    }
    if (!item.shortcut().isEmpty()) {
        text += "  " + item.shortcut().toString(QKeySequence::PortableText).toStdString();
    }
    return item.isEnabled() ? text : "{" + text + "}";
}

std::vector<std::string> seen(const QMenu& menu) {
    std::vector<std::string> items;
    for (const QAction* item : menu.actions()) {
        items.push_back(seen(*item));
    }
    return items;
}

class MenuContentTest : public test::ModelFixture {
  protected:
    int opened = 0;
    bool reachesUs = true;
    std::unique_ptr<PanelMenu> content;
    std::unique_ptr<MenuContent> menu;

    void launch() {
        model->bootstrap();
        settle();
        content = std::make_unique<PanelMenu>(*model, PanelMenu::Actions{[this] { ++opened; }, [] {}});
        menu = std::make_unique<MenuContent>(*content, [this] { return reachesUs; });
    }
    QAction& item(const QString& text, const QMenu& in) {
        for (QAction* action : in.actions()) {
            if (action->text() == text) {
                return *action;
            }
        }
        throw std::runtime_error("no item " + text.toStdString());
    }
    QMenu& submenu(const QString& name) { return *item(name, *menu).menu(); }
    void choose(const QString& in, const QString& text) { item(text, submenu(in)).trigger(); }
};

TEST_F(MenuContentTest, DrawsTheMenuWithItsMarks) {
    launch();
    EXPECT_THAT(seen(*menu), ElementsAre("[x] Enabled  Ctrl+Alt+K", "---", "{Sound}", "[x] alpha", "[ ] beta",
                                         "[ ] gamma", "Volume", "Output", "---", "{0 keys}", "---",
                                         "Settings…  Ctrl+Alt+C", "Quit Keysong"));
    for (int click = 0; click < 2; ++click) {
        choose("Volume", "50%");
        EXPECT_THAT(seen(submenu("Volume")), ElementsAre("[ ] 25%", "[x] 50%", "[ ] 75%", "[ ] 100%"));
    }
    model->setEnabled(false);
    model->setSelectedSetId("gamma");
    EXPECT_EQ(seen(*menu).at(0), "[ ] Enabled  Ctrl+Alt+K");
    EXPECT_EQ(seen(*menu).at(3), "[ ] alpha");
    item("Settings…", *menu).trigger();
    EXPECT_EQ(opened, 1);
}

TEST_F(MenuContentTest, AnOpenMenuStaysAndFollows) {
    launch();
    menu->popup({});
    submenu("Output").popup({});
    const auto* const before = &item("Speakers A", submenu("Output"));
    plug({{3, "uid-c", "Headphones"}, {1, "uid-a", "Speakers A"}, {4, "uid-d", "Rock & Roll"}});
    EXPECT_TRUE(menu->isVisible());
    EXPECT_TRUE(submenu("Output").isVisible());
    EXPECT_EQ(&item("Speakers A", submenu("Output")), before);
    EXPECT_THAT(seen(submenu("Output")),
                ElementsAre("[x] System default", "[ ] Headphones", "[ ] Speakers A", "[ ] Rock && Roll"));
    std::filesystem::remove_all(folder.path() / "sounds/beta");
    watcher.changed({folder.path() / "sounds"});
    settle();
    EXPECT_TRUE(submenu("Output").isVisible()) << "the items around it changed";
    EXPECT_EQ(seen(*menu).at(4), "[ ] gamma");
    menu->close();
}

TEST_F(MenuContentTest, ManyItemsFitOnTheScreen) {
    std::vector<VirtualDevice> devices;
    for (int i = 1; i <= 100; ++i) {
        devices.push_back({static_cast<AudioDeviceId>(i), std::to_string(i), "Device"});
    }
    launch();
    plug(devices);
    EXPECT_LE(submenu("Output").sizeHint().height(), QGuiApplication::primaryScreen()->geometry().height());
}

TEST_F(MenuContentTest, TheTotalKeepsItsWidthWhileItsDigitsChange) {
    launch();
    for (const char* family : {"DejaVu Sans", "Inter", "DejaVu Sans Mono"}) {
        QFont font(family);
        font.setPixelSize(17);
        const QFontMetricsF metrics(withFixedDigits(font));
        EXPECT_EQ(metrics.horizontalAdvance("111,111"), metrics.horizontalAdvance("404,404")) << family;
        EXPECT_EQ(withFixedDigits(font).pixelSize(), 17);
    }
    EXPECT_EQ(item("0 keys", *menu).font().family(), withFixedDigits(menu->font()).family());
}

TEST_F(MenuContentTest, ShortcutsWorkOnceAndOnlyWhereTheHotkeyCannot) {
    launch();
    const auto send = [](QWidget& in, QEvent::Type type, int key, bool repeat) {
        QKeyEvent event(type, key, Qt::ControlModifier | Qt::AltModifier, QString(), repeat);
        QApplication::sendEvent(&in, &event);
    };
    const auto type = [&](QWidget& in, int key) {
        send(in, QEvent::KeyPress, key, false);
        send(in, QEvent::KeyRelease, key, true);
        send(in, QEvent::KeyPress, key, true);
        EXPECT_TRUE(model->isEnabled()) << "the key is still down";
        send(in, QEvent::KeyRelease, key, false);
    };
    menu->popup({});
    send(*menu, QEvent::KeyPress, Qt::Key_Alt, false);
    EXPECT_TRUE(menu->isVisible()) << "the keyboard stays here until the key of the shortcut comes up";
    type(*menu, Qt::Key_K);
    EXPECT_FALSE(model->isEnabled());
    EXPECT_FALSE(menu->isVisible());
    model->setEnabled(true);
    menu->popup({});
    submenu("Output").popup({});
    type(submenu("Output"), Qt::Key_C);
    EXPECT_EQ(opened, 1);
    EXPECT_FALSE(menu->isVisible());
    menu->popup({});
    send(*menu, QEvent::KeyPress, Qt::Key_K, false);
    menu->close();
    menu->popup({});
    send(*menu, QEvent::KeyRelease, Qt::Key_K, false);
    EXPECT_TRUE(model->isEnabled()) << "left to the hotkey when the menu closed";
    reachesUs = false;
    type(*menu, Qt::Key_K);
    EXPECT_TRUE(model->isEnabled()) << "the hotkey has acted already";
    menu->close();
    // A window of the program has the keyboard, and the menu is closed.
    QWidget window;
    window.show();
    reachesUs = true;
    type(window, Qt::Key_K);
    EXPECT_TRUE(model->isEnabled());
}

} // namespace
} // namespace keysong
