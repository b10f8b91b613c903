#include "App/Panel/PanelMenuBus.h"

#include <limits>
#include <utility>

namespace keysong {

namespace {

using Kind = PanelMenuItem::Kind;

constexpr std::uint32_t protocolVersion = 3;
/// How many items or names a panel may send at once: far more than there are.
constexpr qsizetype mostAtOnce = 4096;
constexpr const char* clicked = "clicked";

/// A list of the bus of at most so many entries.
template <typename Entry>
QList<Entry> bounded(const QVariant& value) {
    QList<Entry> entries;
    const auto list = value.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd() && entries.size() < mostAtOnce) {
        Entry entry{};
        list >> entry;
        entries.append(std::move(entry));
    }
    const bool isWhole = list.atEnd();
    list.endArray(); // or the library would leak its place in the list
    if (!isWhole) {
        throw BusRefusal(QDBusError::LimitsExceeded, "too many items at once");
    }
    return entries;
}

/// The names of the properties that are asked for; none for all.
QSet<QString> namesIn(const QVariant& value) {
    const QStringList names = value.toStringList();
    if (names.size() > mostAtOnce) {
        throw BusRefusal(QDBusError::LimitsExceeded, "too many properties at once");
    }
    return {names.begin(), names.end()};
}

/// The modifiers of a combination, then its letter, as the protocol names them.
QStringList namesOf(QKeyCombination keys) {
    constexpr std::pair<Qt::KeyboardModifier, const char*> names[] = {{Qt::ControlModifier, "Control"},
                                                                      {Qt::AltModifier, "Alt"},
                                                                      {Qt::ShiftModifier, "Shift"},
                                                                      {Qt::MetaModifier, "Super"}};
    QStringList result;
    for (const auto& [modifier, name] : names) {
        if (keys.keyboardModifiers().testFlag(modifier)) {
            result << name;
        }
    }
    return result << QChar(static_cast<char16_t>(keys.key()));
}

/// What a panel needs to know of an item. The same names at all times, so that none has to be taken back.
QVariantMap propertiesOf(const PanelMenuItem& item) {
    if (item.kind == Kind::separator) {
        return {{"type", "separator"}};
    }
    // A single underscore would mark the key of a letter.
    QVariantMap all{
        {"label", QString(item.label).replace('_', "__")}, {"enabled", item.isEnabled}, {"visible", true}};
    if (item.kind == Kind::submenu) {
        all.insert("children-display", "submenu");
    }
    if (item.kind == Kind::checkMark || item.kind == Kind::choice) {
        all.insert("toggle-type", item.kind == Kind::choice ? "radio" : "checkmark");
        all.insert("toggle-state", item.isMarked ? 1 : 0);
    }
    if (item.shortcut) {
        all.insert("shortcut", QVariant::fromValue(QList<QStringList>{namesOf(*item.shortcut)}));
    }
    return all;
}

QVariantMap propertiesOf(const PanelMenuItem& item, const QSet<QString>& names) {
    QVariantMap all = propertiesOf(item);
    if (!names.empty()) {
        all.removeIf([&names](const auto& property) { return !names.contains(property.key()); });
    }
    return all;
}

} // namespace

PanelMenuBus::PanelMenuBus(SessionBus& bus, PanelMenu& menu)
    : BusObject(bus, objectPath), menu_(menu), interfaces_(describe()) {
    registerBusTypes<Item, QList<Item>, Removal, QList<Removal>, Layout, Event, QList<Event>,
                     QList<QStringList>>();
    connect(&menu_, &PanelMenu::childrenChanged, this, &PanelMenuBus::tellLayout);
    connect(&menu_, &PanelMenu::itemsChanged, this, &PanelMenuBus::tellItems);
}

std::vector<BusInterface> PanelMenuBus::describe() {
    using Arguments = const QVariantList&;
    return {{menuInterface,
             {{"Version", "u", constantly(protocolVersion)},
              {"TextDirection", "s", constantly("ltr")},
              {"Status", "s", constantly("normal")},
              {"IconThemePath", "as", constantly(QStringList())}},
             {{"GetLayout", "iias", "u(ia{sv}av)", [this](Arguments all) { return getLayout(all); }},
              {"GetGroupProperties", "aias", "a(ia{sv})",
               [this](Arguments all) { return getGroupProperties(all); }},
              {"GetProperty", "is", "v", [this](Arguments all) { return getProperty(all); }},
              {"Event", "isvu", "", [this](Arguments all) { return receive(all); }},
              {"EventGroup", "a(isvu)", "ai", [this](Arguments all) { return eventGroup(all); }},
              {"AboutToShow", "i", "b", [this](Arguments all) { return aboutToShow(all); }},
              {"AboutToShowGroup", "ai", "aiai", [this](Arguments all) { return aboutToShowGroup(all); }}},
             {{"ItemsPropertiesUpdated", "a(ia{sv})a(ias)"},
              {"LayoutUpdated", "ui"},
              {"ItemActivationRequested", "iu"}}}};
}

