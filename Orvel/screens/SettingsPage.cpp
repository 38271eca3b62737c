#include "Orvel/screens/SettingsPage.h"

#include "Orvel/screens/SettingsParts.h"

namespace orvel {

SettingsPage::SettingsPage(const QString& title) : name(title) {
    setObjectName(QStringLiteral("page"));
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus); // What stands on it takes the focus, and scrolls into view.
    viewport()->setAutoFillBackground(false);
    auto* page = new QWidget;
    page->setAutoFillBackground(false);
    contents = new QVBoxLayout(page);
    contents->setContentsMargins(20, 14, 20, 20);
    contents->setSpacing(8);
    auto* heading = plainLabel(title);
    auto font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.25);
    font.setWeight(QFont::DemiBold);
    heading->setFont(font);
    contents->addWidget(heading);
    setWidget(page);
}

} // namespace orvel
