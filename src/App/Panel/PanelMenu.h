#pragma once

#include "App/AppState.h"

#include <QList>
#include <QObject>
#include <QString>
#include <Qt>
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace keysong {

/// An item of the status item's menu, or the menu itself.
struct PanelMenuItem {
    enum class Kind : std::uint8_t {
        button,
        /// A switch of its own.
        checkMark,
        /// One of several, of which at most one is marked: those with the same parent.
        choice,
        submenu,
        separator,
    };

    Kind kind = Kind::button;
    QString label{};
    bool isEnabled = true;
    bool isMarked = false;
    /// A number that changes while it is looked at.
    bool hasFixedDigits = false;
    /// A letter with modifiers.
    std::optional<QKeyCombination> shortcut{};
    /// The identifiers of what the item holds, from top to bottom.
    std::vector<int> children{};

    friend bool operator==(const PanelMenuItem&, const PanelMenuItem&) = default;
};

/// The menu of the status item, whoever draws it: the everyday controls, and the ways to the settings and out
/// of the program. It is the state as it is at any time; every choice goes through the state's setters, and
/// marks follow the state, not the choice.
///
/// An identifier stands for the same thing as long as the menu lives, so that a click on an item that has
/// gone meanwhile reaches no other. Main thread.
class PanelMenu final : public QObject {
    Q_OBJECT

  public:
    static constexpr int root = 0;

    struct Actions {
        std::function<void()> showSettings;
        /// Ends the program.
        std::function<void()> quit;
    };

    /// The state outlives the menu.
    PanelMenu(AppState& state, Actions actions);
    ~PanelMenu() override;

    [[nodiscard]] const std::map<int, PanelMenuItem>& items() const { return items_; }
    /// Does what the item is for; nothing for one that is disabled, or not there.
    void choose(int id);

    /// The keystroke total in words, its number as the default locale writes it: "12,345 keys", "1 key".
    [[nodiscard]] static QString keyCount(std::int64_t keysPressed);

  signals:
    /// The parent holds other items than before, or in another order.
    void childrenChanged(int parent);
    /// These items are to be shown anew. Some may be what they were: the clicked ones.
    void itemsChanged(const QList<int>& ids);

  private:
    struct SetChoice {
        std::string id;
        friend auto operator<=>(const SetChoice&, const SetChoice&) = default;
    };
    struct VolumeChoice {
        int percent;
        friend auto operator<=>(const VolumeChoice&, const VolumeChoice&) = default;
    };
    struct OutputChoice {
        std::optional<std::string> uid;
        friend auto operator<=>(const OutputChoice&, const OutputChoice&) = default;
    };
    using Choice = std::variant<SetChoice, VolumeChoice, OutputChoice>;

    /// The menu under construction.
    struct Draft {
        std::map<int, PanelMenuItem> items;
        std::map<Choice, int> ids;
    };

    [[nodiscard]] Draft draw();
    void addChoice(Draft& draft, int parent, const Choice& choice, const QString& label, bool isMarked);
    void update();
    void apply(const SetChoice& choice);
    void apply(const VolumeChoice& choice);
    void apply(const OutputChoice& choice);

    AppState& state_;
    const Actions actions_;
    std::map<int, PanelMenuItem> items_;
    std::map<Choice, int> ids_;
    int nextId_;
};

} // namespace keysong
