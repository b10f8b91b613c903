#include "App/Panel/PanelMenu.h"

#include "App/GlobalHotkeys.h"
#include "App/Panel/MenuLabel.h"

#include <QLocale>
#include <algorithm>
#include <utility>

namespace keysong {

namespace {

using Kind = PanelMenuItem::Kind;

enum FixedItem : int {
    enabledItem = 1,
    firstRule,
    soundHeading,
    volumeMenu,
    outputMenu,
    secondRule,
    totalItem,
    thirdRule,
    settingsItem,
    quitItem,
    /// Free from here on.
    firstChoice,
};

float volumeOf(int percent) {
    return static_cast<float>(percent) / 100;
}

} // namespace

PanelMenu::PanelMenu(AppState& state, Actions actions)
    : state_(state), actions_(std::move(actions)), nextId_(firstChoice) {
    for (const auto changed :
         {&AppState::isEnabledChanged, &AppState::availableSetsChanged, &AppState::selectedSetIdChanged,
          &AppState::volumeChanged, &AppState::outputDeviceListChanged, &AppState::outputDeviceUidChanged,
          &AppState::keysPressedChanged}) {
        connect(&state_, changed, this, &PanelMenu::update);
    }
    update();
}

PanelMenu::~PanelMenu() = default;

QString PanelMenu::keyCount(std::int64_t keysPressed) {
    if (keysPressed == 1) {
        return "1 key";
    }
    return QLocale().toString(static_cast<qlonglong>(keysPressed)) + " keys";
}

void PanelMenu::addChoice(Draft& draft, int parent, const Choice& choice, const QString& label,
                          bool isMarked) {
    const auto known = ids_.find(choice);
    const int id = known != ids_.end() ? known->second : nextId_;
    if (!draft.ids.emplace(choice, id).second) {
        return; // two of the same could not be told apart
    }
    nextId_ = std::max(nextId_, id + 1);
    draft.items[id] = {.kind = Kind::choice, .label = label, .isMarked = isMarked};
    draft.items[parent].children.push_back(id);
}

PanelMenu::Draft PanelMenu::draw() {
    Draft draft;
    const auto add = [&draft](int id, PanelMenuItem item) {
        draft.items[id] = std::move(item);
        draft.items[root].children.push_back(id);
    };
    const auto addRule = [&add](int id) { add(id, {.kind = Kind::separator}); };
    add(enabledItem, {.kind = Kind::checkMark,
                      .label = "Enabled",
                      .isMarked = state_.isEnabled(),
                      .shortcut = keysOf(toggleHotkey)});
    addRule(firstRule);
    if (!state_.availableSets().empty()) {
        add(soundHeading, {.label = "Sound", .isEnabled = false});
    }
    for (const SoundSetInfo& set : state_.availableSets()) {
        addChoice(draft, root, SetChoice{set.id}, menuText(QString::fromStdString(set.name)),
                  set.id == state_.selectedSetId());
    }
    add(volumeMenu, {.kind = Kind::submenu, .label = "Volume"});
    for (const int percent : {25, 50, 75, 100}) {
        addChoice(draft, volumeMenu, VolumeChoice{percent}, QString::number(percent) + '%',
                  state_.volume() == volumeOf(percent));
    }
    add(outputMenu, {.kind = Kind::submenu, .label = "Output"});
    addChoice(draft, outputMenu, OutputChoice{}, "System default", !state_.outputDeviceUid().has_value());
    for (const AudioOutputDevice& device : state_.outputDevices()) {
        addChoice(draft, outputMenu, OutputChoice{device.uid}, menuText(QString::fromStdString(device.name)),
                  device.uid == state_.outputDeviceUid());
    }
    addRule(secondRule);
    add(totalItem, {.label = keyCount(state_.keysPressed()), .isEnabled = false, .hasFixedDigits = true});
    addRule(thirdRule);
    add(settingsItem, {.label = "Settings…", .shortcut = keysOf(settingsHotkey)});
    add(quitItem, {.label = "Quit Keysong"});
    draft.items[root].kind = Kind::submenu;
    return draft;
}

void PanelMenu::update() {
    Draft draft = draw();
    std::swap(items_, draft.items);
    std::swap(ids_, draft.ids);
    const auto& before = draft.items;
    QList<int> changed;
    std::vector<int> parents;
    for (const auto& [id, item] : items_) {
        const auto old = before.find(id);
        if (old == before.end()) {
            continue; // it comes with its parent
        }
        PanelMenuItem same = old->second;
        if (same.children != item.children) {
            parents.push_back(id);
            same.children = item.children;
        }
        if (same != item) {
            changed.append(id);
        }
    }
    for (const int parent : parents) {
        emit childrenChanged(parent);
    }
    if (!changed.empty()) {
        emit itemsChanged(changed);
    }
}

void PanelMenu::choose(int id) {
    const auto item = items_.find(id);
    if (item == items_.end() || !item->second.isEnabled) {
        return;
    }
    if (id == enabledItem) {
        state_.toggleEnabled();
    } else if (id == settingsItem) {
        actions_.showSettings();
    } else if (id == quitItem) {
        actions_.quit();
    }
    const auto chosen =
        std::find_if(ids_.begin(), ids_.end(), [id](const auto& entry) { return entry.second == id; });
    if (chosen != ids_.end()) {
        const Choice choice = chosen->first; // the menu may change under it
        std::visit([this](const auto& value) { apply(value); }, choice);
    }
    // Whoever drew the menu moved its mark with the click, whatever became of the value.
    QList<int> marks;
    for (const auto& [other, shown] : items_) {
        if (other == id ? shown.kind == Kind::checkMark || shown.kind == Kind::choice
                        : shown.kind == Kind::choice && shown.isMarked) {
            marks.append(other);
        }
    }
    if (!marks.empty()) {
        emit itemsChanged(marks);
    }
}

void PanelMenu::apply(const SetChoice& choice) {
    state_.setSelectedSetId(choice.id);
}

void PanelMenu::apply(const VolumeChoice& choice) {
    state_.setVolume(volumeOf(choice.percent));
}

void PanelMenu::apply(const OutputChoice& choice) {
    state_.setOutputDeviceUid(choice.uid);
}

} // namespace keysong
