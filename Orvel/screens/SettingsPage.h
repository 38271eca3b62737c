#pragma once
// A page of the settings: a column that scrolls where there is not enough room.

#include <QScrollArea>
#include <QVBoxLayout>

namespace orvel {

class SettingsPage : public QScrollArea {
    Q_OBJECT

  public:
    /// `title` stands over the page, and beside it in the list of pages.
    explicit SettingsPage(const QString& title);

    /// Shows how things stand now.
    virtual void render() = 0;

    const QString& title() const { return name; }

  protected:
    QVBoxLayout& column() { return *contents; }

  private:
    QString name;
    QVBoxLayout* contents;
};

} // namespace orvel
