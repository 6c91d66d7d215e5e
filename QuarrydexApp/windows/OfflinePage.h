/// Settings page: the catalogues of drives that are not connected.
#pragma once

#include "QuarrydexApp/windows/Background.h"
#include "QuarrydexApp/windows/SettingsPage.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace quarrydex {

struct VolumeState;

class OfflinePage : public SettingsPage {
    Q_OBJECT

  public:
    explicit OfflinePage(const Context& context);

    [[nodiscard]] std::string title() const override;

  protected:
    void retranslate() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    using VolumePtr = std::shared_ptr<VolumeState>;

    void fill();
    void describe(QTreeWidgetItem& row, const VolumeState& volume);
    void measure(const VolumeState& volume);
    [[nodiscard]] VolumePtr current() const;
    void askToForget();

    QCheckBox* keep_;
    QTreeWidget* list_;
    HintLabel* none_;
    QPushButton* forget_;
    HintLabel* explanation_;
    std::vector<std::weak_ptr<VolumeState>> rows_;
    std::map<std::string, std::uint64_t> bytes_; ///< of catalogue files, by path
    Background background_;
};

} // namespace quarrydex
