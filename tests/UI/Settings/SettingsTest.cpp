#include "UI/Look/ToggleSwitch.h"
#include "UI/Settings/AppChooser.h"
#include "UI/Settings/PickerBox.h"
#include "UI/Settings/SwitchGroups.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QToolButton>
#include <QWheelEvent>

#include "SettingsFixture.h"

namespace keysong::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

[[maybe_unused]] const auto* const program = testing::AddGlobalTestEnvironment(new WidgetProgram);

struct SettingsTest : SettingsFixture {
    /// The control of this kind with the accessible name; null where none is.
    template <typename Widget>
    Widget* named(const char* name) {
        for (auto* widget : open().findChildren<Widget*>()) {
            if (widget->accessibleName() == QLatin1String(name) && widget->isVisible()) {
                return widget;
            }
        }
        return nullptr;
    }
    /// The button with this text in the card with this title.
    QPushButton* button(const char* section, const char* text) {
        for (auto* candidate : named<SettingsSection>(section)->findChildren<QPushButton*>()) {
            if (candidate->text() == QString::fromUtf8(text)) {
                return candidate;
            }
        }
        return nullptr;
    }
    /// What can be read, one text after the other.
    std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (const auto* label : open().findChildren<QLabel*>()) {
            if (label->isVisible() && !label->text().isEmpty()) {
                result.push_back(label->text().toStdString());
            }
        }
        return result;
    }
};

/// The entries of a picker as they are seen: headings in brackets, the chosen one with a star.
std::vector<std::string> entries(const PickerBox& picker) {
    std::vector<std::string> result;
    for (int index = 0; index < picker.count(); ++index) {
        const bool isEntry =
            (picker.model()->flags(picker.model()->index(index, 0)) & Qt::ItemIsEnabled) != 0;
        const std::string text = picker.itemText(index).toStdString();
        result.push_back(!isEntry ? "[" + text + "]" : index == picker.currentIndex() ? text + " *" : text);
    }
    return result;
}

/// Whether it was of use to the widget.
bool turnWheel(QWidget& widget) {
    const QPointF middle(QRectF(widget.rect()).center());
    QWheelEvent event(middle, widget.mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &event);
    return event.isAccepted();
}

TEST_F(SettingsTest, EverySwitchShowsTheModelAndWritesToIt) {
    const struct {
        const char* label;
        bool (AppState::*get)() const;
        void (AppState::*set)(bool);
    } rows[] = {{"Enabled", &AppState::isEnabled, &AppState::setEnabled},
                {"Mouse clicks", &AppState::mouseSounds, &AppState::setMouseSounds},
                {"Scroll ticks", &AppState::scrollSounds, &AppState::setScrollSounds},
                {"Stereo placement", &AppState::spatialAudio, &AppState::setSpatialAudio},
                {"While an app records", &AppState::muteWhileRecording, &AppState::setMuteWhileRecording},
                {"Launch at login", &AppState::launchAtLogin, &AppState::setLaunchAtLogin}};
    for (const auto& row : rows) {
        auto* const toggle = named<ToggleSwitch>(row.label);
        ASSERT_NE(toggle, nullptr) << row.label;
        const bool before = (*model.*row.get)();
        EXPECT_EQ(toggle->isChecked(), before) << row.label;
        QTest::mouseClick(toggle, Qt::LeftButton);
        EXPECT_EQ((*model.*row.get)(), !before) << row.label;
        (*model.*row.set)(before);
        EXPECT_EQ(toggle->isChecked(), before) << row.label;
    }
    loginItem.refuses = true;
    auto* const login = named<ToggleSwitch>("Launch at login");
    login->click();
    EXPECT_FALSE(login->isChecked());
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre(testing::HasSubstr("launch at login on failed")));
}

TEST_F(SettingsTest, SlidersAndPickersTurnWithTheWheelOnlyWhileTheyHaveTheFocus) {
    auto* const slider = named<QSlider>("Volume");
    auto* const picker = named<PickerBox>("Switch");
    ASSERT_TRUE(slider != nullptr && picker != nullptr);
    model->setVolume(0.333F);
    EXPECT_EQ(slider->value(), 33);
    EXPECT_FLOAT_EQ(model->volume(), 0.333F); // showing it did not round it
    for (QWidget* turned : {static_cast<QWidget*>(slider), static_cast<QWidget*>(picker)}) {
        EXPECT_FALSE(turnWheel(*turned)) << "it is left to the form";
    }
    EXPECT_EQ(slider->value(), 33);
    EXPECT_EQ(model->selectedSetId(), "alpha");
    slider->setFocus();
    EXPECT_TRUE(turnWheel(*slider));
    EXPECT_LT(model->volume(), 0.333F);
}

