#include "App/Panel/StatusNotifier.h"

#include "App/AskerData.h"
#include "App/Panel/PanelMenuBus.h"
#include "App/Panel/PanelPictures.h"

#include <QDBusObjectPath>
#include <utility>

namespace keysong {

namespace {

constexpr const char* name = "Keysong";

} // namespace

StatusNotifier::StatusNotifier(SessionBus& bus, AppState& state, std::function<void()> showSettings)
    : BusObject(bus, objectPath), state_(state), showSettings_(std::move(showSettings)),
      interfaces_(describe()), appearance_(panelAppearance(state)) {
    registerBusTypes<Picture, QList<Picture>, ToolTip>();
    for (const auto changed :
         {&AppState::hasAccessChanged, &AppState::isEnabledChanged, &AppState::isSleepingChanged}) {
        connect(&state_, changed, this, &StatusNotifier::showAppearance);
    }
}

std::vector<BusInterface> StatusNotifier::describe() {
    const auto noPictures = [] { return QVariant::fromValue(QList<Picture>()); };
    const auto settings = [this](const QVariantList&) {
        showSettings_();
        return QVariantList();
    };
    const auto nothing = [](const QVariantList&) { return QVariantList(); };
    const auto keepLeave = [this](const QVariantList& arguments) {
        asker_ = askerOf({{"activation-token", arguments[0]}});
        return QVariantList();
    };
    const auto toolTip = [] { return QVariant::fromValue(ToolTip({}, {}, name, {})); };
    return {{itemInterface,
             {{"Category", "s", constantly("ApplicationStatus")},
              {"Id", "s", constantly(name)},
              {"Title", "s", constantly(name)},
              {"Status", "s", constantly("Active")},
              {"WindowId", "i", constantly(0)},
              {"IconThemePath", "s", constantly("")},
              // A panel would look for a name in its own theme.
              {"IconName", "s", constantly("")},
              {"IconPixmap", "a(iiay)", [this] { return QVariant::fromValue(pictures()); }},
              {"OverlayIconName", "s", constantly("")},
              {"OverlayIconPixmap", "a(iiay)", noPictures},
              {"AttentionIconName", "s", constantly("")},
              {"AttentionIconPixmap", "a(iiay)", noPictures},
              {"AttentionMovieName", "s", constantly("")},
              {"ToolTip", "(sa(iiay)ss)", toolTip},
              {"Menu", "o", constantly(QVariant::fromValue(QDBusObjectPath(PanelMenuBus::objectPath)))},
              {"ItemIsMenu", "b", constantly(true)}},
             {{"Activate", "ii", "", settings},
              // Of panels that cannot draw a menu.
              {"ContextMenu", "ii", "", settings},
              {"SecondaryActivate", "ii", "", nothing},
              {"Scroll", "is", "", nothing},
              {"ProvideXdgActivationToken", "s", "", keepLeave}},
             {{"NewTitle", ""},
              {"NewIcon", ""},
              {"NewAttentionIcon", ""},
              {"NewOverlayIcon", ""},
              {"NewToolTip", ""},
              {"NewStatus", "s"}}}};
}

Asker StatusNotifier::takeAsker() {
    return std::exchange(asker_, Asker());
}

QList<StatusNotifier::Picture> StatusNotifier::pictures() const {
    QList<Picture> all;
    for (const int side : panelPictureSides) {
        all.append(Picture(side, side, panelPicture(appearance_, side)));
    }
    return all;
}

void StatusNotifier::showAppearance() {
    const PanelAppearance now = panelAppearance(state_);
    if (std::exchange(appearance_, now) != now) {
        send(itemInterface, "NewIcon");
    }
}

} // namespace keysong
