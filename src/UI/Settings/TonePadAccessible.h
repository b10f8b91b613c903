#pragma once

#include "UI/Settings/TonePad.h"

#include <QAccessibleWidget>
#include <array>

namespace keysong {

/// The tone pad as assistive programs see it: a group "Tone" that holds one slider an axis. Main thread.
class TonePadAccessible final : public QAccessibleWidget {
  public:
    explicit TonePadAccessible(TonePad& pad);
    ~TonePadAccessible() override;

    /// Makes the toolkit find this for every tone pad (`installAccessible`).
    static void install();
    /// Tells assistive programs of an axis's new value.
    static void announce(TonePad& pad, TonePad::Axis axis);

    [[nodiscard]] int childCount() const override { return static_cast<int>(axes_.size()); }
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QStringList actionNames() const override;
    void doAction(const QString& action) override;

  private:
    std::array<QAccessible::Id, 2> axes_;
};

} // namespace keysong
