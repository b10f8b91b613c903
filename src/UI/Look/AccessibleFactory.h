#pragma once

#include <QAccessible>
#include <QLatin1String>

namespace keysong {

/// Makes the toolkit ask `make` how assistive programs see every `Widget`; only the first call does anything.
/// Call it before the widget has a name, for that already makes them look. Main thread.
template <typename Widget, QAccessibleInterface* (*make)(Widget&)>
void installAccessible() {
    static const bool installed = [] {
        QAccessible::installFactory([](const QString& className, QObject* object) -> QAccessibleInterface* {
            auto* const widget = className == QLatin1String(Widget::staticMetaObject.className())
                                     ? qobject_cast<Widget*>(object)
                                     : nullptr;
            return widget != nullptr ? make(*widget) : nullptr;
        });
        return true;
    }();
    static_cast<void>(installed);
}

} // namespace keysong
