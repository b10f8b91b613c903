// The sections that shape the sound: its level, its set, its tone and where it plays.

#include "UI/Look/Symbols.h"
#include "UI/Look/VolumeSlider.h"
#include "UI/Settings/PickerBox.h"
#include "UI/Settings/SettingsControls.h"
#include "UI/Settings/SettingsSections.h"
#include "UI/Settings/SwitchGroups.h"
#include "UI/Settings/TonePad.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace keysong {

namespace {

QVariant deviceValue(const std::optional<std::string>& uid) {
    return uid ? QVariant(QString::fromStdString(*uid)) : QVariant();
}

void fillSets(PickerBox& picker, const AppState& model) {
    picker.refill(
        [&] {
            for (const SwitchGroups::Group& group : SwitchGroups::grouped(model.availableSets())) {
                picker.addHeading(QString::fromUtf8(group.name.data(), qsizetype(group.name.size())));
                for (const SoundSetInfo& set : group.sets) {
                    picker.addEntry(QString::fromStdString(set.name), QString::fromStdString(set.id));
                }
            }
        },
        QString::fromStdString(model.selectedSetId()));
}

void fillDevices(PickerBox& picker, const AppState& model) {
    picker.refill(
        [&] {
            picker.addEntry(SettingsSection::tr("System default"), QVariant());
            for (const AudioOutputDevice& device : model.outputDevices()) {
                picker.addEntry(QString::fromStdString(device.name), QString::fromStdString(device.uid));
            }
            const auto& chosen = model.outputDeviceUid();
            if (chosen && std::ranges::none_of(model.outputDevices(), [&](const AudioOutputDevice& device) {
                    return device.uid == *chosen;
                })) {
                picker.addEntry(SettingsSection::tr("Not connected"), deviceValue(chosen));
            }
        },
        deviceValue(model.outputDeviceUid()));
}

} // namespace

SettingsSection* makeSoundSection(AppState& model, QWidget* parent) {
    auto* const section = new SettingsSection(SettingsSection::tr("Sound"), parent);
    Card& card = section->card();
    addToggle(card, model, SettingsSection::tr("Enabled"),
              {&AppState::isEnabled, &AppState::setEnabled, &AppState::isEnabledChanged});
    card.addRow(SettingsSection::tr("Volume"), {new VolumeSlider(model, &card)});
    addToggle(card, model, SettingsSection::tr("Mouse clicks"),
              {&AppState::mouseSounds, &AppState::setMouseSounds, &AppState::mouseSoundsChanged});
    addToggle(card, model, SettingsSection::tr("Scroll ticks"),
              {&AppState::scrollSounds, &AppState::setScrollSounds, &AppState::scrollSoundsChanged});
    addToggle(card, model, SettingsSection::tr("Stereo placement"),
              {&AppState::spatialAudio, &AppState::setSpatialAudio, &AppState::spatialAudioChanged},
              SettingsSection::tr("A key on the left of the board sounds from the left."));
    return section;
}

SettingsSection* makeSwitchSection(AppState& model, QWidget* parent) {
    auto* const section = new SettingsSection(SettingsSection::tr("Switch"), parent);
    auto* const none = new QLabel(SettingsSection::tr("None installed"), section);
    none->setForegroundRole(QPalette::PlaceholderText);
    auto* const picker = new PickerBox(section);
    auto* const play = new QToolButton(section);
    play->setIcon(symbolIcon(Symbol::playCircle));
    play->setIconSize({20, 20});
    play->setToolTip(SettingsSection::tr("Hear it"));
    play->setAccessibleName(SettingsSection::tr("Hear it"));
    play->setFocusPolicy(Qt::StrongFocus);
    QWidget* const emptyRow = section->card().addRow(SettingsSection::tr("Switch"), {none});
    QWidget* const fullRow = section->card().addRow(SettingsSection::tr("Switch"), {picker, play});

    const auto refill = [&model, picker, emptyRow, fullRow] {
        fillSets(*picker, model);
        emptyRow->setVisible(model.availableSets().empty());
        fullRow->setVisible(!model.availableSets().empty());
    };
    const auto follow = [&model, play] { play->setEnabled(model.isEnabled()); };
    refill();
    follow();
    QObject::connect(picker, &PickerBox::chosen, &model, [&model](const QVariant& value) {
        model.setSelectedSetId(value.toString().toStdString());
    });
    QObject::connect(play, &QToolButton::clicked, &model,
                     [&model] { model.previewSet(model.selectedSetId()); });
    QObject::connect(&model, &AppState::availableSetsChanged, picker, refill);
    QObject::connect(&model, &AppState::selectedSetIdChanged, picker,
                     [&model, picker] { picker->showChoice(QString::fromStdString(model.selectedSetId())); });
    QObject::connect(&model, &AppState::isEnabledChanged, play, follow);
    return section;
}

SettingsSection* makeToneSection(AppState& model, QWidget* parent) {
    auto* const section = new SettingsSection(SettingsSection::tr("Tone"), parent);
    auto* const content = new QWidget(section);
    auto* const line = new QHBoxLayout(content);
    line->setContentsMargins(0, 8, 0, 8);
    line->setSpacing(16);
    line->addWidget(new TonePad(model, content));
    auto* const column = new QVBoxLayout;
    column->setSpacing(10);
    column->addStretch(1);
    column->addWidget(new Caption(
        SettingsSection::tr("Drag to move the switch between a deep thock and a sharp clack."), content));
    auto* const reset = new QPushButton(SettingsSection::tr("Reset"), content);
    reset->setAccessibleDescription(SettingsSection::tr("Tone"));
    column->addWidget(reset, 0, Qt::AlignLeading);
    column->addStretch(1);
    line->addLayout(column, 1);
    section->card().addContent(content);

    const auto follow = [&model, reset] { reset->setDisabled(model.tone() == 0 && model.body() == 0); };
    follow();
    QObject::connect(reset, &QPushButton::clicked, &model, &AppState::resetTone);
    QObject::connect(&model, &AppState::toneChanged, reset, follow);
    QObject::connect(&model, &AppState::bodyChanged, reset, follow);
    return section;
}

SettingsSection* makeOutputSection(AppState& model, QWidget* parent) {
    auto* const section = new SettingsSection(SettingsSection::tr("Output"), parent);
    auto* const picker = new PickerBox(section);
    section->card().addRow(SettingsSection::tr("Output device"), {picker});
    section->setFooter(SettingsSection::tr(
        "Bluetooth headphones add around 150 ms. Use speakers or a wired output for typing."));
    const auto refill = [&model, picker] { fillDevices(*picker, model); };
    refill();
    QObject::connect(picker, &PickerBox::chosen, &model, [&model](const QVariant& value) {
        model.setOutputDeviceUid(value.isNull() ? std::nullopt
                                                : std::optional(value.toString().toStdString()));
    });
    QObject::connect(&model, &AppState::outputDeviceListChanged, picker, refill);
    QObject::connect(&model, &AppState::outputDeviceUidChanged, picker, refill);
    return section;
}

} // namespace keysong
