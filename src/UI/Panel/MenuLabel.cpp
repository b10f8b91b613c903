#include "UI/Panel/MenuLabel.h"

#include <QFontMetrics>
#include <algorithm>

namespace keysong {

namespace {

constexpr int mostLetters = 40;
/// What is cut off before it is measured: laying out text takes its time.
constexpr int mostUnits = 400;

QString onOneLine(const QString& name) {
    // A tab would begin the column of the shortcuts.
    QString line = name.left(mostUnits).simplified();
    line.removeIf([](QChar letter) { return letter.category() == QChar::Other_Control; });
    return line;
}

} // namespace

QString menuLabel(const QString& name, MenuDrawer drawer, const QFontMetrics& font) {
    QString label = font.elidedText(onOneLine(name), Qt::ElideMiddle, mostLetters * font.averageCharWidth());
    if (drawer == MenuDrawer::toolkit) {
        return label.replace('&', "&&");
    }
    // On the bus an underscore marks, and two of them show one. The toolkit turns the first "&" into such a
    // mark and passes on the rest, so that one before it is all that is needed.
    label.replace('_', "__");
    if (const auto first = label.indexOf('&'); first >= 0) {
        label.insert(first, '&');
    }
    return label;
}

} // namespace keysong
