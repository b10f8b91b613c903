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

QStringList completeTypes(const char* signature) {
    QStringList types;
    QString type;
    int depth = 0;
    for (const char* at = signature; *at != '\0'; ++at) {
        type += QLatin1Char(*at);
        depth += *at == '(' || *at == '{' ? 1 : 0;
        depth -= *at == ')' || *at == '}' ? 1 : 0;
        if (depth == 0 && *at != 'a') {
            types << type;
            type.clear();
        }
    }
    return types;
}

} // namespace keysong
