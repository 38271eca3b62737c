#pragma once
// What the pages of the settings are made of: cards of rows, each with a mark of how things stand, words, and
// buttons.

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace orvel {

/// A label that takes its text as it is, and wraps it.
QLabel* plainLabel(const QString& text = {});
/// The same for what matters less.
QLabel* faintLabel(const QString& text = {});
/// The title of what follows on a page.
QLabel* sectionTitle(const QString& text);

/// Sets the text where it differs, so that a selection in it stays.
void showText(QLabel& label, const QString& text);

/// How something stands, as a small picture.
class StateMark : public QWidget {
    Q_OBJECT

  public:
    enum class State {
        done,
        open,
        failed,
        passed, ///< A Return that Orvel let pass.
        command ///< One on the command.
    };

    explicit StateMark(QWidget* parent = nullptr);
    void render(State newState);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    State state = State::open;
};

/// A mark, a line, an explanation beneath it, and buttons.
class SettingsRow : public QWidget {
    Q_OBJECT

  public:
    /// A single button has room beside the words; several stand beneath them.
    enum class Buttons { beside, beneath };

    explicit SettingsRow(Buttons place = Buttons::beside);

    /// `name` is what a screen reader says, where the text alone does not tell what the button is about.
    QPushButton* addButton(const QString& text, const QString& name, std::function<void()> action);

    /// Without a state there is no mark; an empty explanation takes no room.
    void render(std::optional<StateMark::State> state, const QString& title, const QString& explanation = {});

  private:
    StateMark* mark;
    QLabel *title, *explanation;
    QHBoxLayout* buttons;
};

/// A frame around rows, with a line between each two.
class SettingsCard : public QFrame {
    Q_OBJECT

  public:
    explicit SettingsCard(QWidget* parent = nullptr);
    SettingsRow* addRow(SettingsRow::Buttons place = SettingsRow::Buttons::beside);
    void add(QWidget* content);
    /// Shows only so many of its rows.
    void showFirst(std::size_t count);

  private:
    struct Entry {
        QWidget *line, *content; ///< The first has no line.
    };
    QVBoxLayout* column;
    std::vector<Entry> entries;
};

} // namespace orvel
