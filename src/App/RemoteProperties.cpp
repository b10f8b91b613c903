// What the remote control offers: its properties and methods as tables.

#include "App/AskerData.h"
#include "App/RemoteControl.h"
#include "App/RemoteValue.h"
#include "App/SettingTable.h"

#include <QDBusArgument>

namespace keysong {

namespace {

/// Looks at a value, whose refusal is the answer then.
template <typename Check>
void refuseBy(const Check& check) {
    try {
        check();
    } catch (const SettingRefused& refusal) {
        throw BusRefusal(QDBusError::InvalidArgs, refusal.what());
    }
}

} // namespace

std::vector<BusProperty> RemoteControl::describeProperties() {
    AppState& state = *model_;
    std::vector<BusProperty> rows;
    const auto add = [&](BusProperty row, AppState::Signal changed) {
        if (changed != nullptr) {
            connect(&state, changed, this,
                    [this, name = row.name, get = row.get] { sendChanged(controlInterface, name, get()); });
        }
        rows.push_back(std::move(row));
    };
    forEachRow(settingTable, [&](const auto& row) {
        using Value = typename std::decay_t<decltype(row)>::Value;
        using Form = RemoteValue<Value>;
        const auto set = [&state, &row](const QVariant& given) {
            const auto value = Form::fromBus(given);
            if (!value) {
                throw BusRefusal(QDBusError::InvalidArgs, "the value has another type");
            }
            if (row.check != nullptr) {
                refuseBy([&] { row.check(state, *value); });
            }
            state.change(NewValue<Value>{row.field, *value});
        };
        add({row.name, Form::signature, [&state, &row] { return Form::toBus(state.settings().*row.field); },
             set},
            row.changed);
    });
    forEachRow(liveTable, [&](const auto& row) {
        using Form = RemoteValue<typename std::decay_t<decltype(row)>::Value>;
        add({row.name, Form::signature, [&state, &row] { return Form::toBus(state.live().*row.field); }},
            row.changed);
    });
    const auto addAsked = [&](const char* name, auto(AppState::*get)() const) {
        using Form = RemoteValue<std::invoke_result_t<decltype(get), const AppState&>>;
        add({name, Form::signature, [&state, get] { return Form::toBus((state.*get)()); }}, nullptr);
    };
    addAsked("SystemGivesAccess", &AppState::systemGivesAccess);
    addAsked("Hotkeys", &AppState::hotkeyWay);
    addAsked("PlayingOn", &AppState::playingOn);
    addAsked("LateHits", &AppState::lateHits);
    addAsked("Xruns", &AppState::xruns);
    return rows;
}

void RemoteControl::showSettings(const Asker& asker) {
    if (const std::string problem = windows_->showSettings(asker); !problem.empty()) {
        throw BusRefusal(QDBusError::Failed, problem);
    }
}

std::vector<BusInterface> RemoteControl::describe() {
    using Arguments = const QVariantList&;
    // Most methods answer nothing.
    const auto doing = [](auto act) {
        return [act](Arguments arguments) {
            act(arguments);
            return QVariantList();
        };
    };
    const auto activate =
        doing([this](Arguments all) { showSettings(askerOf(qdbus_cast<QVariantMap>(all.back()))); });
    const auto refuseAction =
        doing([](Arguments) { throw BusRefusal(QDBusError::NotSupported, "there are no actions"); });
    const auto toggle = [this](Arguments) {
        model_->toggleEnabled();
        return QVariantList{model_->isEnabled()};
    };
    const auto preview = doing([this](Arguments all) {
        const std::string id = all[0].toString().toStdString();
        refuseBy([&] { checks::isInstalledSet(*model_, id); });
        model_->previewSet(id);
    });
    return {{controlInterface,
             describeProperties(),
             {{"Toggle", "", "b", toggle},
              {"Preview", "s", "", preview},
              {"ShowSettings", "", "", doing([this](Arguments) { showSettings({}); })},
              {"ResetStatistics", "", "", doing([this](Arguments) { model_->resetStats(); })},
              {"Quit", "", "", doing([this](Arguments) { quit_(); })}},
             {}},
            {applicationInterface,
             {},
             {{"Activate", "a{sv}", "", activate},
              {"Open", "asa{sv}", "", activate},
              {"ActivateAction", "sava{sv}", "", refuseAction}},
             {}}};
}

} // namespace keysong
