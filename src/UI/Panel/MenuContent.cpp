#include "UI/Panel/MenuContent.h"

#include "UI/Look/FixedDigits.h"

#include <QKeyEvent>
#include <QKeySequence>
#include <algorithm>
#include <utility>

namespace keysong {

namespace {

using Kind = PanelMenuItem::Kind;

} // namespace

MenuContent::MenuContent(PanelMenu& shown, std::function<bool()> shortcutsReachUs)
    : shown_(shown), shortcutsReachUs_(std::move(shortcutsReachUs)) {
    installEventFilter(this);
    showChildren(PanelMenu::root);
    connect(&shown_, &PanelMenu::childrenChanged, this, &MenuContent::showChildren);
    connect(&shown_, &PanelMenu::itemsChanged, this, [this](const QList<int>& ids) {
        for (const int id : ids) {
            showItem(id);
        }
    });
}

MenuContent::~MenuContent() = default;

QMenu* MenuContent::menuOf(int id) {
    return id == PanelMenu::root ? this : actions_.at(id)->menu();
}

QAction* MenuContent::makeAction(int id) {
    const PanelMenuItem& item = shown_.items().at(id);
    if (item.kind == Kind::submenu) {
        auto* const menu = new QMenu(this);
        menu->installEventFilter(this);
        actions_[id] = menu->menuAction();
        showChildren(id);
    } else {
        actions_[id] = new QAction(this);
        actions_[id]->setSeparator(item.kind == Kind::separator);
        actions_[id]->setCheckable(item.kind == Kind::checkMark || item.kind == Kind::choice);
        if (item.shortcut) {
            actions_[id]->setShortcut(*item.shortcut);
        }
        connect(actions_[id], &QAction::triggered, &shown_, [this, id] { shown_.choose(id); });
    }
    showItem(id);
    return actions_[id];
}

void MenuContent::showItem(int id) {
    const PanelMenuItem& item = shown_.items().at(id);
    QAction& action = *actions_.at(id);
    action.setText(QString(item.label).replace('&', "&&"));
    action.setEnabled(item.isEnabled);
    action.setChecked(item.isMarked);
    if (item.hasFixedDigits) {
        action.setFont(withFixedDigits(font()));
    }
}

void MenuContent::showChildren(int parent) {
    removeGone();
    QMenu& menu = *menuOf(parent);
    const auto& children = shown_.items().at(parent).children;
    // What stands in its place already is left alone, with the submenu that it may have open.
    QAction* next = nullptr;
    for (auto id = children.rbegin(); id != children.rend(); ++id) {
        const auto known = actions_.find(*id);
        QAction* const action = known != actions_.end() ? known->second : makeAction(*id);
        const auto places = menu.actions();
        const qsizetype place = places.indexOf(action);
        if (place < 0 || places.value(place + 1) != next) {
            menu.insertAction(next, action);
        }
        next = action;
    }
}

void MenuContent::removeGone() {
    std::erase_if(actions_, [this](const auto& entry) {
        const auto& [id, action] = entry;
        if (shown_.items().contains(id)) {
            return false;
        }
        for (QObject* const menu : action->associatedObjects()) {
            static_cast<QMenu*>(menu)->removeAction(action);
        }
        // Not at once: it may be the very item whose choice led here.
        action->deleteLater();
        return true;
    });
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
    if (event.key() == Qt::Key_Alt) {
        // The toolkit would close the menu and give the keyboard back, perhaps between the press and the
        // release of the key that follows: neither the menu nor the hotkey would see both.
        return true;
    }
    QAction* const item = itemFor(event);
    // An open menu has the keyboard to itself, and neither a grab nor the desktop gets to see the press. The
    // input devices do: what listens there has acted already.
    if (item != nullptr && !event.isAutoRepeat() && shortcutsReachUs_()) {
        // It counts when the key comes up. Closing the menu while it is down would give the keyboard back
        // to the hotkey, which would count the repeats of the same press.
        held_ = item;
        heldKey_ = event.key();
    }
    return item != nullptr;
}

QAction* MenuContent::itemFor(const QKeyEvent& press) const {
    const QKeySequence pressed(press.keyCombination());
    const auto found = std::find_if(actions_.begin(), actions_.end(), [&pressed](const auto& entry) {
        return entry.second->shortcut() == pressed;
    });
    return found == actions_.end() ? nullptr : found->second;
}

void MenuContent::closeAll() {
    for (const auto& [id, action] : actions_) {
        if (action->menu() != nullptr) {
            action->menu()->close();
        }
    }
    close();
}

} // namespace keysong