const PanelMenuItem& PanelMenuBus::itemOf(const QVariant& id) const {
    const auto found = menu_.items().find(id.toInt());
    if (found == menu_.items().end()) {
        throw BusRefusal(QDBusError::InvalidArgs, "no item " + std::to_string(id.toInt()));
    }
    return found->second;
}

PanelMenuBus::Layout PanelMenuBus::layoutOf(int id, int depth, const Names& names) const {
    const PanelMenuItem& item = itemOf(id);
    QVariantList children;
    if (depth > 0) {
        for (const int child : item.children) {
            children.append(QVariant::fromValue(layoutOf(child, depth - 1, names)));
        }
    }
    return {id, propertiesOf(item, names), children};
}

QVariantList PanelMenuBus::getLayout(const QVariantList& arguments) const {
    const int depth = arguments[1].toInt();
    return {revision_, QVariant::fromValue(layoutOf(arguments[0].toInt(),
                                                    depth < 0 ? std::numeric_limits<int>::max() : depth,
                                                    namesIn(arguments[2])))};
}

QVariantList PanelMenuBus::getGroupProperties(const QVariantList& arguments) const {
    const auto list = bounded<int>(arguments[0]);
    const QSet<int> wanted(list.begin(), list.end());
    const Names names = namesIn(arguments[1]);
    QList<Item> found;
    for (const auto& [id, item] : menu_.items()) {
        if (wanted.empty() || wanted.contains(id)) {
            found.append(Item(id, propertiesOf(item, names)));
        }
    }
    return {QVariant::fromValue(found)};
}

QVariantList PanelMenuBus::getProperty(const QVariantList& arguments) const {
    const QVariant value = propertiesOf(itemOf(arguments[0])).value(arguments[1].toString());
    if (!value.isValid()) {
        throw BusRefusal(QDBusError::InvalidArgs, "the item has no such property");
    }
    return {QVariant::fromValue(QDBusVariant(value))};
}

QVariantList PanelMenuBus::receive(const QVariantList& arguments) {
    (void)itemOf(arguments[0]);
    if (arguments[1].toString() == clicked) {
        menu_.choose(arguments[0].toInt());
    }
    return {};
}

QVariantList PanelMenuBus::eventGroup(const QVariantList& arguments) {
    const auto events = bounded<Event>(arguments[0]);
    QList<int> unknown;
    for (const Event& each : events) {
        const int id = std::get<0>(each);
        if (!menu_.items().contains(id)) {
            unknown.append(id);
        } else if (std::get<1>(each) == clicked) {
            menu_.choose(id);
        }
    }
    if (!events.empty() && unknown.size() == events.size()) {
        throw BusRefusal(QDBusError::InvalidArgs, "no such items");
    }
    return {QVariant::fromValue(unknown)};
}

QVariantList PanelMenuBus::aboutToShow(const QVariantList& arguments) const {
    (void)itemOf(arguments[0]);
    return {false}; // what the panel was told is what there is
}

QVariantList PanelMenuBus::aboutToShowGroup(const QVariantList& arguments) const {
    QList<int> unknown;
    for (const int id : bounded<int>(arguments[0])) {
        if (!menu_.items().contains(id)) {
            unknown.append(id);
        }
    }
    return {QVariant::fromValue(QList<int>()), QVariant::fromValue(unknown)};
}

void PanelMenuBus::tellLayout(int parent) {
    ++revision_;
    send(menuInterface, "LayoutUpdated", {revision_, parent});
}

void PanelMenuBus::tellItems(const QList<int>& ids) {
    QList<Item> items;
    for (const int id : ids) {
        items.append(Item(id, propertiesOf(itemOf(id))));
    }
    send(menuInterface, "ItemsPropertiesUpdated",
         {QVariant::fromValue(items), QVariant::fromValue(QList<Removal>())});
}

} // namespace keysong
