// What the remote control offers: its properties and methods as tables.

#include "App/ActivationToken.h"
#include "App/RemoteControl.h"
#include "App/RemoteTypes.h"

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

template <typename Entry, typename Id, typename Name>
QVariant choices(const std::vector<Entry>& entries, Id Entry::*id, Name Entry::*name) {
    RemoteChoices result;
    for (const Entry& entry : entries) {
        result << RemoteChoice{QString::fromStdString(entry.*id), QString::fromStdString(entry.*name)};
    }
    return QVariant::fromValue(result);
}

QVariant texts(const std::vector<std::string>& strings) {
    QStringList result;
    for (const std::string& string : strings) {
        result << QString::fromStdString(string);
    }
    return result;
}

/// As a person would write it: 0.6, and not the nearest float's 0.60000002384.
double shortened(float value) {
    return QString::number(static_cast<double>(value), 'g', 7).toDouble();
}

} // namespace

template <typename Value>
Value RemoteControl::expect(const QVariant& value) {
    if (value.metaType() != QMetaType::fromType<Value>()) {
        throw Refusal(QDBusError::InvalidArgs, "the value has another type");
    }
    return value.value<Value>();
}

float RemoteControl::expectWithin(const QVariant& value, double low, double high) {
    const auto number = expect<double>(value);
    if (!(number >= low && number <= high)) {
        throw Refusal(QDBusError::InvalidArgs, "the number is out of range");
    }
    return static_cast<float>(number);
}

std::string RemoteControl::expectInstalledSet(const AppModel& model, const QString& id) {
    const auto& sets = model.availableSets();
    std::string wanted = id.toStdString();
    if (std::none_of(sets.begin(), sets.end(), [&](const SoundSetInfo& set) { return set.id == wanted; })) {
        throw Refusal(QDBusError::InvalidArgs, "no set \"" + wanted + "\"");
    }
    return wanted;
}

void RemoteControl::setOutput(AppModel& model, const QVariant& value) {
    const std::string uid = expect<QString>(value).toStdString();
    const auto& devices = model.outputDevices();
    if (!uid.empty() && std::none_of(devices.begin(), devices.end(),
                                     [&](const AudioOutputDevice& device) { return device.uid == uid; })) {
        throw Refusal(QDBusError::InvalidArgs, "output device " + uid + " is not attached");
    }
    model.setOutputDeviceUid(uid.empty() ? std::nullopt : std::optional(uid));
}

RemoteControl::Property RemoteControl::flag(const char* name, bool (AppModel::*get)() const,
                                            void (AppModel::*set)(bool), void (AppModel::*changed)()) {
    std::function<void(AppModel&, const QVariant&)> setter;
    if (set != nullptr) {
        setter = [set](AppModel& model, const QVariant& value) { (model.*set)(expect<bool>(value)); };
    }
    return {name, "b", [get](const AppModel& model) { return QVariant((model.*get)()); }, std::move(setter),
            changed};
}

RemoteControl::Property RemoteControl::level(const char* name, float (AppModel::*get)() const,
                                             void (AppModel::*set)(float), double low,
                                             void (AppModel::*changed)()) {
    return {name, "d", [get](const AppModel& model) { return QVariant(shortened((model.*get)())); },
            [set, low](AppModel& model, const QVariant& value) { (model.*set)(expectWithin(value, low, 1)); },
            changed};
}

