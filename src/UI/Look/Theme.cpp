#include "UI/Look/Theme.h"

#include "UI/Look/MenuMarkStyle.h"
#include "UI/Look/StyleSheet.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace keysong {

namespace {

constexpr const char* portalService = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* settingsInterface = "org.freedesktop.portal.Settings";
constexpr const char* appearance = "org.freedesktop.appearance";
constexpr const char* colorScheme = "color-scheme";
constexpr uint prefersDark = 1;
constexpr uint prefersLight = 2;

struct Colors {
    QRgb window, card, field, text, secondary, line, off, button, accent, onAccent;
};

constexpr Colors lightColors{0xffececee, 0xffffffff, 0xfff6f6f8, 0xff1c1c1e, 0xff66666b,
                             0xffd9d9dd, 0xffc4c4ca, 0xffffffff, 0xff2a6fe8, 0xffffffff};
constexpr Colors darkColors{0xff1e1e20, 0xff2a2a2c, 0xff1b1b1d, 0xfff2f2f4, 0xffa4a4aa,
                            0xff414145, 0xff5a5a60, 0xff3a3a3d, 0xff2f74e8, 0xffffffff};

QColor blend(QRgb front, QRgb back, double share) {
    const auto part = [&](int a, int b) { return static_cast<int>(a * share + b * (1 - share)); };
    return {part(qRed(front), qRed(back)), part(qGreen(front), qGreen(back)),
            part(qBlue(front), qBlue(back))};
}

Theme::Scheme schemeOf(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness()
               ? Theme::Scheme::dark
               : Theme::Scheme::light;
}

} // namespace

Theme::Theme(QApplication& application)
    : application_(application), platformScheme_(schemeOf(QApplication::palette())),
      scheme_(platformScheme_) {
    QApplication::setStyle(new MenuMarkStyle); // taken over
    apply(scheme_);
    // The toolkit knows even its own types only once one was registered.
    qDBusRegisterMetaType<QDBusVariant>();
    QDBusConnection::sessionBus().connect(portalService, portalPath, settingsInterface, "SettingChanged",
                                          this, SLOT(settingChanged(QString, QString, QDBusVariant)));
    askDesktop();
}

QPalette Theme::palette(Scheme scheme) {
    const Colors& colors = scheme == Scheme::dark ? darkColors : lightColors;
    QPalette palette;
    const auto set = [&](QPalette::ColorRole role, const QColor& active, const QColor& disabled) {
        palette.setColor(QPalette::Active, role, active);
        palette.setColor(QPalette::Inactive, role, active);
        palette.setColor(QPalette::Disabled, role, disabled);
    };
    const auto same = [&](QPalette::ColorRole role, QRgb color) { set(role, color, color); };
    same(QPalette::Window, colors.window);
    same(QPalette::AlternateBase, colors.card);
    same(QPalette::Base, colors.field);
    same(QPalette::Mid, colors.line);
    same(QPalette::Midlight, colors.off);
    same(QPalette::Dark, colors.line);
    same(QPalette::Button, colors.button);
    same(QPalette::ToolTipBase, colors.card);
    same(QPalette::ToolTipText, colors.text);
    same(QPalette::PlaceholderText, colors.secondary);
    same(QPalette::LinkVisited, colors.secondary);
    same(QPalette::HighlightedText, colors.onAccent);
    same(QPalette::BrightText, colors.onAccent);
    const QColor faint = blend(colors.text, colors.card, 0.38);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        set(role, colors.text, faint);
    }
    set(QPalette::Highlight, colors.accent, blend(colors.accent, colors.card, 0.4));
    const QColor accent(colors.accent);
    const QColor edge = scheme == Scheme::dark ? accent.lighter(150) : accent.darker(170);
    set(QPalette::Light, edge, edge);
    set(QPalette::Link, colors.accent, faint);
    return palette;
}

void Theme::askDesktop() {
    auto message = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface, "Read");
    message << QString(appearance) << QString(colorScheme);
    auto* const watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid()) { // where no portal answers, the platform's colours hold
            adopt(reply.value().variant());
        }
    });
}

void Theme::settingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == appearance && key == colorScheme) {
        adopt(value.variant());
    }
}

void Theme::adopt(const QVariant& preference) {
    // The portal's "Read" wraps the value once more than its signal does.
    const QVariant value =
        preference.canConvert<QDBusVariant>() ? preference.value<QDBusVariant>().variant() : preference;
    const uint number = value.toUInt();
    const Scheme wanted = number == prefersDark    ? Scheme::dark
                          : number == prefersLight ? Scheme::light
                                                   : platformScheme_;
    if (wanted != scheme_) {
        apply(wanted);
    }
}

void Theme::apply(Scheme scheme) {
    scheme_ = scheme;
    QApplication::setPalette(palette(scheme));
    // Set anew as well: a style sheet looks its palette colours up when it is set.
    application_.setStyleSheet(styleSheet());
}

} // namespace keysong
