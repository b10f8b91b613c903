// What the remote control offers: its properties and methods as tables.

#include "App/AskerData.h"
#include "App/RemoteControl.h"
#include "App/RemoteValue.h"
#include "App/SettingTable.h"

#include <QDBusArgument>

namespace keysong {

const std::vector<RemoteControl::Property>& RemoteControl::properties() {
    static const std::vector<Property> table = [] {
        std::vector<Property> rows;
        forEachRow(settingTable, [&rows](const auto& row) {
            using Value = typename std::decay_t<decltype(row)>::Value;
            using Form = RemoteValue<Value>;
            rows.push_back(
                {row.name, Form::signature,
                 [&row](const AppState& state) { return Form::toBus(state.settings().*row.field); },
                 [&row](AppState& state, const QVariant& given) {
                     const auto value = Form::fromBus(given);
                     if (!value) {
                         throw Refusal(QDBusError::InvalidArgs, "the value has another type");
                     }
                     if (row.check != nullptr) {
                         row.check(state, *value);
                     }
                     state.change(NewValue<Value>{row.field, *value});
                 },
                 row.changed});
        });
        forEachRow(liveTable, [&rows](const auto& row) {
            using Form = RemoteValue<typename std::decay_t<decltype(row)>::Value>;
            rows.push_back({row.name,
                            Form::signature,
                            [&row](const AppState& state) { return Form::toBus(state.live().*row.field); },
                            {},
                            row.changed});
        });
        const auto addAsked = [&rows](const char* name, auto(AppState::*get)() const) {
            using Form = RemoteValue<std::invoke_result_t<decltype(get), const AppState&>>;
            rows.push_back({name,
                            Form::signature,
                            [get](const AppState& state) { return Form::toBus((state.*get)()); },
                            {}});
        };
        addAsked("SystemGivesAccess", &AppState::systemGivesAccess);
        addAsked("Hotkeys", &AppState::hotkeyWay);
        addAsked("PlayingOn", &AppState::playingOn);
        return rows;
    }();
    return table;
}

void RemoteControl::showSettings(const Asker& asker) {
    if (const std::string problem = windows_->showSettings(asker); !problem.empty()) {
        throw Refusal(QDBusError::Failed, problem);
    }
}

const std::vector<RemoteControl::Method>& RemoteControl::methods() {
    using Arguments = QVariantList;
    const auto showSettings = [](RemoteControl& self, const Arguments&) {
        self.showSettings({});
        return QVariantList();
    };
    const auto activate = [](RemoteControl& self, const Arguments& arguments) {
        self.showSettings(askerOf(qdbus_cast<QVariantMap>(arguments.back())));
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
             const std::string id = arguments[0].toString().toStdString();
             checks::isInstalledSet(*self.model_, id);
             self.model_->previewSet(id);
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
