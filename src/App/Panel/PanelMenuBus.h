#pragma once

#include "App/BusObject.h"
#include "App/Panel/BusStructure.h"
#include "App/Panel/PanelMenu.h"

#include <QDBusVariant>
#include <QSet>
#include <cstdint>

namespace keysong {

/// The status item's menu as panels read it over the bus: `com.canonical.dbusmenu`. A panel asks for the
/// items and draws them itself, is told what changed, and tells what was clicked.
///
/// A question for too much at once, or for an item that is not there, is answered with an error. Main thread.
class PanelMenuBus final : public BusObject {
    Q_OBJECT

  public:
    static constexpr const char* objectPath = "/MenuBar";
    static constexpr const char* menuInterface = "com.canonical.dbusmenu";

    /// An item with its properties: "(ia{sv})".
    using Item = BusStructure<int, QVariantMap>;
    /// An item and the names of what it no longer has: "(ias)".
    using Removal = BusStructure<int, QStringList>;
    /// An item with its properties and what it holds, each of which is such a layout: "(ia{sv}av)".
    using Layout = BusStructure<int, QVariantMap, QVariantList>;
    /// What happened to an item, with data and the time: "(isvu)".
    using Event = BusStructure<int, QString, QDBusVariant, std::uint32_t>;

    /// Bus and menu outlive the object.
    PanelMenuBus(SessionBus& bus, PanelMenu& menu);

  private:
    using Names = QSet<QString>;

    [[nodiscard]] const std::vector<BusInterface>& interfaces() const override { return interfaces_; }
    [[nodiscard]] std::vector<BusInterface> describe();

    // The methods of the interface.
    [[nodiscard]] QVariantList getLayout(const QVariantList& arguments) const;
    [[nodiscard]] QVariantList getGroupProperties(const QVariantList& arguments) const;
    [[nodiscard]] QVariantList getProperty(const QVariantList& arguments) const;
    [[nodiscard]] QVariantList receive(const QVariantList& arguments);
    [[nodiscard]] QVariantList eventGroup(const QVariantList& arguments);
    [[nodiscard]] QVariantList aboutToShow(const QVariantList& arguments) const;
    [[nodiscard]] QVariantList aboutToShowGroup(const QVariantList& arguments) const;

    /// Throws `BusRefusal` when there is no such item.
    [[nodiscard]] const PanelMenuItem& itemOf(const QVariant& id) const;
    [[nodiscard]] Layout layoutOf(int id, int depth, const Names& names) const;
    void tellLayout(int parent);
    void tellItems(const QList<int>& ids);

    PanelMenu& menu_;
    const std::vector<BusInterface> interfaces_;
    /// Counts the changes of the layout.
    std::uint32_t revision_ = 1;
};

} // namespace keysong
