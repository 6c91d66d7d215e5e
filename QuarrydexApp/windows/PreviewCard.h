/// What a preview says of a file of which there is nothing to be seen: its sign or cover, name and
/// values.
/// Threads: the main thread. Fails: never; what is not known is left out.
#pragma once

#include <QImage>
#include <QString>
#include <QWidget>

#include <string_view>
#include <vector>

class QFormLayout;
class QLabel;

namespace quarrydex {

class PreviewCard : public QWidget {
    Q_OBJECT

  public:
    struct Fact {
        QString title; ///< in the language in effect
        QString value;
    };

    struct Content {
        std::string_view symbol; ///< of look/Symbols.h; lives as long as the program
        QImage cover;            ///< in place of the symbol, when there is one
        QString name;
        QString message; ///< "No preview", …; empty for none
        std::vector<Fact> facts;
    };

    explicit PreviewCard(QWidget* parent = nullptr);

    void show(const Content& content);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void takeColours();
    void addFact(const Fact& fact);

    Content content_;
    QLabel* sign_;
    QLabel* name_;
    QLabel* message_;
    QFormLayout* facts_;
};

} // namespace quarrydex
