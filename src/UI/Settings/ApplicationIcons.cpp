#include "UI/Settings/ApplicationIcons.h"

#include "App/AppEquivalents.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <algorithm>

namespace keysong {

namespace {

/// A picture file that is larger is no icon.
constexpr qint64 largestIconFile = qint64{4} << 20U;

/// The tile that stands for a program without an icon of its own.
QIcon generalIcon() {
    const QIcon themed = QIcon::fromTheme(QStringLiteral("application-x-executable"));
    if (!themed.isNull()) {
        return themed;
    }
    QIcon icon;
    for (const int side : {16, 24, 32, 48, 64}) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const double unit = side / 16.0;
        QColor accent = QGuiApplication::palette().color(QPalette::Highlight);
        painter.setPen(QPen(accent, unit));
        accent.setAlphaF(0.45F);
        painter.setBrush(accent);
        painter.drawRoundedRect(QRectF(1.5 * unit, 1.5 * unit, 13 * unit, 13 * unit), 3 * unit, 3 * unit);
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace

QIcon applicationIcon(const std::string& iconName) {
    const QString name = QString::fromStdString(iconName);
    if (QFileInfo(name).isAbsolute()) {
        const QFileInfo file(name);
        const bool readable = file.isFile() && file.size() > 0 && file.size() <= largestIconFile;
        return readable ? QIcon(name) : generalIcon();
    }
    const QIcon themed = name.isEmpty() ? QIcon() : QIcon::fromTheme(name);
    return themed.isNull() ? generalIcon() : themed;
}

ApplicationFace applicationFace(InstalledApplications& applications, const std::string& id) {
    const auto list = applications.list();
    auto found = std::ranges::find(*list, id, &InstalledApplication::id);
    if (found == list->end()) {
        found = std::ranges::find_if(
            *list, [&](const InstalledApplication& each) { return meansApplication(id, each.id); });
    }
    if (found == list->end()) {
        return {QString::fromStdString(id), generalIcon()};
    }
    return {QString::fromStdString(found->name), applicationIcon(found->icon)};
}

} // namespace keysong
