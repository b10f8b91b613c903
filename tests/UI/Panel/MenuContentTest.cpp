#include "UI/Panel/MenuContent.h"

#include "App/ModelFixture.h"
#include "UI/Look/FixedDigits.h"
#include "support/WidgetProgram.h"

#include <QAction>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QLocale>
#include <QScreen>

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

[[maybe_unused]] const auto* const program =
    testing::AddGlobalTestEnvironment(new test::WidgetProgram); // taken over

/// An item as a person sees it: "[x]" for what is on, "(x)" for what is chosen among several, its shortcut.
std::string seen(const QAction& item) {
    if (item.isSeparator()) {
        return "---";
    }
    std::string text = item.text().toStdString();
    if (item.isCheckable()) {
        const bool isChoice = item.actionGroup() != nullptr && item.actionGroup()->isExclusive();
        text =
            (isChoice ? (item.isChecked() ? "(x) " : "( ) ") : (item.isChecked() ? "[x] " : "[ ] ")) + text;
    }
    if (!item.shortcut().isEmpty()) {
        text += "  " + item.shortcut().toString(QKeySequence::PortableText).toStdString();
    }
    return item.isEnabled() ? text : "{" + text + "}";
}

std::vector<std::string> seen(const QMenu& menu) {
    std::vector<std::string> items;
    for (const QAction* item : menu.actions()) {
        if (item->isVisible()) {
            items.push_back(seen(*item));
        }
    }
    return items;
}

class MenuContentTest : public test::ModelFixture {
  protected:
    int quits = 0;
    std::unique_ptr<MenuContent> menu;

    void launch() {
        model->bootstrap();
        settle();
        makeMenu(MenuDrawer::toolkit);
    }
    void makeMenu(MenuDrawer drawer) {
        menu = std::make_unique<MenuContent>(*model, drawer, [this] { ++quits; });
    }
    QAction& item(const QString& text, const QMenu& in) {
        for (QAction* action : in.actions()) {
            if (action->text() == text) {
                return *action;
            }
        }
        throw std::runtime_error("no item " + text.toStdString());
    }
    void choose(const QString& text) { item(text, *menu).trigger(); }
    void choose(const QString& in, const QString& text) { item(text, submenu(in)).trigger(); }
    QMenu& submenu(const QString& name) { return *item(name, *menu).menu(); }
    /// Plugs these instead of those before, and waits until the model has heard of the last of them.
    void plug(const std::vector<VirtualDevice>& devices) {
        output.devices().replace(devices, 1);
        ASSERT_TRUE(test::pumpUntil(
            [&] {
                const auto& known = model->outputDevices();
                return known.size() == devices.size() && known.back().uid == devices.back().uid;
            },
            [this] { runDue(); }));
    }
};

TEST_F(MenuContentTest, ShowsTheItemsInTheirOrder) {
    launch();
    EXPECT_THAT(seen(*menu), ElementsAre("[x] Enabled  Ctrl+Alt+K", "---", "{Sound}", "(x) alpha", "( ) beta",
                                         "( ) gamma", "Volume", "Output", "---", "{0 keys}", "---",
                                         "Settings…  Ctrl+Alt+C", "Quit Keysong"));
    EXPECT_THAT(seen(submenu("Volume")), ElementsAre("( ) 25%", "( ) 50%", "( ) 75%", "( ) 100%"));
    EXPECT_THAT(seen(submenu("Output")),
                ElementsAre("(x) System default", "( ) Speakers A", "( ) Speakers B"));
}

TEST_F(MenuContentTest, WithoutSetsThereIsNoSoundItem) {
    std::filesystem::remove_all(folder.path() / "sounds");
    launch();
    (void)test::LogCapture::shared().takeErrors();
    EXPECT_THAT(seen(*menu), ElementsAre("[x] Enabled  Ctrl+Alt+K", "---", "Volume", "Output", "---",
                                         "{0 keys}", "---", "Settings…  Ctrl+Alt+C", "Quit Keysong"));
}

TEST_F(MenuContentTest, AChoiceGoesThroughTheModel) {
    launch();
    choose("beta");
    settle();
    EXPECT_EQ(loadedSet(), "beta");
    EXPECT_EQ(preferences->string("setID"), "beta");
    choose("Volume", "50%");
    EXPECT_EQ(model->volume(), 0.5F);
    EXPECT_EQ(preferences->number("volume"), 0.5F);
    choose("Output", "Speakers B");
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    choose("Enabled");
    EXPECT_FALSE(model->isEnabled());
    EXPECT_FALSE(preferences->boolean("enabled").value_or(true));
    choose("Settings…");
    EXPECT_EQ(windows.settings, 1);
    choose("Quit Keysong");
    EXPECT_EQ(quits, 1);
}

