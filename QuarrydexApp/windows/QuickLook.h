/// A closer look at the selected files: a picture, the first page of a document, the beginning of a
/// text, or what is known about the file.
///
/// Space and Escape close it; arrow keys go to the file before or after, with a single file to the
/// one that whoever opened the window shows then. A file that is quickly
/// read is shown at once; only after a moment the window says that it is loading.
///
/// Threads: the main thread. Ownership: refers to the source and the settings, which outlive it;
/// takes back what it asked for when it is closed. Failure: a file that cannot be read shows what
/// the catalogue knows.
#pragma once

#include "QuarrydexApp/metadata/FileMetaSource.h"
#include "QuarrydexApp/windows/PreviewCard.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <QTimer>
#include <QWidget>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class QKeyEvent;
class QLabel;
class QPlainTextEdit;
class QStackedWidget;

namespace quarrydex {

class PreviewPicture;
class SettingsStore;

class QuickLook : public QWidget {
    Q_OBJECT

  public:
    /// Width and height in device-independent pixels: [720, 560].
    static constexpr std::string_view sizeKey = "quickLookSize";

    struct File {
        std::string path; ///< raw bytes, as is the name
        std::string name;
        bool isFolder = false;
        std::optional<AudioMeta> audio{};
        std::uint64_t size{}; ///< bytes
        std::int64_t mtime{}; ///< seconds since 1970-01-01 UTC; 0: not known
    };

    QuickLook(FileMetaSource& source, SettingsStore& settings, QWidget* parent = nullptr);
    ~QuickLook() override;

    /// Opens the window, or goes on in the open one, with the file at `current`. Without files it
    /// closes.
    void show(std::vector<File> files, std::size_t current);

  Q_SIGNALS:
    /// Another of the files is shown now.
    void currentChanged(std::size_t index);

    /// The file before (-1) or after (+1) the only one is asked for.
    void stepped(int by);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void layOut();
    bool takesKey(const QKeyEvent& event);
    void step(int by);

    void begin();
    void ask();
    void withdraw();
    void present();
    void presentCard(const QString& message);
    void sharpen();
    void rememberSize();

    [[nodiscard]] const File& file() const { return files_[current_]; }

    [[nodiscard]] bool hasSound() const;
    [[nodiscard]] QSize pictureLimit() const;
    [[nodiscard]] QString summary() const;
    [[nodiscard]] std::vector<PreviewCard::Fact> facts() const;

    FileMetaSource& source_;
    SettingsStore& settings_;
    std::vector<File> files_;
    std::size_t current_ = 0;
    FileMetaSource::Ticket ticket_ = 0; ///< 0: nothing is asked for
    FilePreview found_;
    bool isAnswered_ = false; ///< found_ is of the current file
    QTimer patience_;         ///< until the window says that it is loading
    QTimer settled_;          ///< after the last of several changes of size
    QLabel* name_;
    QLabel* position_;
    QStackedWidget* views_;
    QWidget* nothing_;
    PreviewPicture* picture_;
    QPlainTextEdit* text_;
    PreviewCard* card_;
    QLabel* summary_;
};

} // namespace quarrydex
