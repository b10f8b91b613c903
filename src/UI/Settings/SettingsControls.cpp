#include "UI/Settings/SettingsControls.h"

namespace keysong {

ToggleSwitch* addToggle(Card& card, AppState& model, const QString& label, const ModelFlag& flag,
                        const QString& caption) {
    auto* const toggle = new ToggleSwitch(&card);
    toggle->setChecked((model.*flag.get)());
    card.addRow(label, {toggle}, caption);
    // Not "clicked": assistive programs toggle it without a click.
    QObject::connect(toggle, &QCheckBox::toggled, &model, [&model, flag, toggle](bool on) {
        if ((model.*flag.get)() != on) {
            (model.*flag.set)(on);
            toggle->setChecked((model.*flag.get)()); // what was refused is shown as it is
        }
    });
    QObject::connect(&model, flag.changed, toggle,
                     [&model, flag, toggle] { toggle->setChecked((model.*flag.get)()); });
    return toggle;
}

} // namespace keysong
