#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QPalette>

class QApplication;

namespace keysong {

/// How the program's windows look: the colours, light or dark as the desktop asks for, now and whenever it
/// changes its mind, and what the standard controls have in common.
///
/// Everything that is drawn takes its colours from the widget's palette, where some roles have one meaning:
/// Window the background, AlternateBase a card, Base a field, Mid a thin line, Midlight what is switched off,
/// PlaceholderText secondary text (for style sheets, which do not know that role, LinkVisited), Highlight the
/// accent, Light an edge that is seen on the accent.
///
/// Main thread. Make one, after the application and before the first widget.
class Theme final : public QObject {
    Q_OBJECT

  public:
    enum class Scheme { light, dark };

    /// `application` outlives it.
    explicit Theme(QApplication& application);

    [[nodiscard]] Scheme scheme() const noexcept { return scheme_; }

    /// The colours of a scheme.
    [[nodiscard]] static QPalette palette(Scheme scheme);

  private slots:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

  private:
    void askDesktop();
    void adopt(const QVariant& preference);
    void apply(Scheme scheme);

    QApplication& application_;
    /// What the platform's own colours say; holds where the desktop has no preference.
    const Scheme platformScheme_;
    Scheme scheme_;
};

} // namespace keysong
