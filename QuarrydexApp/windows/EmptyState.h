/// What stands in the place of the results when there are none: a sign, a line, an explanation, and
/// what can be done about it.
///
/// Threads: the main thread. Ownership: as every widget. Fails: never.
#pragma once

#include <QWidget>

#include <functional>
#include <string>
#include <vector>

class QLabel;
class QVBoxLayout;

namespace quarrydex {

class EmptyState : public QWidget {
    Q_OBJECT

  public:
    struct Choice {
        QString text;
        std::function<void()> chosen;

        /// A button with a frame; else a line of text that can be clicked.
        bool isMain = false;
    };

    struct Content {
        std::string symbol;
        QString title;
        QString text{};
        QString choicesTitle{}; ///< above the choices
        std::vector<Choice> choices{};
    };

    explicit EmptyState(QWidget* parent = nullptr);

    void show(Content content);

    /// What is being said, for whoever cannot see it.
    [[nodiscard]] QString spoken() const;

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void paintSymbol();
    void removeChoices();
    void addChoice(const Choice& choice);

    Content content_;
    QLabel* symbol_;
    QLabel* title_;
    QLabel* text_;
    QLabel* choicesTitle_;
    QVBoxLayout* choices_;
};

} // namespace quarrydex