TEST_F(MenuContentTest, MarksFollowTheModelAndNotTheClicks) {
    launch();
    choose("Volume", "50%");
    choose("Volume", "50%");
    EXPECT_THAT(seen(submenu("Volume")), ElementsAre("( ) 25%", "(x) 50%", "( ) 75%", "( ) 100%"));
    model->setVolume(0.6F);
    EXPECT_THAT(seen(submenu("Volume")), ElementsAre("( ) 25%", "( ) 50%", "( ) 75%", "( ) 100%"));
    model->setSelectedSetId("gamma");
    model->setEnabled(false);
    const auto items = seen(*menu);
    EXPECT_EQ(items[0], "[ ] Enabled  Ctrl+Alt+K");
    EXPECT_THAT(std::vector(items.begin() + 3, items.begin() + 6),
                ElementsAre("( ) alpha", "( ) beta", "(x) gamma"));
    choose("Output", "Speakers B");
    settle();
    plug({{1, "uid-a", "Speakers A"}});
    EXPECT_THAT(seen(submenu("Output")), ElementsAre("(x) System default", "( ) Speakers A"));
}

TEST_F(MenuContentTest, AnOpenMenuStaysAndFollows) {
    launch();
    menu->popup({});
    submenu("Output").popup({});
    const auto* const before = &item("Speakers A", submenu("Output"));
    plug({{1, "uid-a", "Speakers A"}, {2, "uid-b", "Speakers B"}}); // nothing new
    EXPECT_EQ(&item("Speakers A", submenu("Output")), before);
    plug({{1, "uid-a", "Speakers A"}, {3, "uid-c", "Headphones"}});
    EXPECT_TRUE(menu->isVisible());
    EXPECT_THAT(seen(submenu("Output")),
                ElementsAre("(x) System default", "( ) Speakers A", "( ) Headphones"));
    menu->close();
}

TEST_F(MenuContentTest, TheTotalIsWrittenAsTheLocaleWritesNumbers) {
    struct Row {
        const char* locale;
        std::int64_t keys;
        const char* text;
    };
    for (const Row& row : std::vector<Row>{{"en_US", 0, "0 keys"},
                                           {"en_US", 1, "1 key"},
                                           {"en_US", 2, "2 keys"},
                                           {"en_US", 12345, "12,345 keys"},
                                           {"de_DE", 12345, "12.345 keys"},
                                           {"hi_IN", 1234567, "12,34,567 keys"},
                                           {"ar_EG", 12345, "١٢٬٣٤٥ keys"}}) {
        QLocale::setDefault(QLocale(row.locale));
        EXPECT_EQ(MenuContent::keyCount(row.keys).toStdString(), row.text) << row.locale;
    }
    QLocale::setDefault(QLocale("en_US"));
    preferences->setInteger("keysPressed", 12345);
    launch();
    EXPECT_NO_THROW(item("12,345 keys", *menu));
    model->resetStats();
    EXPECT_NO_THROW(item("0 keys", *menu));
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

TEST_F(MenuContentTest, NamesFromOutsideCannotSpoilTheMenu) {
    std::vector<VirtualDevice> devices;
    const std::vector<std::string> names = {"Rock & Roll & Jazz", "At the end &", "snake_case",
                                            "two\nlines\tand a column", std::string(100'000, 'x')};
    for (const std::string& name : names) {
        devices.push_back({static_cast<AudioDeviceId>(devices.size() + 1), name.substr(0, 8), name});
    }
    while (devices.size() < 100) {
        devices.push_back({static_cast<AudioDeviceId>(devices.size() + 1),
                           "uid" + std::to_string(devices.size()),
                           "Device " + std::to_string(devices.size())});
    }
    launch();
    plug(devices);
    auto items = seen(submenu("Output"));
    EXPECT_EQ(items.size(), 101U);
    EXPECT_THAT(std::vector(items.begin() + 1, items.begin() + 5),
                ElementsAre("( ) Rock && Roll && Jazz", "( ) At the end &&", "( ) snake_case",
                            "( ) two lines and a column"));
    EXPECT_LT(submenu("Output").fontMetrics().horizontalAdvance(QString::fromStdString(items[5])), 600);
    EXPECT_LE(submenu("Output").sizeHint().height(), QGuiApplication::primaryScreen()->geometry().height());
    // On the bus the toolkit turns the first "&" that is not at the end into "_".
    makeMenu(MenuDrawer::panel);
    items = seen(submenu("Output"));
    EXPECT_THAT(std::vector(items.begin() + 1, items.begin() + 4),
                ElementsAre("( ) Rock && Roll & Jazz", "( ) At the end &&", "( ) snake__case"));
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
    type(*menu, Qt::Key_K);
    EXPECT_FALSE(model->isEnabled());
    EXPECT_FALSE(menu->isVisible());
    model->setEnabled(true);
    menu->popup({});
    submenu("Output").popup({});
    type(submenu("Output"), Qt::Key_C);
    EXPECT_EQ(windows.settings, 1);
    EXPECT_FALSE(menu->isVisible());
    menu->popup({});
    send(*menu, QEvent::KeyPress, Qt::Key_K, false);
    menu->close();
    menu->popup({});
    send(*menu, QEvent::KeyRelease, Qt::Key_K, false);
    EXPECT_TRUE(model->isEnabled()) << "left to the hotkey when the menu closed";
    hotkeys.currentWay = "input";
    type(*menu, Qt::Key_K);
    EXPECT_TRUE(model->isEnabled()) << "the hotkey has acted already";
    menu->close();
    // A window of the program has the keyboard, and the menu is closed.
    QWidget window;
    window.show();
    hotkeys.currentWay = "x11";
    type(window, Qt::Key_K);
    EXPECT_TRUE(model->isEnabled());
}

} // namespace
} // namespace keysong
