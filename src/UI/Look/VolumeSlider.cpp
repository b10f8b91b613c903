#include "UI/Look/VolumeSlider.h"

#include "UI/Look/Symbols.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QSignalBlocker>
#include <QSlider>
#include <QWheelEvent>
#include <cmath>

namespace keysong {

namespace {

constexpr int most = 100;
constexpr int arrowStep = 5;
constexpr int pageStep = 25;
constexpr int shortestSlider = 200;
constexpr int symbolSide = 16;

class Slider final : public QSlider {
  public:
    explicit Slider(QWidget* parent) : QSlider(Qt::Horizontal, parent) { setFocusPolicy(Qt::StrongFocus); }

  protected:
    void wheelEvent(QWheelEvent* event) override {
        hasFocus() ? QSlider::wheelEvent(event) : event->ignore();
    }
};

/// A symbol in the secondary colour.
class SymbolLabel final : public QWidget {
  public:
    SymbolLabel(Symbol symbol, QWidget* parent) : QWidget(parent), symbol_(symbol) {
        setFixedSize(symbolSide, symbolSide);
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        paintSymbol(painter, symbol_, rect(), palette().color(QPalette::PlaceholderText));
    }

  private:
    const Symbol symbol_;
};

} // namespace

VolumeSlider::VolumeSlider(AppState& model, QWidget* parent) : QWidget(parent) {
    auto* const line = new QHBoxLayout(this);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(8);
    auto* const slider = new Slider(this);
    slider->setRange(0, most);
    slider->setSingleStep(arrowStep);
    slider->setPageStep(pageStep);
    slider->setMinimumWidth(shortestSlider);
    line->addWidget(new SymbolLabel(Symbol::speaker, this));
    line->addWidget(slider);
    line->addWidget(new SymbolLabel(Symbol::speakerLoud, this));
    setFocusProxy(slider);

    const auto follow = [&model, slider] {
        const QSignalBlocker blocker(slider); // showing a value between two steps must not round it
        slider->setValue(static_cast<int>(std::lround(model.volume() * most)));
    };
    follow();
    connect(slider, &QSlider::valueChanged, &model,
            [&model](int value) { model.setVolume(static_cast<float>(value) / most); });
    connect(&model, &AppState::volumeChanged, slider, follow);
}

} // namespace keysong
