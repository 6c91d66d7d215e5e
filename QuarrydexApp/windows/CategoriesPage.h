/// Settings page: the chips above the results.
#pragma once

#include "QuarrydexApp/windows/SettingsPage.h"

#include <functional>

class QLineEdit;
class QListWidget;
class QPushButton;

namespace quarrydex {

class PatternField;

class CategoriesPage : public SettingsPage {
    Q_OBJECT

  public:
    explicit CategoriesPage(const Context& context);

    [[nodiscard]] std::string title() const override;

  protected:
    void retranslate() override;
    void refresh(std::string_view key) override;

  private:
    void addList();
    void addFields();
    void fill();
    void showCurrent();
    [[nodiscard]] std::string currentId() const;
    void select(const std::string& id);
    void edit(const std::function<void(Category&)>& change);
    void add(Category category);
    void addNew();
    void removeCurrent();
    void move(int by);
    void askForReset();

    HintLabel* explanation_;
    QListWidget* list_;
    QPushButton* add_;
    QPushButton* addFolders_;
    QPushButton* remove_;
    QPushButton* up_;
    QPushButton* down_;
    QPushButton* reset_;
    QLabel* nameLabel_;
    QLineEdit* name_;
    QLabel* symbolLabel_;
    QComboBox* symbol_;
    QLabel* patternsLabel_;
    PatternField* patterns_;
};

} // namespace quarrydex
