#pragma once

#include "App/ModelFixture.h"
#include "UI/Settings/SettingsView.h"
#include "UI/Settings/SettingsWindow.h"
#include "fakes/FakeApplications.h"
#include "fakes/FakeKeyboardAccess.h"
#include "support/WidgetProgram.h"

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
            panel = std::make_unique<SettingsPanel>(
                UiServices{*model, heldKeys, applications, places, order, access});
        }
        panel->show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(panel.get()));
        return *panel;
    }

    FakeApplications applications{{{"org.mozilla.firefox", "Firefox", "firefox", "firefox", "", true},
                                   {"Zoom", "Zoom Workplace", "/nowhere.png", "zoom", "", true},
                                   {"hidden.helper", "Helper", "", "helper", "", false}}};
    HeldKeys heldKeys;
    FakeKeyboardAccess access;
    std::unique_ptr<SettingsPanel> panel;
};

} // namespace keysong::test
