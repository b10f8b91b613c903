#include "App/GlobalHotkeys.h"
#include "UI/Look/Symbols.h"
#include "UI/Settings/SettingsControls.h"
#include "UI/Settings/SettingsSections.h"

#include <QDesktopServices>
#include <QKeySequence>
#include <QLocale>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QUrl>
#include <filesystem>

namespace keysong {

namespace {

void confirmReset(AppState& model, QWidget* window) {
    auto* const dialog =
        new QMessageBox(QMessageBox::NoIcon, SettingsSection::tr("Keysong"),
                        SettingsSection::tr("Reset the key count?"), QMessageBox::NoButton, window);
    dialog->setIconPixmap(symbolIcon(Symbol::warningTriangle).pixmap({36, 36}, dialog->devicePixelRatioF()));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setInformativeText(SettingsSection::tr("This cannot be undone."));
    QPushButton* const reset = dialog->addButton(SettingsSection::tr("Reset"), QMessageBox::DestructiveRole);
    QPushButton* const cancel = dialog->addButton(SettingsSection::tr("Cancel"), QMessageBox::RejectRole);
    dialog->setDefaultButton(cancel);
    dialog->setEscapeButton(cancel);
    QObject::connect(reset, &QPushButton::clicked, &model, &AppState::resetStats);
    dialog->open();
}

void addLaunchAtLogin(Card& card, AppState& model) {
    ToggleSwitch* const toggle =
        addToggle(card, model, SettingsSection::tr("Launch at login"),
                  {&AppState::launchAtLogin, &AppState::setLaunchAtLogin, &AppState::launchAtLoginChanged},
                  model.canLaunchAtLogin()
                      ? QString()
                      : SettingsSection::tr("Available once Keysong is in your Applications folder."));
    toggle->setEnabled(model.canLaunchAtLogin());
}

void addHotkey(Card& card, const QString& label, const GlobalHotkey& hotkey) {
    const QKeySequence keys(keysOf(hotkey));
    auto* const value = new QLabel(keys.toString(QKeySequence::NativeText), &card);
    value->setAccessibleName(label + QStringLiteral(": ") + value->text());
    card.addRow(label, {value});
}

void addKeyCount(Card& card, AppState& model) {
    auto* const count = new QLabel(&card);
    auto* const reset = new QPushButton(SettingsSection::tr("Reset"), &card);
    const auto follow = [&model, count] {
        count->setText(QLocale().toString(static_cast<qlonglong>(model.keysPressed())));
    };
    follow();
    QObject::connect(&model, &AppState::keysPressedChanged, count, follow);
    QObject::connect(reset, &QPushButton::clicked, reset,
                     [&model, reset] { confirmReset(model, reset->window()); });
    card.addRow(SettingsSection::tr("Keys pressed"), {count, reset});
}

/// Asks for nothing: who takes the right back can be given it again.
void takeBack(KeyboardAccess& access, QPushButton* button, QLabel* state) {
    button->setEnabled(
        !access.revoke([button = QPointer(button), state](const KeyboardAccess::Result& result) {
            if (button == nullptr) {
                return; // with it went the label
            }
            button->setEnabled(true);
            if (result.outcome != KeyboardAccess::Outcome::granted) {
                state->setText(SettingsSection::tr("Access could not be taken back"));
            }
        }));
}

void addAccessibility(Card& card, AppState& model, KeyboardAccess& access) {
    auto* const state = new QLabel(&card);
    state->setForegroundRole(QPalette::PlaceholderText);
    state->setWordWrap(false);
    auto* const grant = new QPushButton(SettingsSection::tr("Grant Access\u2026"), &card);
    auto* const revoke = new QPushButton(SettingsSection::tr("Take Back"), &card);
    revoke->setAccessibleDescription(SettingsSection::tr("Keysong hears the keyboards no longer"));
    const auto follow = [&model, &access, state, grant, revoke] {
        const bool granted = model.hasAccess() || model.systemGivesAccess();
        state->setText(model.hasAccess() ? SettingsSection::tr("Granted")
                       : granted ? SettingsSection::tr("Granted, but not listening. Quit and reopen Keysong.")
                                 : SettingsSection::tr("Not granted"));
        grant->setVisible(!granted);
        revoke->setVisible(model.hasAccess() && access.way() == KeyboardAccess::Way::service);
    };
    follow();
    QObject::connect(&model, &AppState::hasAccessChanged, state, follow);
    QObject::connect(revoke, &QPushButton::clicked, revoke,
                     [&access, revoke, state] { takeBack(access, revoke, state); });
    QObject::connect(grant, &QPushButton::clicked, &model, &AppState::showOnboarding);
    card.addRow(SettingsSection::tr("Accessibility"), {state, grant, revoke});
}

void addCredits(Card& card, const Places& places) {
    auto* const credits = new QPushButton(SettingsSection::tr("Credits"), &card);
    QObject::connect(credits, &QPushButton::clicked, credits, [&places] {
        const std::filesystem::path file = places.resources() / "CREDITS.txt";
        std::error_code error;
        if (std::filesystem::is_regular_file(file, error)) {
            QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(file.string())));
        }
    });
    card.addRow(SettingsSection::tr("Sounds"), {credits});
}

} // namespace

SettingsSection* makeGeneralSection(const UiServices& services, QWidget* parent) {
    auto* const section = new SettingsSection(SettingsSection::tr("General"), parent);
    Card& card = section->card();
    addLaunchAtLogin(card, services.model);
    addHotkey(card, SettingsSection::tr("Enable / disable"), toggleHotkey);
    addHotkey(card, SettingsSection::tr("Open Keysong"), settingsHotkey);
    addKeyCount(card, services.model);
    addAccessibility(card, services.model, services.access);
    addCredits(card, services.places);
    return section;
}

} // namespace keysong
