#include "UI/Look/StyleSheet.h"

namespace keysong {

QString styleSheet() {
    return QStringLiteral(R"(
QPushButton {
    background: palette(button); color: palette(button-text);
    border: 1px solid palette(mid); border-radius: 6px;
    padding: 4px 13px; min-height: 18px;
}
QPushButton:hover { border-color: palette(midlight); }
QPushButton:pressed { background: palette(mid); }
QPushButton:focus { border: 2px solid palette(highlight); padding: 3px 12px; }
QPushButton:disabled { color: palette(link-visited); background: transparent; }
QPushButton:default {
    background: palette(highlight); color: palette(highlighted-text); border-color: palette(highlight);
}
QPushButton:default:focus { border: 2px solid palette(light); padding: 3px 12px; }

QDialogButtonBox, QMessageBox { dialogbuttonbox-buttons-have-icons: 0; }
QMessageBox QLabel#qt_msgbox_label { font-weight: 600; }
QMessageBox QLabel#qt_msgbox_informativelabel { min-width: 220px; }

QToolButton { border: 1px solid transparent; border-radius: 6px; padding: 4px; }
QToolButton:hover, QToolButton:pressed { background: palette(mid); }
QToolButton:focus { border: 2px solid palette(highlight); padding: 3px; }

QComboBox {
    background: palette(button); color: palette(button-text);
    border: 1px solid palette(mid); border-radius: 6px;
    padding: 4px 10px; min-height: 18px;
    combobox-popup: 0;
}
QComboBox:hover { border-color: palette(midlight); }
QComboBox:focus { border: 2px solid palette(highlight); padding: 3px 9px; }
QComboBox:disabled { color: palette(link-visited); }
QComboBox::drop-down { border: none; width: 26px; }
QComboBox::down-arrow { image: none; width: 0; height: 0; }
QComboBox QAbstractItemView, QComboBox QAbstractItemView:focus {
    border: 1px solid palette(mid);
    background: palette(alternate-base); color: palette(text);
    border-radius: 0; padding: 4px; outline: none;
    selection-background-color: palette(highlight); selection-color: palette(highlighted-text);
}

QLineEdit, QPlainTextEdit, QListView {
    background: palette(base); color: palette(text);
    border: 1px solid palette(mid); border-radius: 6px;
    selection-background-color: palette(highlight); selection-color: palette(highlighted-text);
}
QLineEdit { padding: 4px 8px; min-height: 18px; }
QLineEdit:focus, QPlainTextEdit:focus, QListView:focus { border-color: palette(highlight); }
QLabel#command {
    background: palette(base); color: palette(text);
    border: 1px solid palette(mid); border-radius: 6px; padding: 8px;
}
QLabel#command:focus { border-color: palette(highlight); }
QListView { outline: none; padding: 3px; }
QListView::item { padding: 4px 6px; border-radius: 4px; }
QListView::item:selected { background: palette(highlight); color: palette(highlighted-text); }

QSlider { min-height: 24px; background: transparent; }
QSlider::groove:horizontal { height: 4px; border-radius: 2px; background: palette(midlight); }
QSlider::sub-page:horizontal { border-radius: 2px; background: palette(highlight); }
QSlider::add-page:horizontal { border-radius: 2px; background: palette(midlight); }
QSlider::handle:horizontal {
    width: 16px; height: 16px; margin: -7px 0; border-radius: 9px;
    background: white; border: 1px solid palette(midlight);
}
QSlider::handle:horizontal:focus { border: 2px solid palette(highlight); width: 14px; height: 14px; }

QScrollArea, QScrollArea > QWidget > QWidget#settingsContent { background: palette(window); border: none; }
QScrollBar:vertical { background: transparent; width: 10px; margin: 0; }
QScrollBar::handle:vertical {
    background: palette(midlight); border-radius: 3px; min-height: 30px; margin: 2px;
}
QScrollBar::add-line, QScrollBar::sub-line, QScrollBar::add-page, QScrollBar::sub-page {
    background: none; border: none; height: 0;
}

QMenu {
    background: palette(alternate-base); color: palette(text);
    border: 1px solid palette(mid); padding: 5px;
    menu-scrollable: 1;
}
QMenu::item { padding: 5px 24px 5px 10px; border-radius: 4px; }
QMenu::item:selected { background: palette(highlight); color: palette(highlighted-text); }
QMenu::item:disabled { color: palette(link-visited); background: transparent; }
QMenu::separator { height: 1px; background: palette(mid); margin: 5px 8px; }
QToolTip {
    background: palette(alternate-base); color: palette(text);
    border: 1px solid palette(mid); padding: 4px 6px;
}
)");
}

} // namespace keysong
