#include "fakes/FakePanel.h"

#include "support/WidgetProgram.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <algorithm>

namespace keysong::test {

namespace {

constexpr const char* watcherService = "org.kde.StatusNotifierWatcher";

QString connectionName() {
    static int number = 0;
    return QString("panel %1").arg(++number);
}

std::string describe(const QVariantMap& properties) {
    if (properties.value("type") == "separator") {
        return "separator";
    }
    std::string text = properties.value("label").toString().toStdString();
    if (const QString toggle = properties.value("toggle-type").toString(); !toggle.isEmpty()) {
        text = toggle.toStdString() + ":" + std::to_string(properties.value("toggle-state").toInt()) + " " +
               text;
    }
    return properties.value("enabled", true).toBool() ? text : "disabled " + text;
}

FakePanel::MenuItem readItem(const QDBusArgument& argument) {
    FakePanel::MenuItem item;
    QVariantMap properties;
    QVariantList children;
    argument.beginStructure();
    argument >> item.id >> properties >> children;
    argument.endStructure();
    item.text = describe(properties);
    for (const QVariant& child : children) {
        const auto inner = child.value<QDBusArgument>();
        if (properties.value("visible", true).toBool()) {
            item.items.push_back(readItem(inner));
        }
    }
    return item;
}

const FakePanel::MenuItem* find(const FakePanel::MenuItem& in, const std::string& text) {
    for (const FakePanel::MenuItem& item : in.items) {
        if (item.text == text) {
            return &item;
        }
        if (const auto* inner = find(item, text)) {
            return inner;
        }
    }
    return nullptr;
}

} // namespace

QStringList FakeWatcher::items() const {
    const std::lock_guard lock(mutex_);
    return items_;
}

void FakeWatcher::setHasHost(bool hasHost) {
    const auto change = [this, hasHost] {
        hasHost_ = hasHost;
        if (hasHost) {
            emit StatusNotifierHostRegistered();
        } else {
            emit StatusNotifierHostUnregistered();
        }
    };
    QMetaObject::invokeMethod(this, change, Qt::BlockingQueuedConnection);
}

void FakeWatcher::RegisterStatusNotifierItem(const QString& service) {
    {
        const std::lock_guard lock(mutex_);
        items_.append(service);
    }
    emit StatusNotifierItemRegistered(service);
}

FakePanel::FakePanel(bool hasHost)
    : bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName())), watcher_(hasHost) {
    bus_.registerObject("/StatusNotifierWatcher", &watcher_, QDBusConnection::ExportAllContents);
    watcher_.moveToThread(&thread_);
    thread_.start();
    bus_.registerService(watcherService);
}

FakePanel::~FakePanel() {
    QDBusConnection::disconnectFromBus(bus_.name());
    const auto comeBack = [this, here = QThread::currentThread()] { watcher_.moveToThread(here); };
    QMetaObject::invokeMethod(&watcher_, comeBack, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
}

QVariantList FakePanel::ask(const QString& path, const QString& interface, const QString& method,
                            const QVariantList& arguments) const {
    const QStringList all = items();
    if (all.isEmpty()) {
        return {};
    }
    auto call = QDBusMessage::createMethodCall(all.last(), path, interface, method);
    call.setArguments(arguments);
    const QDBusPendingCallWatcher answer(bus_.asyncCall(call));
    if (!pumpUntil([&] { return answer.isFinished(); }) || answer.isError()) {
        return {};
    }
    return answer.reply().arguments();
}

QVariantList FakePanel::askMenu(const QString& method, const QVariantList& arguments) const {
    return ask(itemProperty("Menu").value<QDBusObjectPath>().path(), "com.canonical.dbusmenu", method,
               arguments);
}

QVariant FakePanel::itemProperty(const QString& name) const {
    const auto values =
        ask("/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get", {QString(itemInterface), name});
    return values.value(0).value<QDBusVariant>().variant();
}

int FakePanel::greatestAlpha() const {
    int greatest = -1;
    const auto pictures = itemProperty("IconPixmap").value<QDBusArgument>();
    pictures.beginArray();
    while (!pictures.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        pictures.beginStructure();
        pictures >> width >> height >> pixels;
        pictures.endStructure();
        for (qsizetype i = 0; i < pixels.size(); i += 4) { // alpha first
            greatest = std::max(greatest, static_cast<int>(static_cast<unsigned char>(pixels[i])));
        }
    }
    pictures.endArray();
    return greatest;
}

FakePanel::MenuItem FakePanel::menu() const {
    const QVariant layout = askMenu("GetLayout", {0, -1, QStringList()}).value(1);
    return layout.isValid() ? readItem(layout.value<QDBusArgument>()) : MenuItem();
}

bool FakePanel::click(const std::string& text) const {
    const MenuItem root = menu();
    const MenuItem* const item = find(root, text);
    if (item == nullptr) {
        return false;
    }
    (void)askMenu("Event", {item->id, QString("clicked"), QVariant::fromValue(QDBusVariant(0)), 0U});
    return true;
}

} // namespace keysong::test
