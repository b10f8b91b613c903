#include "UI/Onboarding/OnboardingView.h"

#include "App/AppState.h"
#include "UI/Look/Symbols.h"

#include <QAccessible>
#include <QClipboard>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <chrono>

namespace keysong {

namespace {

constexpr int windowWidth = 460;
constexpr int padding = 32;
constexpr int contentWidth = windowWidth - 2 * padding;
constexpr int textWidth = 340;
constexpr int symbolSide = 56;
/// How long the button says that the command was copied.
constexpr std::chrono::seconds copiedTime{2};

class KeyboardSymbol final : public QWidget {
  public:
    KeyboardSymbol() { setFixedSize(symbolSide, symbolSide * 2 / 3); }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        QRectF square(0, 0, width(), width());
        square.moveCenter(QRectF(rect()).center());
        paintSymbol(painter, Symbol::keyboard, square, palette().color(QPalette::PlaceholderText));
    }
};

QFont scaled(QFont font, double factor) {
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    } else {
        font.setPixelSize(qRound(font.pixelSize() * factor));
    }
    return font;
}

/// Tells a screen reader what the label says now.
void announce(QLabel* label) {
    QAccessibleEvent event(label, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace

OnboardingView::OnboardingView(const AppState& model, const KeyboardAccess& access, QWidget* parent)
    : QWidget(parent), model_(model) {
    const bool canGrant = access.canGrant();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(padding, padding, padding, padding);
    column->setSpacing(16);
    column->addWidget(new KeyboardSymbol, 0, Qt::AlignHCenter);
    QLabel* title =
        addText(column, tr("Keysong needs Accessibility access"), contentWidth, Importance::primary);
    QFont titleFont = scaled(font(), 1.6);
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    addText(
        column,
        tr("It listens for key presses to play the sound. It never reads what you type, and nothing leaves "
           "this computer."),
        textWidth, Importance::secondary);
    addText(column, consequence(access.way()), contentWidth, Importance::secondary)
        ->setFont(scaled(font(), 0.9));
    auto* actions = new QVBoxLayout;
    actions->setSpacing(8);
    column->addLayout(actions);
    if (canGrant) {
        addGrantButton(actions);
    }
    addStatus(actions);
    addCommand(column, !canGrant, QString::fromStdString(access.command()));
    trayHint_ =
        addText(column, tr("No panel here shows Keysong's icon.\nTo open the settings, start Keysong again."),
                contentWidth, Importance::secondary);
    trayHint_->setFont(scaled(font(), 0.9));
    trayHint_->hide();
    (canGrant ? grant_ : copy_)->setFocus();
    showAccess();
    connect(&model_, &AppState::hasAccessChanged, this, &OnboardingView::showAccess);
}

QString OnboardingView::consequence(KeyboardAccess::Way way) {
    switch (way) {
    case KeyboardAccess::Way::service:
        return tr(
            "A service of the system reads the keyboards for Keysong, and only while this session is in "
            "front and not locked. Take it back in the settings at any time.");
    case KeyboardAccess::Way::devices:
        return tr(
            "Until the next start of this computer, all your programs can then read its keyboards, whoever "
            "types on them.");
    }
    return {};
}

QLabel* OnboardingView::addText(QBoxLayout* column, const QString& text, int width, Importance importance) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    const int side = (contentWidth - width) / 2; // part of the label, so that it knows how high it becomes
    label->setContentsMargins(side, 0, side, 0);
    column->addWidget(label);
    if (importance == Importance::secondary) {
        label->setForegroundRole(QPalette::PlaceholderText);
    }
    return label;
}

void OnboardingView::addGrantButton(QBoxLayout* column) {
    grant_ = new QPushButton(tr("Grant Access…"));
    grant_->setDefault(true);
    grant_->setMinimumSize(grant_->sizeHint().grownBy(QMargins(12, 2, 12, 2)));
    grant_->setAccessibleDescription(tr("Asks for an administrator's password"));
    connect(grant_, &QPushButton::clicked, this, &OnboardingView::grantRequested);
    column->addWidget(grant_, 0, Qt::AlignHCenter);
}

void OnboardingView::addStatus(QBoxLayout* column) {
    status_ = addText(column, {}, contentWidth, Importance::secondary);
    message_ = addText(column, {}, contentWidth, Importance::primary);
    message_->hide();
}

void OnboardingView::addCommand(QBoxLayout* column, bool isDefault, const QString& command) {
    auto* group = new QVBoxLayout;
    group->setSpacing(6);
    auto* line = new QHBoxLayout;
    auto* caption = new QLabel(isDefault ? tr("Run this in a terminal to grant access:")
                                         : tr("Or run this in a terminal:"));
    caption->setWordWrap(true);
    caption->setForegroundRole(QPalette::PlaceholderText);
    line->addWidget(caption, 1);
    copy_ = new QPushButton(tr("Copied")); // the longer of its texts, in most languages
    const int copiedWidth = copy_->sizeHint().width();
    copy_->setText(tr("Copy"));
    copy_->setMinimumWidth(std::max(copiedWidth, copy_->sizeHint().width()));
    copy_->setAutoDefault(false);
    copy_->setDefault(isDefault);
    copy_->setAccessibleDescription(tr("Copies the command"));
    connect(copy_, &QPushButton::clicked, this, [this, command] { copyCommand(command); });
    line->addWidget(copy_);
    group->addLayout(line);

    auto* field = new QLabel(command);
    field->setTextFormat(Qt::PlainText);
    field->setLayoutDirection(Qt::LeftToRight);
    field->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    field->setWordWrap(true);
    field->setFont(scaled(QFontDatabase::systemFont(QFontDatabase::FixedFont), 0.9));
    field->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    field->setFocusPolicy(Qt::StrongFocus);
    field->setObjectName("command");
    field->setAccessibleName(tr("Command"));
    field->setAccessibleDescription(command);
    caption->setBuddy(field);
    group->addWidget(field);
    column->addLayout(group);
    setTabOrder(copy_, field);
}

void OnboardingView::setAsking(bool asking) {
    if (grant_ == nullptr || grant_->isEnabled() != asking) {
        return;
    }
    grant_->setEnabled(!asking);
    if (!asking) {
        grant_->setFocus();
    }
    if (asking) {
        message_->hide();
    }
}

void OnboardingView::showResult(const KeyboardAccess::Result& result) {
    using Outcome = KeyboardAccess::Outcome;
    QString text;
    switch (result.outcome) {
    case Outcome::granted:   // the keyboards will tell
    case Outcome::dismissed: // the user knows
        break;
    case Outcome::notAuthorized:
        text = tr("You are not allowed to grant access. Ask someone who administers this computer.");
        break;
    case Outcome::cannotAsk:
        text = tr("This desktop cannot ask for a password. Run the command below instead.");
        break;
    case Outcome::failed:
        text = tr("Access could not be granted: %1")
                   .arg(QString::fromStdString(result.explanation).simplified());
        break;
    }
    message_->setText(text);
    message_->setVisible(!text.isEmpty());
    if (!text.isEmpty()) {
        announce(message_);
    }
}

void OnboardingView::setHasTray(bool hasTray) {
    trayHint_->setVisible(!hasTray);
}

QSize OnboardingView::sizeHint() const {
    return {windowWidth, layout()->heightForWidth(windowWidth)};
}

void OnboardingView::showAccess() {
    const QString text = model_.hasAccess() ? tr("Granted") : tr("Waiting…");
    if (status_->text() != text) {
        status_->setText(text);
        announce(status_);
    }
}

void OnboardingView::copyCommand(const QString& command) {
    QGuiApplication::clipboard()->setText(command);
    copy_->setText(tr("Copied")); // a screen reader says the new name
    QTimer::singleShot(copiedTime, copy_, [this] { copy_->setText(tr("Copy")); });
}

} // namespace keysong
