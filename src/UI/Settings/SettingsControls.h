#pragma once

#include "App/AppState.h"
#include "UI/Look/Card.h"
#include "UI/Look/ToggleSwitch.h"

namespace keysong {

/// A switch of the model: how it is read and written, and what tells of its change.
struct ModelFlag {
    bool (AppState::*get)() const;
    void (AppState::*set)(bool);
    void (AppState::*changed)();
};

/// Appends a row with a switch that shows the flag and writes it. Main thread.
ToggleSwitch* addToggle(Card& card, AppState& model, const QString& label, const ModelFlag& flag,
                        const QString& caption = {});

} // namespace keysong
