/// Settings page: the type filter.
#pragma once

#include "QuarrydexApp/windows/SettingsPage.h"

class QHideEvent;

namespace quarrydex {

class PatternField;

class FileTypesPage : public SettingsPage {
    Q_OBJECT

  public:
    explicit FileTypesPage(const Context& context);

    [[nodiscard]] std::string title() const override;

  protected:
    void retranslate() override;
    void refresh(std::string_view key) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void store(const std::string& patterns);

    QLabel* label_;
    HintLabel* hint_;
    PatternField* field_;
};

} // namespace quarrydex
