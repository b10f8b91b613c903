#include "UI/Settings/TonePadAccessible.h"

#include "UI/Look/AccessibleFactory.h"

#include <QPointer>

namespace keysong {

namespace {

/// One axis: a slider from -1 to 1 without a widget of its own.
class AxisAccessible final : public QAccessibleInterface,
                             public QAccessibleValueInterface,
                             public QAccessibleActionInterface {
  public:
    AxisAccessible(TonePad& pad, TonePad::Axis axis) : pad_(&pad), axis_(axis) {}

    [[nodiscard]] bool isValid() const override { return pad_ != nullptr; }
    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(pad_);
    }
    [[nodiscard]] QAccessibleInterface* child(int) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::Slider; }
    [[nodiscard]] QRect rect() const override { return parent() != nullptr ? parent()->rect() : QRect(); }
    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state;
        state.invisible = pad_ == nullptr || !pad_->isVisible();
        return state;
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        switch (kind) {
        case QAccessible::Name:
            return axis_ == TonePad::Axis::tone ? TonePad::tr("Tone") : TonePad::tr("Body");
        case QAccessible::Description:
            return axis_ == TonePad::Axis::tone ? TonePad::tr("From thock to clack")
                                                : TonePad::tr("From slow and deep to fast and bright");
        case QAccessible::Value:
            return QString::number(currentValue().toDouble(), 'f', 2);
        default:
            return {};
        }
    }
    void setText(QAccessible::Text, const QString&) override {}

    [[nodiscard]] void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ValueInterface) {
            return static_cast<QAccessibleValueInterface*>(this);
        }
        if (type == QAccessible::ActionInterface) {
            return static_cast<QAccessibleActionInterface*>(this);
        }
        return nullptr;
    }

    [[nodiscard]] QVariant currentValue() const override {
        return pad_ != nullptr ? static_cast<double>(pad_->value(axis_)) : 0.0;
    }
    void setCurrentValue(const QVariant& value) override {
        bool isNumber = false;
        const float wanted = value.toFloat(&isNumber);
        if (pad_ != nullptr && isNumber && wanted == wanted) {
            pad_->setValue(axis_, wanted);
        }
    }
    [[nodiscard]] QVariant maximumValue() const override { return 1.0; }
    [[nodiscard]] QVariant minimumValue() const override { return -1.0; }
    [[nodiscard]] QVariant minimumStepSize() const override { return 0.01; }

    [[nodiscard]] QStringList actionNames() const override { return {increaseAction(), decreaseAction()}; }
    void doAction(const QString& action) override {
        if (action == increaseAction()) {
            setCurrentValue(currentValue().toDouble() + 0.05);
        } else if (action == decreaseAction()) {
            setCurrentValue(currentValue().toDouble() - 0.05);
        }
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString&) const override { return {}; }

  private:
    QPointer<TonePad> pad_;
    const TonePad::Axis axis_;
};

QAccessible::Id makeAxis(TonePad& pad, TonePad::Axis axis) {
    // The toolkit's table of interfaces owns it from here on.
    return QAccessible::registerAccessibleInterface(new AxisAccessible(pad, axis));
}

QAccessibleInterface* makeAccessible(TonePad& pad) {
    return new TonePadAccessible(pad);
}

} // namespace

TonePadAccessible::TonePadAccessible(TonePad& pad)
    : QAccessibleWidget(&pad, QAccessible::Grouping, pad.accessibleName()),
      axes_{makeAxis(pad, TonePad::Axis::tone), makeAxis(pad, TonePad::Axis::body)} {
}

TonePadAccessible::~TonePadAccessible() {
    for (const QAccessible::Id axis : axes_) {
        QAccessible::deleteAccessibleInterface(axis);
    }
}

void TonePadAccessible::install() {
    installAccessible<TonePad, makeAccessible>();
}

void TonePadAccessible::announce(TonePad& pad, TonePad::Axis axis) {
    if (!QAccessible::isActive()) {
        return;
    }
    if (auto* const group = QAccessible::queryAccessibleInterface(&pad)) {
        QAccessibleValueChangeEvent event(group->child(static_cast<int>(axis)), pad.value(axis));
        QAccessible::updateAccessibility(&event);
    }
}

QAccessibleInterface* TonePadAccessible::child(int index) const {
    return index >= 0 && index < childCount()
               ? QAccessible::accessibleInterface(axes_[static_cast<std::size_t>(index)])
               : nullptr;
}

int TonePadAccessible::indexOfChild(const QAccessibleInterface* wanted) const {
    for (int index = 0; index < childCount(); ++index) {
        if (child(index) == wanted) {
            return index;
        }
    }
    return -1;
}

QAccessibleInterface* TonePadAccessible::childAt(int x, int y) const {
    return rect().contains(x, y) ? child(0) : nullptr;
}

QStringList TonePadAccessible::actionNames() const {
    return {setFocusAction()};
}

void TonePadAccessible::doAction(const QString& action) {
    if (action == setFocusAction()) {
        widget()->setFocus(Qt::OtherFocusReason);
    }
}

} // namespace keysong