TEST_F(SettingsTest, TheSetPickerGroupsAndFollows) {
    auto* const picker = named<PickerBox>("Switch");
    auto* const hear = named<QToolButton>("Hear it");
    ASSERT_TRUE(picker != nullptr && hear != nullptr);
    EXPECT_THAT(entries(*picker), ElementsAre("[Yours]", "alpha *", "beta", "gamma"));
    emit picker->activated(2);
    EXPECT_EQ(model->selectedSetId(), "beta");
    model->setSelectedSetId("gamma");
    EXPECT_EQ(picker->currentText(), "gamma");
    model->setEnabled(false);
    EXPECT_FALSE(hear->isEnabled());
    model->setEnabled(true);
    EXPECT_TRUE(hear->isEnabled());
    EXPECT_THAT(texts(), Not(Contains("None installed")));
}

TEST(SwitchGroups, KeepTheirOrderAndPutTheUsersOwnLast) {
    const std::vector<SoundSetInfo> sets = {{"mine", "Mine", {}},       {"topre", "Topre", {}},
                                            {"tealios", "Tealios", {}}, {"cherry-mx-blue", "Blue", {}},
                                            {"alpaca", "Alpaca", {}},   {"deep-clack-4", "Four", {}}};
    std::vector<std::string> seen;
    for (const auto& group : SwitchGroups::grouped(sets)) {
        seen.emplace_back(group.name);
        for (const auto& set : group.sets) {
            seen.push_back("- " + set.name);
        }
    }
    EXPECT_THAT(seen, ElementsAre("Cherry", "- Blue", "Boutique", "- Tealios", "- Alpaca", "Topre", "- Topre",
                                  "Deep Clack", "- Four", "Yours", "- Mine"));
}

TEST_F(SettingsTest, WithoutSetsThereIsNothingToChoose) {
    places.variables["KEYSONG_SOUNDS_DIR"] = folder.makeFolder("none").string();
    makeModel();
    model->bootstrap();
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(testing::HasSubstr("no sound sets in")));
    EXPECT_THAT(texts(), Contains("None installed"));
    EXPECT_EQ(named<PickerBox>("Switch"), nullptr);
    EXPECT_EQ(named<QToolButton>("Hear it"), nullptr);
}

TEST_F(SettingsTest, AChosenDeviceThatIsNotListedStaysVisible) {
    // One without a name is not listed, but can be chosen from elsewhere.
    output.devices().replace({{1, "uid-a", "Speakers A"}, {2, "uid-b", "Speakers B"}, {3, "uid-c", ""}}, 1);
    auto* const picker = named<PickerBox>("Output device");
    ASSERT_NE(picker, nullptr);
    EXPECT_THAT(entries(*picker), ElementsAre("System default *", "Speakers A", "Speakers B"));
    model->setOutputDeviceUid("uid-c");
    EXPECT_THAT(entries(*picker),
                ElementsAre("System default", "Speakers A", "Speakers B", "Not connected *"));
    emit picker->activated(2);
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    EXPECT_THAT(entries(*picker), ElementsAre("System default", "Speakers A", "Speakers B *"));
    emit picker->activated(0);
    EXPECT_EQ(model->outputDeviceUid(), std::nullopt);
}

TEST_F(SettingsTest, AnOpenPickerSurvivesDevicesThatComeAndGo) {
    auto* const picker = named<PickerBox>("Output device");
    ASSERT_NE(picker, nullptr);
    const auto follows = [&](std::size_t count) {
        return pumpUntil([&] { return entries(*picker).size() == count; },
                         [&] { mainQueue.advance(std::chrono::milliseconds(1)); });
    };
    picker->showPopup();
    const auto unplugged = output.unplug(2);
    EXPECT_TRUE(follows(2));
    QTest::keyClick(picker->view(), Qt::Key_Down);
    output.plug(*unplugged);
    EXPECT_TRUE(follows(3));
    // It can still be chosen from.
    QTest::keyClick(picker->view(), Qt::Key_End);
    QTest::keyClick(picker->view(), Qt::Key_Return);
    EXPECT_EQ(model->outputDeviceUid(), "uid-b");
    picker->hidePopup();
}

