#include "UI/Panel/MenuContent.h"

#include "App/GlobalHotkeys.h"
#include "UI/Look/FixedDigits.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLocale>
#include <utility>

namespace keysong {

MenuContent::MenuContent(AppState& model, MenuDrawer drawer, std::function<void()> quit)
    : model_(model), drawer_(drawer) {
    enabled_ = addAction("Enabled");
    enabled_->setCheckable(true);
    enabled_->setShortcut(keysOf(toggleHotkey));
    connect(enabled_, &QAction::triggered, &model_, &AppState::setEnabled);
    addSeparator();
    soundHeading_ = addAction("Sound");
    soundHeading_->setEnabled(false);
    volumeMenu_ = addMenu("Volume");
    outputMenu_ = addMenu("Output");
    addSeparator();
    total_ = addAction(QString());
    total_->setEnabled(false);
    total_->setFont(withFixedDigits(font()));
    addSeparator();
    settings_ = addAction("Settings…");
    settings_->setShortcut(keysOf(settingsHotkey));
    connect(settings_, &QAction::triggered, &model_, &AppState::showSettings);
    connect(addAction("Quit Keysong"), &QAction::triggered, this, std::move(quit));

    sets_.emplace(*this, volumeMenu_->menuAction(),
                  [this](const std::string& id) { model_.setSelectedSetId(id); });
    volumes_.emplace(*volumeMenu_, nullptr, [this](float volume) { model_.setVolume(volume); });
    volumes_->setChoices({{"25%", 0.25F}, {"50%", 0.5F}, {"75%", 0.75F}, {"100%", 1.0F}});
    outputs_.emplace(*outputMenu_, nullptr,
                     [this](const std::optional<std::string>& uid) { model_.setOutputDeviceUid(uid); });
    for (QMenu* const menu : {static_cast<QMenu*>(this), volumeMenu_, outputMenu_}) {
        menu->installEventFilter(this);
    }
    follow();
}

MenuContent::~MenuContent() = default;

void MenuContent::follow() {
    const auto keep = [this](void (AppState::*changed)(), const std::function<void()>& show) {
        connect(&model_, changed, this, show);
        show();
    };
    keep(&AppState::isEnabledChanged, [this] { enabled_->setChecked(model_.isEnabled()); });
    keep(&AppState::availableSetsChanged, [this] { showSets(); });
    keep(&AppState::selectedSetIdChanged, [this] { sets_->mark(model_.selectedSetId()); });
    keep(&AppState::volumeChanged, [this] { volumes_->mark(model_.volume()); });
    keep(&AppState::outputDeviceListChanged, [this] { showDevices(); });
    keep(&AppState::outputDeviceUidChanged, [this] { outputs_->mark(model_.outputDeviceUid()); });
    keep(&AppState::keysPressedChanged, [this] { total_->setText(keyCount(model_.keysPressed())); });
}

void MenuContent::showSets() {
    std::vector<ChoiceItems<std::string>::Choice> choices;
    for (const SoundSetInfo& set : model_.availableSets()) {
        choices.push_back({menuLabel(QString::fromStdString(set.name), drawer_, fontMetrics()), set.id});
    }
    soundHeading_->setVisible(!choices.empty());
    sets_->setChoices(choices);
}

void MenuContent::showDevices() {
    std::vector<ChoiceItems<std::optional<std::string>>::Choice> choices = {{"System default", {}}};
    for (const AudioOutputDevice& device : model_.outputDevices()) {
        choices.push_back(
            {menuLabel(QString::fromStdString(device.name), drawer_, fontMetrics()), device.uid});
    }
    outputs_->setChoices(choices);
}

QString MenuContent::keyCount(std::int64_t keysPressed) {
    if (keysPressed == 1) {
        return "1 key";
    }
    return QLocale().toString(static_cast<qlonglong>(keysPressed)) + " keys";
}

bool MenuContent::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
        if (handleKey(static_cast<const QKeyEvent&>(*event))) {
            return true;
        }
    } else if (event->type() == QEvent::Hide && watched == this) {
        held_ = nullptr;
    }
    return QMenu::eventFilter(watched, event);
}

bool MenuContent::handleKey(const QKeyEvent& event) {
    if (event.type() == QEvent::KeyRelease) {
        if (held_ != nullptr && event.key() == heldKey_ && !event.isAutoRepeat()) {
            QAction* const chosen = std::exchange(held_, nullptr);
            closeAll();
            chosen->trigger();
            return true;
        }
        return false;
    }
    QAction* const item = itemFor(event);
    // An open menu has the keyboard to itself, and neither a grab nor the desktop gets to see the press. The
    // input devices do: what listens there has acted already.
    if (item != nullptr && !event.isAutoRepeat() && model_.hotkeyWay() != "input") {
        // It counts when the key comes up. Closing the menu while it is down would give the keyboard back
        // to the hotkey, which would count the repeats of the same press.
        held_ = item;
        heldKey_ = event.key();
    }
    return item != nullptr;
}

QAction* MenuContent::itemFor(const QKeyEvent& press) const {
    const QKeySequence pressed(press.keyCombination());
    for (QAction* const item : {enabled_, settings_}) {
        if (item->shortcut() == pressed) {
            return item;
        }
    }
    return nullptr;
}

void MenuContent::closeAll() {
    volumeMenu_->close();
    outputMenu_->close();
    close();
}

} // namespace keysong
