#include "UI/SettingsControls.h"

#include <QSignalBlocker>

namespace keysong {

ToggleSwitch* addToggle(Card& card, AppModel& model, const QString& label, const ModelFlag& flag,
                        const QString& caption) {
    auto* const toggle = new ToggleSwitch(&card);
    toggle->setChecked((model.*flag.get)());
    card.addRow(label, toggle, caption);
    QObject::connect(toggle, &QCheckBox::clicked, &model, [&model, flag](bool on) { (model.*flag.set)(on); });
    QObject::connect(&model, flag.changed, toggle,
                     [&model, flag, toggle] { toggle->setChecked((model.*flag.get)()); });
    return toggle;
}

} // namespace keysong