TEST_F(SettingsTest, WhatIsTypedAnywhereReachesTheScratchFieldOnce) {
    auto* const scratch = qobject_cast<QPlainTextEdit*>(open().focusProxy());
    ASSERT_NE(scratch, nullptr);
    EXPECT_TRUE(scratch->hasFocus());
    const auto press = [&](QWidget* at, int key, const char* text, Qt::KeyboardModifiers modifiers = {}) {
        at->setFocus();
        QKeyEvent event(QEvent::KeyPress, key, modifiers, QString::fromUtf8(text));
        QApplication::sendEvent(at, &event);
        return scratch->toPlainText().toStdString();
    };
    EXPECT_EQ(press(scratch, Qt::Key_A, "a"), "a");
    EXPECT_EQ(press(named<ToggleSwitch>("Enabled"), Qt::Key_B, "b"), "ab");
    EXPECT_TRUE(scratch->hasFocus());
    // A picker and a list would look for an entry with that letter.
    EXPECT_EQ(press(named<PickerBox>("Switch"), Qt::Key_G, "g"), "abg");
    EXPECT_EQ(model->selectedSetId(), "alpha");
    EXPECT_EQ(press(named<QListWidget>("Apps in which Keysong is silent"), Qt::Key_Z, "z"), "abgz");
    EXPECT_EQ(press(named<QSlider>("Volume"), Qt::Key_Backspace, "\b"), "abg");
    // Commands are no text.
    EXPECT_EQ(press(named<QSlider>("Volume"), Qt::Key_K, "k", Qt::ControlModifier), "abg");
    EXPECT_EQ(press(named<QSlider>("Volume"), Qt::Key_Right, ""), "abg");
}

TEST_F(SettingsTest, KeysAreWatchedOnlyWhileTheWindowIsOpen) {
    EXPECT_FALSE(heldKeys.isWatching());
    open();
    EXPECT_TRUE(heldKeys.isWatching());
    panel->close();
    EXPECT_FALSE(heldKeys.isWatching());
    open();
    EXPECT_TRUE(heldKeys.isWatching());
}

