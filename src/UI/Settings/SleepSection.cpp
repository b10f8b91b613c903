#include "UI/Settings/MutedAppsList.h"
#include "UI/Settings/SettingsControls.h"
#include "UI/Settings/SettingsSections.h"

namespace keysong {

SettingsSection* makeSleepSection(const UiServices& services, QWidget* parent) {
    auto* const section = new SettingsSection(SettingsSection::tr("Sleep"), parent);
    addToggle(
        section->card(), services.model, SettingsSection::tr("While an app records"),
        {&AppState::muteWhileRecording, &AppState::setMuteWhileRecording,
         &AppState::muteWhileRecordingChanged},
        SettingsSection::tr("Silent as long as something takes the sound of a microphone or the speakers. "
                            "When this is off, all letters sound alike meanwhile."));
    section->card().addContent(
        new MutedAppsList(services.model, services.applications, services.textOrder, section));
    section->setFooter(SettingsSection::tr("Keysong is silent while one of these is frontmost."));
    return section;
}

} // namespace keysong
