#pragma once

#include "App/AppState.h"

#include <QWidget>

namespace keysong {

/// The model's volume as a slider from 0 to 100 between a quiet and a loud speaker. The wheel turns it only
/// while it has the keyboard's focus. Main thread.
class VolumeSlider final : public QWidget {
    Q_OBJECT

  public:
    VolumeSlider(AppState& model, QWidget* parent);
};

} // namespace keysong
