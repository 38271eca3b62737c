#include "Orvel/screens/Theme.h"

#include <QApplication>

namespace orvel {

namespace {

const Theme* shown = nullptr;

// Only what a palette cannot say. Object names are those that the widgets give themselves.
QString styleSheetOf(const Theme& theme) {
    return QStringLiteral(R"(
        QFrame#panel { background: %1; border: 1px solid %2; border-radius: 8px; }
        QFrame#banner { background: %3; border: 1px solid %4; border-radius: 8px; }
        QFrame#hint { background: %9; border: 1px solid %5; border-radius: 6px; }
        QFrame#hint QPushButton { padding: 3px 10px; }
        QFrame#panel QPushButton { padding: 5px 12px; }
        QFrame#quiet { background: transparent; border: 1px solid %2; border-radius: 6px; }
        QFrame#quiet QPushButton { padding: 3px 10px; }
        QFrame#line { background: %2; border: none; }
        QFrame#step { background: %1; border: 1px solid %2; border-radius: 8px; }
        QFrame#step[current="true"] { border: 1px solid %5; }
        QListWidget#pages { background: transparent; border: none; outline: none; }
        QListWidget#pages::item { padding: 6px 9px; border: 1px solid transparent; border-radius: 6px; color: %6; }
        QListWidget#pages::item:selected { background: %9; color: %6; }
        QListWidget#pages::item:focus { border-color: %5; }
        QScrollArea#page, QScrollArea#page > QWidget > QWidget { background: transparent; }
        QPlainTextEdit { background: %1; border: 1px solid %2; border-radius: 8px; padding: 6px 8px; }
        QPlainTextEdit:focus { border: 1px solid %5; }
        QLineEdit#search, QLineEdit#field { background: %1; border: 1px solid %2; border-radius: 6px; padding: 6px 8px; }
        QLineEdit#search:focus, QLineEdit#field:focus { border: 1px solid %5; }
        QPushButton { background: %1; color: %6; border: 1px solid %2; border-radius: 6px; padding: 7px 14px; }
        QPushButton:hover, QPushButton:focus { border-color: %5; }
        QPushButton:disabled { color: %7; }
        QPushButton#primary { background: %5; color: %8; border-color: %5; font-weight: 600; }
        QPushButton#primary:focus { border-color: %6; }
        QPushButton#primary:disabled { background: %2; color: %7; border-color: %2; }
        QPushButton#card { border-radius: 8px; padding: 0; }
        QPushButton#arrow { border-radius: 11px; min-height: 20px; padding: 0 15px; color: %7; }
        QPushButton#arrow[selected="true"] { background: %5; color: %8; border-color: %5; font-weight: 600; }
        QPushButton#arrow[selected="true"]:focus { border-color: %6; }
        QPushButton#arrow:disabled { background: transparent; color: %7; border-color: %2; }
        QPushButton#arrow[selected="true"]:disabled { background: %5; color: %8; border-color: %5; }
        QPushButton#extend { border-radius: 15px; border-style: dashed; padding: 0; min-width: 28px; max-width: 28px;
            min-height: 28px; max-height: 28px; background: transparent; color: %7; }
        QPushButton#extend:hover:enabled, QPushButton#extend:focus { color: %5; border-color: %5; }
        QPushButton#extend::menu-indicator, QPushButton#more::menu-indicator { width: 0; height: 0; image: none; }
        QPushButton#more { padding: 7px 12px; }
        QPushButton#small { padding: 4px 10px; }
        QPushButton#link { background: transparent; border: none; color: %5; padding: 0 3px; }
        QPushButton#link:hover, QPushButton#link:focus { text-decoration: underline; }
        QSplitter::handle { background: %2; }
        QListView#sidebarList { background: transparent; border: none; }
        QScrollBar:vertical { background: transparent; width: 10px; margin: 0; }
        QScrollBar::handle:vertical { background: %2; border-radius: 4px; min-height: 32px; margin: 1px; }
        QScrollBar::handle:vertical:hover { background: %7; }
        QScrollBar::add-line, QScrollBar::sub-line { height: 0; width: 0; }
        QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
        QProgressBar { background: transparent; border: none; max-height: 3px; }
        QProgressBar#share { background: %2; border-radius: 3px; max-height: 6px; }
        QProgressBar::chunk { background: %5; }
        QTreeView#archive { background: transparent; border: none; }
        QTreeView#archive::item { padding: 4px 6px; }
    )")
        .arg(theme.card.name(), theme.border.name(), theme.banner.name(), theme.bannerBorder.name(),
             theme.accent.name(), theme.text.name(), theme.fadedText.name(), theme.accentText.name(),
             theme.selection.name());
}

} // namespace

const Theme& Theme::light() {
    static const Theme theme{.isDark = false,
                             .window = "#f6f6f6",
                             .sidebar = "#ebebed",
                             .card = "#ffffff",
                             .border = "#dcdcdf",
                             .text = "#1d1d1f",
                             .secondaryText = "#626267",
                             .fadedText = "#6c6c72",
                             .accent = "#2a66ea",
                             .accentText = "#ffffff",
                             .selection = "#dbe5fb",
                             .codex = "#0f8f83",
                             .claude = "#bf6138",
                             .banner = "#fdeeec",
                             .bannerBorder = "#e9b5ae",
                             .done = "#1f8a4c",
                             .pending = "#b07414",
                             .failure = "#c0392b"};
    return theme;
}

const Theme& Theme::dark() {
    static const Theme theme{.isDark = true,
                             .window = "#1e1e20",
                             .sidebar = "#262628",
                             .card = "#2a2a2d",
                             .border = "#3d3d41",
                             .text = "#f0f0f3",
                             .secondaryText = "#a9a9b0",
                             .fadedText = "#96969d",
                             .accent = "#5b8cff",
                             .accentText = "#0c1430",
                             .selection = "#2d3b5c",
                             .codex = "#43c4b3",
                             .claude = "#e58a60",
                             .banner = "#3b2726",
                             .bannerBorder = "#6d4340",
                             .done = "#45c07a",
                             .pending = "#e0a53a",
                             .failure = "#ff7a6b"};
    return theme;
}

const Theme& Theme::current() {
    return shown ? *shown : light();
}

QPalette Theme::palette() const {
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, card);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, fadedText);
    palette.setColor(QPalette::Button, card);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, accentText);
    palette.setColor(QPalette::ToolTipBase, card);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, accentText);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Mid, border);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, fadedText);
    return palette;
}

void Theme::apply() const {
    shown = this;
    QApplication::setPalette(palette());
    qApp->setStyleSheet(styleSheetOf(*this));
}

} // namespace orvel
