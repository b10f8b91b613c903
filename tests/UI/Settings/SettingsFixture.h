#pragma once

#include "App/ModelFixture.h"
#include "UI/Settings/SettingsView.h"
#include "UI/Settings/SettingsWindow.h"
#include "fakes/FakeApplications.h"
#include "support/WidgetProgram.h"

#include <QPushButton>
#include <QtTest/QTest>

namespace keysong::test {

/// The settings over a model on fakes.
class SettingsFixture : public ModelFixture {
  public:
    SettingsFixture() {
        model->bootstrap();
        settle();
    }

    /// The window, shown and with the focus.
    SettingsPanel& open() {
        if (!panel) {
            panel =
                std::make_unique<SettingsPanel>(UiServices{*model, heldKeys, applications, places, order});
        }
        panel->show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(panel.get()));
        return *panel;
    }

    /// The control of this kind with the accessible name; null where none is.
    template <typename Widget>
    Widget* named(const char* name, const QWidget* within = nullptr) {
        for (auto* widget : (within != nullptr ? within : &open())->findChildren<Widget*>()) {
            if (widget->accessibleName() == QLatin1String(name) && widget->isVisible()) {
                return widget;
            }
        }
        return nullptr;
    }
    /// The button with this text in the card with this title.
    QPushButton* button(const char* section, const char* text);
    /// What can be read, one text after the other.
    std::vector<std::string> texts();

    FakeApplications applications{{{"org.mozilla.firefox", "Firefox", "firefox", "firefox", "", true},
                                   {"Zoom", "Zoom Workplace", "/nowhere.png", "zoom", "", true},
                                   {"hidden.helper", "Helper", "", "helper", "", false}}};
    HeldKeys heldKeys;
    std::unique_ptr<SettingsPanel> panel;
};

} // namespace keysong::test
