#include "App/RemoteTypes.h"

#include <QDBusMetaType>

namespace keysong {

QDBusArgument& operator<<(QDBusArgument& argument, const RemoteChoice& choice) {
    argument.beginStructure();
    argument << choice.id << choice.name;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, RemoteChoice& choice) {
    argument.beginStructure();
    argument >> choice.id >> choice.name;
    argument.endStructure();
    return argument;
}

void registerRemoteTypes() {
    qDBusRegisterMetaType<RemoteChoice>();
    qDBusRegisterMetaType<RemoteChoices>();
}

} // namespace keysong
