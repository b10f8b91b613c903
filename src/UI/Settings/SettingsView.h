#pragma once

#include "UI/Settings/SettingsSections.h"

#include <QScrollArea>

namespace keysong {

/// Everything that the user can set, as one column of sections that scrolls. It keeps no copy of any setting:
/// every control shows the model and writes to it. Main thread.
class SettingsView final : public QScrollArea {
    Q_OBJECT

  public:
    explicit SettingsView(const UiServices& services, QWidget* parent = nullptr);

    /// Takes what is typed while no other text field has the focus.
    [[nodiscard]] QWidget& scratch() const noexcept { return tryIt_->scratch(); }

    /// The width that every control needs.
    [[nodiscard]] int contentWidth() const;

  private:
    TryItSection* tryIt_;
};

} // namespace keysong
