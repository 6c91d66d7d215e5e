/// One page of the settings window. What is changed on it applies at once; what is changed
/// elsewhere shows at once.
///
/// Threads: the main thread. Ownership: refers to model, settings and seams, which outlive it.
/// Fails: never.
#pragma once

#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/WindowSeams.h"

#include <QWidget>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QVBoxLayout;

namespace quarrydex {

class HintLabel;
class Model;

class SettingsPage : public QWidget {
    Q_OBJECT

  public:
    struct Context {
        Model& model;
        Prefs& prefs;
        const WindowSeams& seams;
    };

    SettingsPage(const Context& context, std::string_view symbol);

    [[nodiscard]] virtual std::string title() const = 0;

    [[nodiscard]] std::string_view symbol() const { return symbol_; }

    /// Shows the settings and texts as they are. Once the page is made, before it is shown.
    void prepare();

    /// Shows what is set under the key.
    void settingChanged(std::string_view key);

  protected:
    using Get = bool (Prefs::*)() const;
    using Set = void (Prefs::*)(bool);

    /// Sets every text of the page, in the language in effect.
    virtual void retranslate() = 0;

    /// Shows what is set under the key, other than switches and choices. Empty: everything.
    virtual void refresh(std::string_view /*key*/) {}

    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    [[nodiscard]] Model& model() const { return context_.model; }

    [[nodiscard]] Prefs& prefs() const { return context_.prefs; }

    [[nodiscard]] const WindowSeams& seams() const { return context_.seams; }

    [[nodiscard]] QVBoxLayout* column() const { return column_; }

    /// Height of a line: the measure of all distances.
    [[nodiscard]] int gap() const { return fontMetrics().height(); }

    /// A check box for a setting, at the end of the column. `after` follows each change by it.
    QCheckBox*
    addSwitch(std::string_view key, Get get, Set set, std::function<void()> after = nullptr);

    /// A box whose items carry values of a setting, for a form. `set` gets the value chosen.
    QComboBox* newChoice(std::string_view key,
                         std::function<QString()> get,
                         std::function<void(const QString&)> set);

    HintLabel* addHint();

  private:
    struct Shown {
        std::string_view key;
        std::function<void()> show;
    };

    const Context context_;
    const std::string_view symbol_;
    QVBoxLayout* column_;
    QLabel* heading_;
    std::vector<Shown> shown_; ///< switches and choices
};

} // namespace quarrydex