TEST_F(SettingsTest, MutedAppsAreShownAddedAndRemoved) {
    model->setMutedApps({"us.zoom.xos", "nobody.knows"});
    auto* const list = named<QListWidget>("Apps in which Keysong is silent");
    auto* const remove = named<QToolButton>("Remove the selected app");
    ASSERT_TRUE(list != nullptr && remove != nullptr);
    // The first is installed under the name that it has here.
    ASSERT_EQ(list->count(), 2);
    EXPECT_EQ(list->item(0)->text(), "Zoom Workplace");
    EXPECT_EQ(list->item(1)->text(), "nobody.knows");
    EXPECT_FALSE(list->item(1)->icon().isNull());
    EXPECT_FALSE(remove->isEnabled());

    const auto addFirefox = [&] {
        named<QToolButton>("Add an app")->click();
        auto* const chooser = open().findChild<AppChooser*>();
        auto* const search = chooser->findChild<QLineEdit*>();
        const auto* const found = chooser->findChild<QListView*>()->model();
        EXPECT_EQ(found->rowCount(), 2); // the helper is not offered
        search->setText("nothing like it");
        EXPECT_EQ(found->rowCount(), 0);
        QTest::keyClick(search, Qt::Key_Return); // chooses nothing
        EXPECT_TRUE(chooser->isVisible());
        search->setText("MOZILLA");
        QTest::keyClick(search, Qt::Key_Return);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    addFirefox();
    addFirefox();
    EXPECT_THAT(model->mutedApps(), ElementsAre("us.zoom.xos", "nobody.knows", "org.mozilla.firefox"));

    list->setCurrentRow(1);
    EXPECT_TRUE(remove->isEnabled());
    remove->click();
    EXPECT_THAT(model->mutedApps(), ElementsAre("us.zoom.xos", "org.mozilla.firefox"));
    EXPECT_FALSE(remove->isEnabled());
    model->setMutedApps({});
    EXPECT_THAT(texts(), Contains("No apps added."));
}

TEST_F(SettingsTest, TheCountIsResetOnlyByTheDialogsOwnButton) {
    RawEvent press;
    press.type = RawEventType::keyDown;
    input.deliver(press);
    mainQueue.advance(std::chrono::seconds(10));
    EXPECT_EQ(model->keysPressed(), 1);
    const auto answer = [&](const char* text) {
        button("General", "Reset")->click();
        auto* const dialog = open().findChild<QMessageBox*>();
        EXPECT_EQ(dialog->text(), "Reset the key count?");
        EXPECT_EQ(dialog->informativeText(), "This cannot be undone.");
        EXPECT_EQ(dialog->defaultButton()->text(), "Cancel");
        for (auto* choice : dialog->buttons()) {
            if (choice->text() == QLatin1String(text)) {
                choice->click();
            }
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_EQ(open().findChild<QMessageBox*>(), nullptr);
    };
    answer("Cancel");
    EXPECT_EQ(model->keysPressed(), 1);
    answer("Reset");
    EXPECT_EQ(model->keysPressed(), 0);
}

TEST_F(SettingsTest, SaysWhetherItMayListen) {
    EXPECT_THAT(texts(), Contains("Granted"));
    panel.reset();
    input.trusted = false;
    makeModel();
    model->bootstrap();
    EXPECT_THAT(texts(), Contains("Not granted"));
    const int before = windows.onboarding;
    button("General", "Grant Access\u2026")->click();
    EXPECT_EQ(windows.onboarding, before + 1);
    panel.reset();
    input.trusted = true; // but nothing has started to listen
    EXPECT_THAT(texts(), Contains("Granted, but not listening. Quit and reopen Keysong."));
}

TEST_F(SettingsTest, TakesBackWhatTheServiceGaveAndSaysWhenThatFails) {
    open();
    EXPECT_FALSE(button("General", "Take Back")->isVisible()) << "it came in another way";
    panel.reset();
    access.kind = KeyboardAccess::Way::service;
    open();
    QPushButton* const takeBack = button("General", "Take Back");
    takeBack->click();
    EXPECT_EQ(access.revocations, 1);
    EXPECT_FALSE(takeBack->isEnabled());
    access.answer(KeyboardAccess::Outcome::failed, "no room");
    EXPECT_TRUE(takeBack->isEnabled());
    EXPECT_THAT(texts(), Contains("Access could not be taken back"));
    takeBack->click();
    panel.reset(); // goes before the answer
    access.answer(KeyboardAccess::Outcome::granted);
}

TEST_F(SettingsTest, NothingIsCutOffInLargeLettersOrFromRightToLeft) {
    const QFont before = QApplication::font();
    QFont large = before;
    large.setPointSizeF(before.pointSizeF() * 1.6);
    for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QApplication::setFont(large);
        QApplication::setLayoutDirection(direction);
        panel.reset();
        const auto* const view = open().findChild<QScrollArea*>();
        EXPECT_EQ(view->horizontalScrollBar()->maximum(), 0);
        const QRect room = view->widget()->rect();
        for (const auto* widget : view->widget()->findChildren<QWidget*>()) {
            if (widget->isVisible()) {
                const QRect place(widget->mapTo(view->widget(), QPoint()), widget->size());
                EXPECT_TRUE(room.contains(place))
                    << widget->metaObject()->className() << ' ' << widget->accessibleName().toStdString();
                EXPECT_GE(widget->width(), qMin(widget->minimumSizeHint().width(), room.width()));
            }
        }
    }
    QApplication::setFont(before);
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST_F(SettingsTest, TheTabKeyWalksInTheOrderOfReading) {
    open();
    std::vector<int> tops;
    const auto* const content = panel->findChild<QScrollArea*>()->widget();
    const QWidget* const first = QApplication::focusWidget();
    do {
        const QWidget* const current = QApplication::focusWidget();
        tops.push_back(current->mapTo(content, QPoint(0, current->height() / 2)).y());
        EXPECT_FALSE(current->accessibleName().isEmpty() &&
                     qobject_cast<const QPushButton*>(current) == nullptr)
            << current->metaObject()->className();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    } while (QApplication::focusWidget() != first && tops.size() < 50);
    EXPECT_GE(tops.size(), 15U);
    EXPECT_TRUE(std::ranges::is_sorted(tops)) << testing::PrintToString(tops);
}

} // namespace
} // namespace keysong::test
