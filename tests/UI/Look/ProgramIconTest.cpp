#include "UI/Look/ProgramIcon.h"

#include "support/ChildProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <algorithm>

namespace keysong::test {
namespace {

int greatestDifference(QRgb a, QRgb b) {
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                     std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
}

TEST(ProgramIcon, IsTheInstalledPictureWhereItHasToBeDrawn) {
    constexpr const char* renderer = "rsvg-convert";
    if (!ChildProcess::isInstalled(renderer)) {
        GTEST_SKIP() << renderer << " is not installed";
    }
    const TempFolder folder;
    const std::string file = folder.path() / "icon.png";
    for (const int side : {16, 24, 48, 128, 256}) {
        const std::string pixels = std::to_string(side);
        ASSERT_EQ(ChildProcess::run({renderer, "-w", pixels, "-h", pixels, "-o", file, KEYSONG_ICON}, {}), 0);
        const QImage installed = QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_ARGB32);
        QImage drawn(side, side, QImage::Format_ARGB32);
        drawn.fill(Qt::transparent);
        QPainter painter(&drawn);
        drawnProgramIcon().paint(&painter, drawn.rect());
        painter.end();
        ASSERT_EQ(installed.size(), drawn.size());
        int differing = 0;
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                // Two painters round the edge of a curve differently.
                differing += greatestDifference(drawn.pixel(x, y), installed.pixel(x, y)) > 24 ? 1 : 0;
            }
        }
        EXPECT_LE(differing, side / 4) << side;
    }
}

} // namespace
} // namespace keysong::test
