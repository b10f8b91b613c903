#pragma once

#include <QDBusArgument>
#include <QDBusMetaType>
#include <tuple>

namespace keysong {

/// A structure of D-Bus, "(...)", with fields of these types. It must be known to the bus library before it
/// is sent or read: `qDBusRegisterMetaType`.
template <typename... Fields>
struct BusStructure : std::tuple<Fields...> {
    using std::tuple<Fields...>::tuple;

    friend QDBusArgument& operator<<(QDBusArgument& argument, const BusStructure& structure) {
        argument.beginStructure();
        std::apply([&argument](const auto&... fields) { (argument << ... << fields); },
                   static_cast<const std::tuple<Fields...>&>(structure));
        argument.endStructure();
        return argument;
    }
    friend const QDBusArgument& operator>>(const QDBusArgument& argument, BusStructure& structure) {
        argument.beginStructure();
        std::apply([&argument](auto&... fields) { (argument >> ... >> fields); },
                   static_cast<std::tuple<Fields...>&>(structure));
        argument.endStructure();
        return argument;
    }
};

/// Makes types known to the bus library, in this order. Any thread, any number of times.
template <typename... Types>
void registerBusTypes() {
    (qDBusRegisterMetaType<Types>(), ...);
}

} // namespace keysong
