#pragma once
// The settings: pages beside a list of their titles. It shows how things stand as long as it is open.

#include "Orvel/runtime/Observable.h"

#include <vector>

#include <QDialog>
#include <QListWidget>
#include <QStackedWidget>

namespace orvel {

class OrvelApp;
class SettingsPage;
class WindowPreferences;

class SettingsWindow : public QDialog {
    Q_OBJECT

  public:
    /// The application and the preferences outlive the window.
    SettingsWindow(OrvelApp& app, WindowPreferences& preferences);

    /// Brings the window to the front, at the page that was shown last.
    void open() override;
    /// The same at the first page, which is the setup where there is one.
    void openSetup();

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void add(SettingsPage* page);
    void renderSoon();
    void render();

    OrvelApp& app;
    QWidget* sidebar;
    QListWidget* titles;
    QStackedWidget* stack;
    std::vector<SettingsPage*> pages;
    bool renderIsDue = false;
    ChangeSignal::Subscription subscription;
};

} // namespace orvel