const std::vector<RemoteControl::Property>& RemoteControl::properties() {
    using Model = AppModel;
    static const std::vector<Property> table = {
        flag("Enabled", &Model::isEnabled, &Model::setEnabled, &Model::isEnabledChanged),
        level("Volume", &Model::volume, &Model::setVolume, 0, &Model::volumeChanged),
        {"SetId", "s",
         [](const Model& model) { return QVariant(QString::fromStdString(model.selectedSetId())); },
         [](Model& model, const QVariant& value) {
             model.setSelectedSetId(expectInstalledSet(model, expect<QString>(value)));
         },
         &Model::selectedSetIdChanged},
        {"Sets",
         "a(ss)",
         [](const Model& model) {
             return choices(model.availableSets(), &SoundSetInfo::id, &SoundSetInfo::name);
         },
         {},
         &Model::availableSetsChanged},
        {"OutputUid", "s",
         [](const Model& model) {
             return QVariant(QString::fromStdString(model.outputDeviceUid().value_or("")));
         },
         &setOutput, &Model::outputDeviceUidChanged},
        {"Outputs",
         "a(ss)",
         [](const Model& model) {
             return choices(model.outputDevices(), &AudioOutputDevice::uid, &AudioOutputDevice::name);
         },
         {},
         &Model::outputDeviceListChanged},
        flag("SpatialAudio", &Model::spatialAudio, &Model::setSpatialAudio, &Model::spatialAudioChanged),
        level("Tone", &Model::tone, &Model::setTone, -1, &Model::toneChanged),
        level("Body", &Model::body, &Model::setBody, -1, &Model::bodyChanged),
        flag("MouseSounds", &Model::mouseSounds, &Model::setMouseSounds, &Model::mouseSoundsChanged),
        flag("ScrollSounds", &Model::scrollSounds, &Model::setScrollSounds, &Model::scrollSoundsChanged),
        {"MutedApps", "as", [](const Model& model) { return texts(model.mutedApps()); },
         [](Model& model, const QVariant& value) {
             std::vector<std::string> identifiers;
             for (const QString& text : expect<QStringList>(value)) {
                 identifiers.push_back(text.toStdString());
             }
             model.setMutedApps(identifiers);
         },
         &Model::mutedAppsChanged},
        flag("MuteWhileRecording", &Model::muteWhileRecording, &Model::setMuteWhileRecording,
             &Model::muteWhileRecordingChanged),
        flag("LaunchAtLogin", &Model::launchAtLogin, &Model::setLaunchAtLogin, &Model::launchAtLoginChanged),
        flag("CanLaunchAtLogin", &Model::canLaunchAtLogin, nullptr, &Model::canLaunchAtLoginChanged),
        flag("Trusted", &Model::hasAccess, nullptr, &Model::hasAccessChanged),
        flag("Sleeping", &Model::isSleeping, nullptr, &Model::isSleepingChanged),
        {"KeysPressed",
         "x",
         [](const Model& model) { return QVariant::fromValue<qlonglong>(model.keysPressed()); },
         {},
         &Model::keysPressedChanged},
        {"Hotkeys",
         "s",
         [](const Model& model) {
             const std::string_view way = model.hotkeyWay();
             return QVariant(QString::fromUtf8(way.data(), static_cast<qsizetype>(way.size())));
         },
         {},
         nullptr},
        {"PlayingOn",
         "s",
         [](const Model& model) {
             return QVariant(QString::fromStdString(model.engine().currentOutputDeviceUid().value_or("")));
         },
         {},
         nullptr}};
    return table;
}

const std::vector<RemoteControl::Method>& RemoteControl::methods() {
    using Arguments = QVariantList;
    const auto showSettings = [](RemoteControl& self, const Arguments&) {
        self.model_->showSettings();
        return QVariantList();
    };
    const auto activate = [](RemoteControl& self, const Arguments& arguments) {
        adoptActivation(qdbus_cast<QVariantMap>(arguments.back()));
        self.model_->showSettings();
        return QVariantList();
    };
    static const std::vector<Method> table = {
        {applicationInterface, "Activate", "a{sv}", "", activate},
        {applicationInterface, "Open", "asa{sv}", "", activate},
        {applicationInterface, "ActivateAction", "sava{sv}", "",
         [](RemoteControl&, const Arguments&) -> QVariantList {
             throw Refusal(QDBusError::NotSupported, "there are no actions");
         }},
        {controlInterface, "Toggle", "", "b",
         [](RemoteControl& self, const Arguments&) {
             self.model_->toggleEnabled();
             return QVariantList{self.model_->isEnabled()};
         }},
        {controlInterface, "Preview", "s", "",
         [](RemoteControl& self, const Arguments& arguments) {
             self.model_->previewSet(expectInstalledSet(*self.model_, arguments[0].toString()));
             return QVariantList();
         }},
        {controlInterface, "ShowSettings", "", "", showSettings},
        {controlInterface, "ResetStatistics", "", "",
         [](RemoteControl& self, const Arguments&) {
             self.model_->resetStats();
             return QVariantList();
         }},
        {controlInterface, "Quit", "", "", [](RemoteControl& self, const Arguments&) {
             self.quit_();
             return QVariantList();
         }}};
    return table;
}

} // namespace keysong
