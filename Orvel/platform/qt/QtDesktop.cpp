#include "Orvel/platform/qt/QtDesktop.h"

#include "Orvel/platform/qt/QtText.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QSettings>
#include <QUrl>

namespace orvel {

void QtPasteboard::clearContents() {
    QGuiApplication::clipboard()->clear();
}

bool QtPasteboard::setString(std::string_view text) {
    const auto wanted = qtText(text);
    auto* clipboard = QGuiApplication::clipboard();
    clipboard->setText(wanted);
    return clipboard->text() == wanted;
}

std::optional<std::string> QtPanels::choose(const OpenPanel& panel) {
    const auto title = panel.title.empty() ? panel.message : panel.title + " " + panel.message;
    QFileDialog dialog(window, qtText(title));
    const bool isFolder = panel.kind == OpenPanel::Kind::folder, isJson = panel.kind == OpenPanel::Kind::json;
    dialog.setFileMode(isFolder ? QFileDialog::Directory : QFileDialog::ExistingFile);
    if (isFolder)
        dialog.setOption(QFileDialog::ShowDirsOnly);
    else
        dialog.setNameFilters(
            {isJson ? QStringLiteral("JSON (*.json)") : QStringLiteral("Conversations (*.jsonl)"),
             QStringLiteral("All files (*)")});
    auto filter = QDir::AllEntries | QDir::AllDirs | QDir::NoDotAndDotDot;
    if (panel.showsHiddenFiles) filter |= QDir::Hidden;
    dialog.setFilter(filter);
    if (const auto folder = qtText(panel.folder); QFileInfo(folder).isDir()) dialog.setDirectory(folder);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
    return QFile::encodeName(QFileInfo(dialog.selectedFiles().first()).absoluteFilePath()).toStdString();
}

void QtApplications::activateSelf() {
    if (!window) return;
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    window->activateWindow();
}

bool QtApplications::revealFile(const std::string& path) {
    const QFileInfo file(QFile::decodeName(QByteArray::fromStdString(path)));
#ifdef Q_OS_MACOS
    if (file.exists() && QProcess::startDetached(QStringLiteral("/usr/bin/open"),
                                                 {QStringLiteral("-R"), file.absoluteFilePath()}))
        return true;
#endif
    return QDesktopServices::openUrl(QUrl::fromLocalFile(file.absolutePath()));
}

QtSettings::QtSettings(const std::string& path) : path(QFile::decodeName(QByteArray::fromStdString(path))) {}

std::optional<std::string> QtSettings::string(std::string_view key) const {
    const auto value = QSettings(path, QSettings::IniFormat).value(qtText(key));
    return value.isValid() ? std::optional(utf8Text(value.toString())) : std::nullopt;
}

void QtSettings::setString(std::string_view key, std::string_view value) {
    QSettings(path, QSettings::IniFormat).setValue(qtText(key), qtText(value));
}

} // namespace orvel
