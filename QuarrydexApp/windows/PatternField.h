/// A line for file types ("*.mp3;*.flac") with what there is to say about it below.
/// Threads: the main thread. Failure: what is not understood is told and not passed on.
#pragma once

#include "QuarrydexCore/query/ExtPatterns.h"

#include <QWidget>

#include <functional>
#include <string>

class QLineEdit;

namespace quarrydex {

class HintLabel;

class PatternField : public QWidget {
    Q_OBJECT

  public:
    /// What is said of types that are understood, in the user's language.
    using Verdict = std::function<std::string(const ExtPatterns& patterns)>;

    explicit PatternField(Verdict verdict, QWidget* parent = nullptr);

    [[nodiscard]] QLineEdit* line() const { return line_; }

    /// Shows types unless these are what the line says already.
    void setPatterns(const std::string& patterns);

    /// Says again what there is to say: it depends on the language.
    void judge();

    /// Passes on what was typed and not confirmed.
    void commit();

  Q_SIGNALS:
    /// The user left or confirmed the line with other types than before, as ExtPatterns::format
    /// writes them.
    void entered(const QString& patterns);

  private:
    const Verdict verdict_;
    std::string known_; ///< formatted
    QLineEdit* line_;
    HintLabel* message_;
};

} // namespace quarrydex
