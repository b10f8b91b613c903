#include "UI/Settings/KeyboardView.h"
#include "UI/Settings/TonePad.h"

#include <QAccessible>
#include <QImage>

#include "SettingsFixture.h"

namespace keysong::test {
namespace {

using DrawnControls = SettingsFixture;

TEST_F(DrawnControls, TheTonePadReachesEveryCornerAndTheCentre) {
    TonePad pad(*model);
    const struct {
        QPointF point;
        float tone, body;
    } rows[] = {
        {{0, 200}, -1, -1}, {{200, -5}, 1, 1}, {{66, 66}, 0, 0}, {{9, 9}, -1, 1}, {{123, 123}, 1, -1}};
    for (const auto& row : rows) {
        pad.moveTo(row.point);
        EXPECT_FLOAT_EQ(model->tone(), row.tone);
        EXPECT_FLOAT_EQ(model->body(), row.body);
    }
    EXPECT_EQ(pad.handle(), QPointF(123, 123));
    model->resetTone();
    EXPECT_EQ(pad.handle(), QPointF(66, 66));
}

TEST_F(DrawnControls, ADoubleClickResetsHoweverTheHandTrembles) {
    TonePad pad(*model);
    pad.show();
    QTest::mouseClick(&pad, Qt::RightButton, {}, {30, 40});
    EXPECT_EQ(model->tone(), 0) << "the other button moves nothing";
    QTest::mousePress(&pad, Qt::LeftButton, {}, {30, 40});
    EXPECT_LT(model->tone(), 0);
    QTest::mouseMove(&pad, {100, 40});
    EXPECT_GT(model->tone(), 0);
    QTest::mouseRelease(&pad, Qt::LeftButton, {}, {100, 40});
    QTest::mouseMove(&pad, {20, 20}); // nothing is held
    EXPECT_GT(model->tone(), 0);

    QTest::mouseDClick(&pad, Qt::LeftButton, {}, {100, 40});
    EXPECT_EQ(model->tone(), 0);
    QMouseEvent second(QEvent::MouseButtonDblClick, QPointF(30, 30), pad.mapToGlobal(QPointF(30, 30)),
                       Qt::LeftButton, Qt::LeftButton, {});
    QApplication::sendEvent(&pad, &second);
    QMouseEvent tremble(QEvent::MouseMove, QPointF(33, 30), pad.mapToGlobal(QPointF(33, 30)), Qt::NoButton,
                        Qt::LeftButton, {});
    QApplication::sendEvent(&pad, &tremble);
    EXPECT_EQ(model->tone(), 0);
    EXPECT_EQ(model->body(), 0);
    QTest::mouseRelease(&pad, Qt::LeftButton, {}, {33, 30});
}

TEST_F(DrawnControls, TheArrowKeysMoveTheHandleThereAndExactlyBack) {
    TonePad pad(*model);
    for (int i = 0; i < 7; ++i) {
        QTest::keyClick(&pad, Qt::Key_Right);
        QTest::keyClick(&pad, Qt::Key_Up, Qt::ShiftModifier);
    }
    EXPECT_FLOAT_EQ(model->tone(), 0.35F);
    EXPECT_FLOAT_EQ(model->body(), 0.07F);
    for (int i = 0; i < 7; ++i) {
        QTest::keyClick(&pad, Qt::Key_Left);
    }
    EXPECT_EQ(model->tone(), 0);
    for (int i = 0; i < 30; ++i) {
        QTest::keyClick(&pad, Qt::Key_Down);
    }
    EXPECT_EQ(model->body(), -1);
    QTest::keyClick(&pad, Qt::Key_Home);
    EXPECT_EQ(model->body(), 0);
}

TEST_F(DrawnControls, AScreenReaderFindsASliderForEachAxis) {
    auto pad = std::make_unique<TonePad>(*model);
    auto* const group = QAccessible::queryAccessibleInterface(pad.get());
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->text(QAccessible::Name), "Tone");
    ASSERT_EQ(group->childCount(), 2);
    auto* const body = group->child(1);
    EXPECT_EQ(group->indexOfChild(body), 1);
    EXPECT_EQ(body->role(), QAccessible::Slider);
    EXPECT_EQ(body->text(QAccessible::Name), "Body");
    EXPECT_EQ(body->parent(), group);
    body->valueInterface()->setCurrentValue(0.5);
    EXPECT_FLOAT_EQ(model->body(), 0.5F);
    body->valueInterface()->setCurrentValue(std::numeric_limits<double>::quiet_NaN());
    body->valueInterface()->setCurrentValue("words");
    EXPECT_EQ(body->valueInterface()->currentValue().toDouble(), 0.5);
    body->actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    EXPECT_FLOAT_EQ(model->body(), 0.55F);
    group->child(0)->valueInterface()->setCurrentValue(7);
    EXPECT_EQ(model->tone(), 1);
    const auto id = QAccessible::uniqueId(body);
    pad.reset();
    EXPECT_EQ(QAccessible::accessibleInterface(id), nullptr);
}

TEST_F(DrawnControls, TheKeyboardShowsEveryKeyWholeAndLightsTheHeldOnes) {
    KeyboardView view(heldKeys);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    for (const int width : {240, 392, 777}) {
        view.resize(width, view.heightForWidth(width));
        QRectF last;
        for (const auto& row : KeyboardView::rows()) {
            for (const auto& key : row) {
                const QRectF cap = view.capOf(key.code);
                EXPECT_TRUE(QRectF(view.rect()).contains(cap.adjusted(0.01, 0.01, -0.01, -0.01)))
                    << key.label << " at " << width;
                EXPECT_FALSE(cap.intersects(last)) << key.label << " at " << width;
                EXPECT_GE(std::min(cap.width(), cap.height()), 7.99);
                last = cap;
            }
        }
    }
    view.resize(392, view.heightForWidth(392));
    EXPECT_LT(view.capOf(0).right(), 392 / 3) << "A, on the left of the board";
    heldKeys.setWatching(true);
    const auto darkness = [&](std::uint16_t code) {
        const QPoint place = view.capOf(code).topLeft().toPoint() + QPoint(3, 3);
        return 255 - qGray(view.grab().toImage().pixel(place));
    };
    const int off = darkness(56);
    // The left Shift, not the right one, and a key that is not on the picture.
    heldKeys.setDown(
        {std::uint64_t(1) << 56, std::uint64_t(1) << (111 - 64), 0, std::uint64_t(1) << (200 - 192)});
    ASSERT_TRUE(pumpUntil([&] { return darkness(56) > off + 100; }));
    EXPECT_GT(darkness(111), off + 100);
    EXPECT_LT(std::abs(darkness(60) - off), 5);
    heldKeys.setWatching(false);
    EXPECT_TRUE(pumpUntil([&] { return darkness(56) < off + 20; }));
}

} // namespace
} // namespace keysong::test
