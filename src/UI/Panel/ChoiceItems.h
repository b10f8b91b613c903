#pragma once

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QString>
#include <functional>
#include <utility>
#include <vector>

namespace keysong {

/// Items of a menu of which at most one is marked, the one that stands for a value. Choosing an item does not
/// mark it: it tells its value, and whoever owns that value marks what it then is. Main thread.
template <typename Value>
class ChoiceItems {
  public:
    struct Choice {
        QString label;
        Value value;

        friend bool operator==(const Choice&, const Choice&) = default;
    };

    /// The items stand in `menu`, which outlives the object, before `next`, or last when it is null. `chosen`
    /// is told the value of an item that the user chose.
    ChoiceItems(QMenu& menu, QAction* next, std::function<void(const Value&)> chosen)
        : menu_(menu), next_(next), chosen_(std::move(chosen)) {
        group_.setExclusionPolicy(QActionGroup::ExclusionPolicy::ExclusiveOptional);
    }

    /// Shows these choices instead of those before. An unchanged list leaves the items alone, so that an open
    /// menu stays as it is.
    void setChoices(const std::vector<Choice>& choices) {
        if (choices == choices_) {
            return;
        }
        choices_ = choices;
        for (QAction* old : group_.actions()) {
            group_.removeAction(old);
            menu_.removeAction(old);
            // Not at once: it may be the very item whose choice led here.
            old->deleteLater();
        }
        for (const Choice& choice : choices_) {
            auto* const item = new QAction(choice.label, &menu_);
            item->setCheckable(true);
            group_.addAction(item);
            menu_.insertAction(next_, item);
            QObject::connect(item, &QAction::triggered, &group_, [this, value = choice.value] {
                chosen_(value);
                mark(marked_); // the click changed the mark, whatever became of the value
            });
        }
        mark(marked_);
    }

    /// Marks the item of this value, or none if there is no such item.
    void mark(const Value& value) {
        marked_ = value;
        const auto items = group_.actions();
        for (qsizetype i = 0; i < items.size(); ++i) {
            items[i]->setChecked(choices_[static_cast<std::size_t>(i)].value == value);
        }
    }

  private:
    QMenu& menu_;
    QAction* next_;
    std::function<void(const Value&)> chosen_;
    std::vector<Choice> choices_;
    Value marked_{};
    QActionGroup group_{nullptr};
};

} // namespace keysong
