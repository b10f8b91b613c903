#include "fakes/FakePanel.h"

#include "support/PumpUntil.h"

#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <algorithm>
#include <utility>

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
    if (const auto shortcut = properties.value("shortcut"); shortcut.isValid()) {
        for (const QStringList& keys : qdbus_cast<QList<QStringList>>(shortcut)) {
            text += "  " + keys.join('+').toStdString();
        }
    }
    return properties.value("enabled", true).toBool() ? text : "disabled " + text;
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
    if (refuses) {
        ++timesRefused;
        sendErrorReply(QDBusError::AccessDenied, "not now");
        return;
    }
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
    // From whichever item it comes.
    bus_.connect({}, "/StatusNotifierItem", itemInterface, "NewIcon", this, SLOT(iconChanged()));
    bus_.connect({}, "/MenuBar", menuInterface, "LayoutUpdated", this, SLOT(layoutChanged(uint, int)));
    bus_.connect({}, "/MenuBar", menuInterface, "ItemsPropertiesUpdated", this,
                 SLOT(propertiesChanged(QDBusMessage)));
}

FakePanel::~FakePanel() {
    QDBusConnection::disconnectFromBus(bus_.name());
    const auto comeBack = [this, here = QThread::currentThread()] { watcher_.moveToThread(here); };
    QMetaObject::invokeMethod(&watcher_, comeBack, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
}

QDBusMessage FakePanel::call(const QString& path, const QString& interface, const QString& method,
                             const QVariantList& arguments) const {
    const QStringList all = items();
    if (all.isEmpty()) {
        return QDBusMessage::createError(QDBusError::ServiceUnknown, "no item registered");
    }
    auto message = QDBusMessage::createMethodCall(all.last(), path, interface, method);
    message.setArguments(arguments);
    const QDBusPendingCallWatcher answer(bus_.asyncCall(message));
    if (!pumpUntil([&] { return answer.isFinished(); })) {
        return QDBusMessage::createError(QDBusError::NoReply, "no answer");
    }
    return answer.reply();
}

QDBusMessage FakePanel::callItem(const QString& interface, const QString& method,
                                 const QVariantList& arguments) const {
    return call("/StatusNotifierItem", interface, method, arguments);
}

QDBusMessage FakePanel::callMenu(const QString& method, const QVariantList& arguments) const {
    return call(itemProperty("Menu").value<QDBusObjectPath>().path(), menuInterface, method, arguments);
}

QVariant FakePanel::itemProperty(const QString& name) const {
    const auto answer = callItem("org.freedesktop.DBus.Properties", "Get", {QString(itemInterface), name});
    return answer.arguments().value(0).value<QDBusVariant>().variant();
}

int FakePanel::greatestAlpha() const {
    int greatest = -1;
    const QVariant value = itemProperty("IconPixmap");
    if (!value.isValid()) {
        return greatest;
    }
    const auto pictures = value.value<QDBusArgument>();
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

int FakePanel::read(Nodes& nodes, const QDBusArgument& layout) {
    int id = 0;
    Node node;
    QVariantList children;
    layout.beginStructure();
    layout >> id >> node.properties >> children;
    layout.endStructure();
    for (const QVariant& child : children) {
        node.children.push_back(read(nodes, child.value<QDBusArgument>()));
    }
    nodes[id] = node;
    return id;
}

void FakePanel::read(Nodes& nodes, int parent) const {
    const auto answer = callMenu("GetLayout", {parent, -1, QStringList()}).arguments();
    if (answer.size() == 2) {
        read(nodes, answer[1].value<QDBusArgument>());
    }
}

void FakePanel::list(Menu& menu, const Nodes& nodes, int parent, const std::string& indent) {
    const auto found = nodes.find(parent);
    if (found == nodes.end()) {
        return;
    }
    for (const int child : found->second.children) {
        menu.push_back(indent + describe(nodes.at(child).properties));
        list(menu, nodes, child, indent + "> ");
    }
}

FakePanel::Menu FakePanel::menu() const {
    Nodes nodes;
    read(nodes, 0);
    Menu menu;
    list(menu, nodes, 0);
    return menu;
}

FakePanel::Menu FakePanel::followedMenu() {
    if (!std::exchange(follows_, true)) {
        outdated_ = {0};
    }
    for (const int parent : std::exchange(outdated_, {})) {
        read(followed_, parent);
    }
    Menu menu;
    list(menu, followed_, 0);
    return menu;
}

void FakePanel::layoutChanged(uint, int parent) {
    ++newLayouts;
    outdated_.push_back(parent);
}

void FakePanel::propertiesChanged(const QDBusMessage& message) {
    const auto items = message.arguments().value(0).value<QDBusArgument>();
    items.beginArray();
    while (!items.atEnd()) {
        int id = 0;
        QVariantMap properties;
        items.beginStructure();
        items >> id >> properties;
        items.endStructure();
        followed_[id].properties.insert(properties);
    }
    items.endArray();
}

bool FakePanel::click(const std::string& text) const {
    Nodes nodes;
    read(nodes, 0);
    for (const auto& [id, node] : nodes) {
        if (describe(node.properties) == text) {
            return callMenu("Event", {id, QString("clicked"), QVariant::fromValue(QDBusVariant(0)), 0U})
                       .type() == QDBusMessage::ReplyMessage;
        }
    }
    return false;
}

} // namespace keysong::test
