#include "UI/Settings/SettingsView.h"

#include <QScrollBar>
#include <QVBoxLayout>

namespace keysong {

namespace {

constexpr int margin = 20;
constexpr int sectionSpacing = 18;

} // namespace

SettingsView::SettingsView(const UiServices& services, QWidget* parent)
    : QScrollArea(parent), tryIt_(nullptr) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    auto* const content = new QWidget(this);
    content->setObjectName(QStringLiteral("settingsContent"));
    auto* const sections = new QVBoxLayout(content);
    sections->setContentsMargins(margin, margin - 4, margin, margin);
    sections->setSpacing(sectionSpacing);
    tryIt_ = new TryItSection(services.heldKeys, content);
    // Made in the order in which they are read, which is also the order of the Tab key.
    sections->addWidget(tryIt_);
    sections->addWidget(makeSoundSection(services.model, content));
    sections->addWidget(makeSwitchSection(services.model, content));
    sections->addWidget(makeToneSection(services.model, content));
    sections->addWidget(makeOutputSection(services.model, content));
    sections->addWidget(makeSleepSection(services, content));
    sections->addWidget(makeGeneralSection(services, content));
    sections->addStretch(1);
    setWidget(content);
    verticalScrollBar()->setSingleStep(fontMetrics().height());
}

int SettingsView::contentWidth() const {
    return widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width();
}

} // namespace keysong
