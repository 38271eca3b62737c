#include "Orvel/screens/WelcomeView.h"

#include "Orvel/platform/qt/QtText.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace orvel {

namespace {

// A path as the person knows it, with "~" for the home.
QString shortPath(const std::string& path, const std::string& home) {
    return path.starts_with(home + "/")
               ? QStringLiteral("~") + qtText(std::string_view(path).substr(home.size()))
               : qtText(path);
}

} // namespace

WelcomeView::WelcomeView(QWidget* parent) : QWidget(parent), title(new QLabel), text(new QLabel) {
    auto font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.3);
    font.setWeight(QFont::DemiBold);
    title->setFont(font);
    for (auto* label : {title, text}) {
        label->setAlignment(Qt::AlignHCenter);
        label->setWordWrap(true);
        label->setTextFormat(Qt::PlainText);
    }
    text->setForegroundRole(QPalette::PlaceholderText);
    text->setMaximumWidth(560);
    auto* textRow = new QHBoxLayout; // Gives the text its full width before its height is asked for.
    textRow->addStretch();
    textRow->addWidget(text, 1000);
    textRow->addStretch();

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    const auto button = [&](const QString& label, auto signal) {
        auto* made = new QPushButton(label);
        connect(made, &QPushButton::clicked, this, signal);
        buttons->addWidget(made);
        return made;
    };
    button(tr("Open file…"), &WelcomeView::openFileWanted);
    button(tr("Paste a conversation"), &WelcomeView::pasteWanted);
    samples = button(tr("Open the samples"), &WelcomeView::samplesWanted);
    buttons->addStretch();

    auto* column = new QVBoxLayout(this);
    column->addStretch(2);
    column->addWidget(title);
    column->addSpacing(6);
    column->addLayout(textRow);
    column->addSpacing(14);
    column->addLayout(buttons);
    column->addStretch(3);
}

void WelcomeView::withdrawSamples() {
    samples->hide();
}

void WelcomeView::render(const Catalogue& catalogue) {
    const auto& folders = catalogue.agentFolders();
    title->setVisible(catalogue.state().isDiscovering || catalogue.state().catalog->empty());
    if (catalogue.state().isDiscovering) {
        title->setText(tr("Looking for conversations…"));
        text->setText({});
    } else if (catalogue.state().catalog->empty()) {
        QString places;
        for (const auto& root : folders.defaultRoots())
            places += QStringLiteral("\n") + shortPath(root.path, folders.home);
        title->setText(tr("No conversations found"));
        text->setText(
            tr("Orvel looked for conversations of Codex and Claude in these folders:%1\n\nYou can open a "
               "conversation file from elsewhere, paste a conversation, or try Orvel on sample "
               "conversations.")
                .arg(places));
    } else {
        text->setText(
            tr("Pick one in the sidebar, drop a conversation file on this window, or paste a conversation."));
    }
}

} // namespace orvel
