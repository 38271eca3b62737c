#pragma once
// The ports that Qt offers on every desktop: clipboard, panels, applications, settings.

#include "Orvel/desktop/Panels.h"
#include "Orvel/desktop/Settings.h"
#include "Orvel/platform/unavailable/UnavailableApplications.h"
#include "Orvel/platform/unavailable/UnavailablePasteboard.h"

#include <QPointer>
#include <QString>
#include <QWidget>

namespace orvel {

class QtPasteboard : public UnavailablePasteboard {
  public:
    void clearContents() override;
    bool setString(std::string_view text) override;
};

/// Panels and activation concern the application's main window, once it is there.
class QtPanels : public Panels {
  public:
    void setWindow(QWidget* newWindow) { window = newWindow; }
    std::optional<std::string> choose(const OpenPanel& panel) override;

  private:
    QPointer<QWidget> window;
};

class QtApplications : public UnavailableApplications {
  public:
    void setWindow(QWidget* newWindow) { window = newWindow; }
    void activateSelf() override;
    bool revealFile(const std::string& path) override;

  private:
    QPointer<QWidget> window;
};

/// Keeps the settings in a file of the data folder.
class QtSettings : public Settings {
  public:
    explicit QtSettings(const std::string& path);
    std::optional<std::string> string(std::string_view key) const override;
    void setString(std::string_view key, std::string_view value) override;

  private:
    QString path;
};

} // namespace orvel
