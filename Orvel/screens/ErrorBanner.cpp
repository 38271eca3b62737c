#include "Orvel/screens/ErrorBanner.h"

#include "Orvel/platform/qt/QtText.h"

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPushButton>

namespace orvel {

ErrorBanner::ErrorBanner(QWidget* parent) : QFrame(parent), text(new QLabel) {
    setObjectName(QStringLiteral("banner"));
    text->setTextFormat(Qt::PlainText);
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* copy = new QPushButton(tr("Copy text"));
    copy->setAccessibleName(tr("Copy the text of the failure"));
    auto* dismiss = new QPushButton(tr("Dismiss"));
    dismiss->setAccessibleName(tr("Dismiss the failure"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 8, 8, 8);
    row->addWidget(text, 1);
    row->addWidget(copy, 0, Qt::AlignTop);
    row->addWidget(dismiss, 0, Qt::AlignTop);
    connect(copy, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(text->text()); });
    connect(dismiss, &QPushButton::clicked, this, &ErrorBanner::dismissed);
    hide();
}

void ErrorBanner::render(const std::optional<std::string>& error) {
    const auto newText = error ? qtText(*error) : QString();
    const bool isNew = error && text->text() != newText;
    text->setText(newText);
    text->setAccessibleName(tr("Failure: %1").arg(newText));
    setVisible(error.has_value());
    if (isNew) {
        QAccessibleEvent alert(text, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

} // namespace orvel
