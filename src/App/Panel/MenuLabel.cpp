#include "App/Panel/MenuLabel.h"

#include <QTextBoundaryFinder>
#include <cstddef>
#include <vector>

namespace keysong {

namespace {

constexpr std::size_t mostCharacters = 40;
/// What is cut off before the characters are told apart, which takes its time.
constexpr qsizetype mostUnits = 400;

QString onOneLine(const QString& name) {
    // A tab would begin the column of the shortcuts.
    QString line = name.left(mostUnits).simplified();
    line.removeIf([](QChar letter) { return letter.category() == QChar::Other_Control; });
    return line;
}

} // namespace

QString menuText(const QString& name) {
    const QString line = onOneLine(name);
    // What a person takes for one character may be several of the string.
    std::vector<qsizetype> starts;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, line);
    for (qsizetype at = 0; at >= 0 && at < line.size(); at = finder.toNextBoundary()) {
        starts.push_back(at);
    }
    if (starts.size() <= mostCharacters) {
        return line;
    }
    const qsizetype firstLeftOut = starts[mostCharacters / 2];
    const qsizetype lastPart = starts[starts.size() - (mostCharacters - mostCharacters / 2 - 1)];
    return line.left(firstLeftOut) + QChar(u'…') + line.mid(lastPart);
}

} // namespace keysong
