#pragma once

#include "App/AppState.h"
#include "App/HeldKeys.h"
#include "Platform/InstalledApplications.h"
#include "Platform/KeyboardAccess.h"
#include "Platform/Places.h"
#include "Platform/TextOrder.h"
#include "UI/Look/Card.h"

namespace keysong {

class KeyboardView;
class ScratchField;

/// What the windows work with beside the model. Everything referred to outlives them.
struct UiServices {
    AppState& model;
    HeldKeys& heldKeys;
    InstalledApplications& applications;
    const Places& places;
    const TextOrder& textOrder;
    KeyboardAccess& access;
};

/// A place to type and the keyboard that shows it. While it can be seen the held keys are watched. Main
/// thread.
class TryItSection final : public SettingsSection {
    Q_OBJECT

  public:
    TryItSection(HeldKeys& keys, QWidget* parent);

    /// Takes what is typed while no other text field has the focus.
    [[nodiscard]] QWidget& scratch() const noexcept;

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    HeldKeys& keys_;
    ScratchField* scratch_;
};

// The other sections, each a view of the model that writes every change back to it at once. They belong to
// `parent`. Main thread.

[[nodiscard]] SettingsSection* makeSoundSection(AppState& model, QWidget* parent);
[[nodiscard]] SettingsSection* makeSwitchSection(AppState& model, QWidget* parent);
[[nodiscard]] SettingsSection* makeToneSection(AppState& model, QWidget* parent);
[[nodiscard]] SettingsSection* makeOutputSection(AppState& model, QWidget* parent);
[[nodiscard]] SettingsSection* makeSleepSection(const UiServices& services, QWidget* parent);
[[nodiscard]] SettingsSection* makeGeneralSection(const UiServices& services, QWidget* parent);

} // namespace keysong
