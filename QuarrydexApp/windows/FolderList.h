/// A list of folders with the buttons to add and remove them.
///
/// No folder stands in it together with one that it lies in. Paths are absolute raw bytes.
/// Threads: the main thread; what is chosen is looked up in the background. Failure: told in a line
/// below the list.
#pragma once

#include "QuarrydexApp/windows/Background.h"
#include "QuarrydexApp/windows/FolderPicker.h"

#include <QWidget>

#include <functional>
#include <optional>
#include <string>
#include <vector>

class QListWidget;
class QPushButton;

namespace quarrydex {

class HintLabel;

class FolderList : public QWidget {
    Q_OBJECT

  public:
    /// Why a folder, by its real path, cannot be taken, in the user's language; nothing if it can.
    using Refusal = std::function<std::optional<std::string>(const std::string& path)>;

    FolderList(FolderPicker picker, std::string start, Refusal refusal, QWidget* parent = nullptr);

    void setFolders(const std::vector<std::string>& folders);

    [[nodiscard]] const std::vector<std::string>& folders() const { return folders_; }

    /// Adding needs the drive to be there.
    void setAddingEnabled(bool on);

    /// Names the list for screen readers.
    void setListName(const QString& name);

  Q_SIGNALS:
    /// By the user.
    void changed();

  protected:
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void build();
    void retranslate();
    void fill();
    void askForFolder();
    void lookUp(const std::string& path);
    void add(const std::string& path);
    void removeSelected();

    const FolderPicker picker_;
    const std::string start_; ///< where the dialog begins
    const Refusal refusal_;
    std::vector<std::string> folders_;
    QListWidget* list_;
    QPushButton* addButton_;
    QPushButton* removeButton_;
    HintLabel* complaint_;
    Background background_;
};

} // namespace quarrydex
