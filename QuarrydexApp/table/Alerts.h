/// What is told to the user and asked of him, so that tests can answer.
///
/// Threads: the main thread; nothing waits: the answer comes through the function, which is not
/// called once the alerts are gone. Fails: never.
#pragma once

#include <QPointer>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

namespace quarrydex {

class Alerts {
  public:
    struct Question {
        std::string message;
        std::string text;        ///< informative, below the message
        std::string yes;         ///< the first button
        std::string no;          ///< the second one, and what Escape means
        std::string suppression; ///< title of a check box; empty for none
    };

    struct Answer {
        bool isYes = false;
        bool suppresses = false; ///< the check box was on
    };

    virtual ~Alerts() = default;

    virtual void tell(const std::string& message, const std::string& text) = 0;
    virtual void ask(const Question& question, std::function<void(Answer)> answer) = 0;
};

/// Message boxes, modal for the window they belong to.
class MessageBoxes final : public Alerts {
  public:
    explicit MessageBoxes(QWidget& parent) : parent_(&parent) {}

    void tell(const std::string& message, const std::string& text) override;
    void ask(const Question& question, std::function<void(Answer)> answer) override;

  private:
    QPointer<QWidget> parent_;
};

} // namespace quarrydex
