/// Settings page: how the program is called up, looks and behaves.
#pragma once

#include "QuarrydexApp/windows/Background.h"
#include "QuarrydexApp/windows/SettingsPage.h"

class QShowEvent;

namespace quarrydex {

class GeneralPage : public SettingsPage {
    Q_OBJECT

  public:
    explicit GeneralPage(const Context& context);

    [[nodiscard]] std::string title() const override;

    /// What came of registering the hot key; empty when there is nothing to say.
    void setHotKeyProblem(const QString& problem);

  protected:
    void retranslate() override;
    void showEvent(QShowEvent* event) override;

  private:
    void addChoices();
    void addSwitches();
    void addLoginSwitch();
    void setLoginStart(bool on);

    QLabel* hotKeyLabel_;
    QComboBox* hotKey_;
    HintLabel* hotKeyProblem_;
    QLabel* appearanceLabel_;
    QComboBox* appearance_;
    QLabel* languageLabel_;
    QComboBox* language_;
    QLabel* kindLabel_;
    QComboBox* kind_;
    QCheckBox* junk_;
    QCheckBox* trash_;
    QCheckBox* login_ = nullptr; ///< null where it is not offered
    HintLabel* loginProblem_ = nullptr;
    Background background_;
};

} // namespace quarrydex
