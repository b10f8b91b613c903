#include "App/ModelFixture.h"
#include "UI/Onboarding/OnboardingWindow.h"
#include "fakes/FakeKeyboardAccess.h"
#include "support/WidgetProgram.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QtTest/QTest>

namespace keysong::test {
namespace {

using Outcome = KeyboardAccess::Outcome;
using std::chrono::milliseconds;
using std::chrono::seconds;

[[maybe_unused]] const auto* const program = testing::AddGlobalTestEnvironment(new WidgetProgram);

class OnboardingTest : public ModelFixture {
  public:
    /// Trust comes, as the model finds it by asking once a second.
    void trust() {
        input.trusted = true;
        mainQueue.advance(seconds(1));
    }
    static QDialog* dialog() {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* dialog = qobject_cast<QDialog*>(widget); dialog != nullptr && dialog->isVisible()) {
                return dialog;
            }
        }
        return nullptr;
    }
    static QPushButton* button(const QString& text) {
        for (auto* candidate : dialog()->findChildren<QPushButton*>()) {
            if (candidate->text() == text) {
                return candidate;
            }
        }
        return nullptr;
    }
    /// What can be read in the window, a text a line.
    static std::string visibleText() {
        QStringList texts;
        for (const auto* label : dialog()->findChildren<QLabel*>()) {
            if (label->isVisible()) {
                texts += label->text();
            }
        }
        return texts.join(u'\n').toStdString();
    }
    static void deleteClosed() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    FakeKeyboardAccess access;
    OnboardingWindow window{*model, access, mainQueue};
};

TEST_F(OnboardingTest, WaitsForTrustAndClosesItselfShortlyAfterIt) {
    input.trusted = false;
    model->bootstrap();
    EXPECT_EQ(windows.onboarding, 1);
    window.show();
    const QDialog* first = dialog();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->windowTitle(), "Keysong");
    EXPECT_THAT(visibleText(), testing::HasSubstr("Keysong needs Accessibility access"));
    EXPECT_THAT(visibleText(), testing::HasSubstr("\nWaiting…"));
    window.show();
    EXPECT_EQ(dialog(), first) << "shown twice, it is still the one window";

    emit model->hasAccessChanged(); // a change that is no grant
    mainQueue.advance(seconds(30));
    EXPECT_TRUE(window.isShown());
    trust();
    EXPECT_THAT(visibleText(), testing::HasSubstr("\nGranted"));
    mainQueue.advance(milliseconds(300));
    window.show(); // does not put off the end
    mainQueue.advance(milliseconds(299));
    EXPECT_TRUE(window.isShown());
    mainQueue.advance(milliseconds(1));
    EXPECT_FALSE(window.isShown());
    EXPECT_EQ(dialog(), nullptr);
}

TEST_F(OnboardingTest, ClosingByHandCancelsTheSelfCloseAndEndsNothing) {
    model->bootstrap();
    bool ended = false;
    const QObject guard;
    QObject::connect(qApp, &QGuiApplication::lastWindowClosed, &guard, [&] { ended = true; });
    const std::vector<std::function<void()>> ways{[] { dialog()->close(); },
                                                  [] { QTest::keyClick(dialog(), Qt::Key_Escape); },
                                                  [this] { window.close(); }};
    for (const auto& closeByHand : ways) {
        window.show();
        mainQueue.advance(milliseconds(500));
        closeByHand();
        EXPECT_FALSE(window.isShown());
        window.show();
        EXPECT_THAT(visibleText(), testing::HasSubstr("\nGranted")) << "the model is trusted already";
        mainQueue.advance(milliseconds(599)); // past the time of the first one
        EXPECT_TRUE(window.isShown());
        mainQueue.advance(milliseconds(1));
        EXPECT_FALSE(window.isShown());
        deleteClosed();
        EXPECT_THAT(QApplication::topLevelWidgets(), testing::IsEmpty());
    }
    window.close();
    EXPECT_FALSE(ended);
}

