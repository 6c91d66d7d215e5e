/// Settings page: what is indexed of each drive.
#pragma once

#include "QuarrydexApp/windows/SettingsPage.h"

namespace quarrydex {

class SourceEditor;

class SourcesPage : public SettingsPage {
    Q_OBJECT

  public:
    explicit SourcesPage(const Context& context);

    [[nodiscard]] std::string title() const override;

  protected:
    void retranslate() override;
    void refresh(std::string_view key) override;

  private:
    void store(const QString& identity);

    HintLabel* explanation_;
    SourceEditor* editor_;
    QCheckBox* images_;
};

} // namespace quarrydex
