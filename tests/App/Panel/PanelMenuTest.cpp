#include "App/Panel/PanelMenu.h"

#include "App/ModelFixture.h"
#include "App/Panel/MenuLabel.h"

#include <QLocale>

namespace keysong::test {
namespace {

using testing::ElementsAre;
using Kind = PanelMenuItem::Kind;

/// An item as a person sees it: "[x]" for what is on, "(x)" for what is chosen among several, its shortcut.
std::string seen(const PanelMenuItem& item) {
    if (item.kind == Kind::separator) {
        return "---";
    }
    std::string text = item.label.toStdString();
    if (item.kind == Kind::choice) {
        text = (item.isMarked ? "(x) " : "( ) ") + text;
    } else if (item.kind == Kind::checkMark) {
        text = (item.isMarked ? "[x] " : "[ ] ") + text;
    }
    if (item.shortcut) {
        EXPECT_EQ(item.shortcut->keyboardModifiers(), Qt::ControlModifier | Qt::AltModifier);
        text += std::string("  ") + static_cast<char>(item.shortcut->key());
    }
    return item.isEnabled ? text : "{" + text + "}";
}

class PanelMenuTest : public ModelFixture {
  protected:
    std::optional<PanelMenu> menu;
    std::vector<int> changedParents;
    std::vector<std::string> changedItems;

    void launch() {
        model->bootstrap();
        settle();
        menu.emplace(*model, PanelMenu::Actions{[] {}, [] {}});
        QObject::connect(&*menu, &PanelMenu::childrenChanged,
                         [this](int parent) { changedParents.push_back(parent); });
        QObject::connect(&*menu, &PanelMenu::itemsChanged, [this](const QList<int>& ids) {
            for (const int id : ids) {
                changedItems.push_back(seen(menu->items().at(id)));
            }
        });
    }
    [[nodiscard]] std::vector<std::string> items(int parent = PanelMenu::root) const {
        std::vector<std::string> all;
        for (const int id : menu->items().at(parent).children) {
            all.push_back(seen(menu->items().at(id)));
        }
        return all;
    }
    [[nodiscard]] int idOf(const QString& label) const {
        for (const auto& [id, item] : menu->items()) {
            if (item.label == label) {
                return id;
            }
        }
        throw std::runtime_error("no item " + label.toStdString());
    }
    void choose(const QString& label) { menu->choose(idOf(label)); }
};

TEST_F(PanelMenuTest, WithoutSetsThereIsNoSoundItem) {
    std::filesystem::remove_all(folder.path() / "sounds");
    launch();
    (void)LogCapture::shared().takeErrors();
    EXPECT_THAT(items(), ElementsAre("[x] Enabled  K", "---", "Volume", "Output", "---", "{0 keys}", "---",
                                     "Settings…  C", "Quit Keysong"));
}

TEST_F(PanelMenuTest, WhatIsNoChoiceChangesNothing) {
    launch();
    for (const int id : {idOf("Sound"), PanelMenu::root, -7}) {
        menu->choose(id);
    }
    EXPECT_TRUE(model->isEnabled());
    EXPECT_EQ(model->selectedSetId(), "alpha");
}

TEST_F(PanelMenuTest, MarksFollowTheModelAndNotTheClicks) {
    launch();
    choose("50%");
    changedItems.clear();
    choose("50%");
    EXPECT_THAT(changedItems, testing::IsSupersetOf({"(x) 50%"})) << "the click may have taken its mark away";
    EXPECT_THAT(items(idOf("Volume")), ElementsAre("( ) 25%", "(x) 50%", "( ) 75%", "( ) 100%"));
    changedItems.clear();
    model->setVolume(0.6F);
    EXPECT_THAT(changedItems, ElementsAre("( ) 50%"));
    model->setVolume(0.61F);
    EXPECT_EQ(changedItems.size(), 1U) << "nothing to be seen changed";
    model->setSelectedSetId("gamma");
    EXPECT_THAT(changedItems, ElementsAre("( ) 50%", "( ) alpha", "(x) gamma"));
    choose("Speakers B");
    settle();
    plug({{1, "uid-a", "Speakers A"}});
    EXPECT_THAT(items(idOf("Output")), ElementsAre("( ) System default", "( ) Speakers A"));
    EXPECT_TRUE(isChoiceGivenUp());
    EXPECT_THAT(items(idOf("Output")), ElementsAre("(x) System default", "( ) Speakers A"));
}

TEST_F(PanelMenuTest, AnIdentifierKeepsItsMeaning) {
    launch();
    const int gone = idOf("Speakers B");
    const int stays = idOf("Speakers A");
    plug({{3, "uid-c", "Headphones"}, {1, "uid-a", "Speakers A"}});
    EXPECT_THAT(changedParents, ElementsAre(idOf("Output")));
    EXPECT_EQ(idOf("Speakers A"), stays);
    menu->choose(gone);
    EXPECT_EQ(model->outputDeviceUid(), std::nullopt);
    menu->choose(idOf("Headphones"));
    EXPECT_EQ(model->outputDeviceUid(), "uid-c");
    choose("System default");
    EXPECT_EQ(model->outputDeviceUid(), std::nullopt);
    changedParents.clear();
    std::filesystem::remove_all(folder.path() / "sounds/alpha");
    writeSet(folder.path() / "sounds", "aaa", "\"name\":\"aaa\",");
    watcher.changed({folder.path() / "sounds"});
    settle();
    EXPECT_THAT(changedParents, ElementsAre(PanelMenu::root));
    EXPECT_EQ(items().at(3), "(x) aaa");
}

TEST_F(PanelMenuTest, TheTotalIsWrittenAsTheLocaleWritesNumbers) {
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
        EXPECT_EQ(PanelMenu::keyCount(row.keys).toStdString(), row.text) << row.locale;
    }
    QLocale::setDefault(QLocale("en_US"));
    preferences->setInteger("keysPressed", 12345);
    launch();
    EXPECT_NO_THROW((void)idOf("12,345 keys"));
    model->resetStats();
    EXPECT_THAT(changedItems, ElementsAre("{0 keys}"));
}

TEST(MenuText, KeepsNamesFromOutsideShort) {
    const auto shown = [](const char* name) { return menuText(name).toStdString(); };
    EXPECT_EQ(shown("Rock & Roll, snake_case"), "Rock & Roll, snake_case");
    EXPECT_EQ(shown(" two\nlines\tand a\rcolumn\x1b "), "two lines and a column");
    EXPECT_EQ(shown("1234567890123456789012345678901234567890"), "1234567890123456789012345678901234567890");
    EXPECT_EQ(shown("12345678901234567890 left out 9012345678901234567"),
              "12345678901234567890…9012345678901234567");
    EXPECT_LE(menuText(QString(100'000, 'x')).size(), 40);
    EXPECT_LE(menuText(QString(100'000, QChar(0x301))).size(), 400) << "accents upon accents";
    // A thumb with a colour, four units of the string, is one character and never cut in two.
    const QString thumb = QString::fromUtf8("👍🏽");
    EXPECT_EQ(menuText(thumb.repeated(41)), thumb.repeated(20) + u'…' + thumb.repeated(19));
}

} // namespace
} // namespace keysong::test
