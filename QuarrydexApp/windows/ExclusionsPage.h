/// Settings page: folders that are never indexed.
#pragma once

#include "QuarrydexApp/windows/SettingsPage.h"

namespace quarrydex {

class FolderList;

class ExclusionsPage : public SettingsPage {
    Q_OBJECT

  public:
    explicit ExclusionsPage(const Context& context);

    [[nodiscard]] std::string title() const override;

  protected:
    void retranslate() override;
    void refresh(std::string_view key) override;

  private:
    HintLabel* explanation_;
    FolderList* folders_;
};

} // namespace quarrydex
