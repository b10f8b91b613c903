#include "UI/Settings/KeyboardView.h"
#include "UI/Settings/SettingsSections.h"

#include <QPlainTextEdit>
#include <QVBoxLayout>
#include <cmath>

namespace keysong {

namespace {

constexpr int fontPoints = 15;
constexpr int shownLines = 2;
/// What was typed long ago falls out at the top.
constexpr int mostLines = 200;
constexpr int padding = 6;

} // namespace

/// Two lines to type into. What is typed is neither kept nor used.
class ScratchField final : public QPlainTextEdit {
  public:
    explicit ScratchField(QWidget* parent) : QPlainTextEdit(parent) {
        QFont large = font();
        // Points of a 72 dpi screen, as large beside the other texts on every one.
        large.setPointSizeF(large.pointSizeF() * fontPoints / 13.0);
        setFont(large);
        // The caret blinks all day: an opaque ground, clear of the rounded corners, spares what lies behind.
        document()->setDocumentMargin(1);
        setViewportMargins(padding - 1, padding - 1, padding - 1, padding - 1);
        viewport()->setAutoFillBackground(true);
        viewport()->setBackgroundRole(QPalette::Base);
        setPlaceholderText(tr("Type here to hear it"));
        setAccessibleName(tr("Type here to hear it"));
        setTabChangesFocus(true);
        setUndoRedoEnabled(false);
        setMaximumBlockCount(mostLines);
        setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        const double text = shownLines * QFontMetricsF(large).lineSpacing();
        setFixedHeight(static_cast<int>(std::ceil(text)) + 2 * padding + 2 * frameWidth());
    }

  protected:
    void wheelEvent(QWheelEvent* event) override {
        // Nothing to scroll here: the form is meant.
        document()->size().height() > shownLines&& hasFocus() ? QPlainTextEdit::wheelEvent(event)
                                                              : event->ignore();
    }
};

TryItSection::TryItSection(HeldKeys& keys, QWidget* parent)
    : SettingsSection(tr("Try it"), parent), keys_(keys), scratch_(nullptr) {
    auto* const content = new QWidget(&card());
    auto* const lines = new QVBoxLayout(content);
    lines->setContentsMargins(0, 8, 0, 8);
    lines->setSpacing(8);
    scratch_ = new ScratchField(content);
    lines->addWidget(scratch_);
    lines->addWidget(new KeyboardView(keys, content));
    card().addContent(content);
    setFooter(tr("Keys light up as you hold them. The sound follows every key on the whole machine, not "
                 "only this box."));
}

QWidget& TryItSection::scratch() const noexcept {
    return *scratch_;
}

void TryItSection::showEvent(QShowEvent* event) {
    SettingsSection::showEvent(event);
    keys_.setWatching(true);
    scratch_->setFocus(Qt::OtherFocusReason);
}

void TryItSection::hideEvent(QHideEvent* event) {
    SettingsSection::hideEvent(event);
    keys_.setWatching(false);
}

} // namespace keysong
