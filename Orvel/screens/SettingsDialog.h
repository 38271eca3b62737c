#pragma once
// What the person chooses once and for all.

#include <QDialog>

namespace orvel {

class OrvelModel;
class Settings;

class SettingsDialog : public QDialog {
    Q_OBJECT

  public:
    /// The model and the settings outlive the dialog. A choice counts, and is kept, as soon as it is made.
    SettingsDialog(OrvelModel& model, Settings& settings, QWidget* parent);

    /// Makes the model follow what was chosen in an earlier run.
    static void restore(OrvelModel& model, const Settings& settings);
};

} // namespace orvel
