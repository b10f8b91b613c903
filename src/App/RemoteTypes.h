#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>

namespace keysong {

/// An entry of a list to choose from, as it travels over the bus: "(ss)".
struct RemoteChoice {
    /// What identifies it.
    QString id;
    /// What a person reads.
    QString name;
};
using RemoteChoices = QList<RemoteChoice>;

QDBusArgument& operator<<(QDBusArgument& argument, const RemoteChoice& choice);
const QDBusArgument& operator>>(const QDBusArgument& argument, RemoteChoice& choice);

/// Makes the types above known to the bus library. Any thread, any number of times.
void registerRemoteTypes();

} // namespace keysong

Q_DECLARE_METATYPE(keysong::RemoteChoice)
Q_DECLARE_METATYPE(keysong::RemoteChoices)