TEST_F(OnboardingTest, AsksOnceHoweverOftenReturnIsPressedAndSaysHowThatEnded) {
    input.trusted = false;
    model->bootstrap();
    window.show();
    const auto pressReturn = [] { QTest::keyClick(dialog()->focusWidget(), Qt::Key_Return); };
    struct Case {
        Outcome outcome;
        const char* said;
    };
    for (const Case& row : {Case{Outcome::failed, "could not be granted: no <b>room"},
                            {Outcome::dismissed, nullptr},
                            {Outcome::notAuthorized, "not allowed to grant"},
                            {Outcome::cannotAsk, "cannot ask for a password"},
                            {Outcome::granted, nullptr}}) {
        const int questions = access.questions;
        pressReturn();
        pressReturn();
        EXPECT_EQ(access.questions, questions + 1);
        EXPECT_FALSE(button("Grant Access…")->isEnabled());
        access.answer(row.outcome, "no <b>room\n");
        EXPECT_TRUE(button("Grant Access…")->isEnabled());
        EXPECT_EQ(dialog()->focusWidget(), button("Grant Access…"));
        if (row.said != nullptr) {
            EXPECT_THAT(visibleText(), testing::HasSubstr(row.said));
        } else {
            EXPECT_THAT(visibleText(), testing::EndsWith("Or run this in a terminal:\n" + access.line));
            EXPECT_THAT(visibleText(), testing::HasSubstr("Waiting…\nOr run"))
                << "nothing is left of the last";
        }
    }
}

TEST_F(OnboardingTest, AQuestionOutlivesTheWindowAndTheObjectMayGoBeforeTheAnswer) {
    window.show();
    button("Grant Access…")->click();
    window.close();
    window.show();
    EXPECT_FALSE(button("Grant Access…")->isEnabled()) << "the machine still asks";
    access.answer(Outcome::dismissed);
    EXPECT_TRUE(button("Grant Access…")->isEnabled());

    button("Grant Access…")->click();
    window.close();
    access.answer(Outcome::failed, "nobody sees this");
    {
        OnboardingWindow another(*model, access, mainQueue);
        another.show();
        button("Grant Access…")->click();
    }
    access.answer(Outcome::granted);
    EXPECT_EQ(dialog(), nullptr);
}

TEST_F(OnboardingTest, WithoutMeansToAskItOffersTheCommandAlone) {
    access.possible = false;
    window.setHasTray(false);
    window.show();
    EXPECT_EQ(button("Grant Access…"), nullptr);
    EXPECT_THAT(visibleText(), testing::HasSubstr("start Keysong again"));
    window.setHasTray(true);
    EXPECT_THAT(visibleText(), testing::Not(testing::HasSubstr("start Keysong again")));
    QTest::keyClick(dialog()->focusWidget(), Qt::Key_Return);
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), access.line);
    EXPECT_NE(button("Copied"), nullptr);
}

TEST_F(OnboardingTest, CanBeWalkedThroughWithTheKeyboardAndNamesItsParts) {
    window.show();
    QStringList walk;
    for (int step = 0; step < 3; ++step) {
        auto* interface = QAccessible::queryAccessibleInterface(dialog()->focusWidget());
        walk += interface->text(QAccessible::Name);
        QTest::keyClick(dialog()->focusWidget(), Qt::Key_Tab);
    }
    EXPECT_EQ(walk.join(u',').toStdString(), "Grant Access…,Copy,Command");
    EXPECT_EQ(dialog()->focusWidget(), button("Grant Access…"));
    QTest::keyClick(dialog()->focusWidget(), Qt::Key_Tab);
    QTest::keyClick(dialog()->focusWidget(), Qt::Key_Return); // on "Copy"
    EXPECT_EQ(access.questions, 1) << "Return is for the default action wherever the focus is";
}
} // namespace
} // namespace keysong::test
