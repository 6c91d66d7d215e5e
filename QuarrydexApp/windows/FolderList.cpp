#include "QuarrydexApp/windows/FolderList.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/prefs/SourceConfig.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexCore/text/tr.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace quarrydex {

FolderList::FolderList(FolderPicker picker, std::string start, Refusal refusal, QWidget* parent)
    : QWidget(parent), picker_(std::move(picker)), start_(std::move(start)),
      refusal_(std::move(refusal)) {
    build();
    retranslate();
    fill();
}

void FolderList::build() {
    list_ = new QListWidget(this);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setTextElideMode(Qt::ElideMiddle);
    list_->setFixedHeight(fontMetrics().height() * 8);
    list_->installEventFilter(this);
    addButton_ = new QPushButton(this);
    removeButton_ = new QPushButton(this);
    complaint_ = new HintLabel(this, HintLabel::Tone::error);
    complaint_->hide();

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(addButton_);
    buttons->addWidget(removeButton_);
    buttons->addStretch();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(list_);
    column->addLayout(buttons);
    column->addWidget(complaint_);

    connect(addButton_, &QPushButton::clicked, this, &FolderList::askForFolder);
    connect(removeButton_, &QPushButton::clicked, this, &FolderList::removeSelected);
    connect(list_, &QListWidget::itemSelectionChanged, this,
            [this] { removeButton_->setEnabled(!list_->selectedItems().isEmpty()); });
}

void FolderList::retranslate() {
    addButton_->setText(qt(quarrydex::tr("Add folder …")));
    removeButton_->setText(qt(quarrydex::tr("Remove")));
}

void FolderList::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        retranslate();
        complaint_->hide(); // it was said in the other language
    }
}

bool FolderList::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        removeSelected();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void FolderList::setFolders(const std::vector<std::string>& folders) {
    if (folders == folders_)
        return;
    folders_ = folders;
    fill();
}

void FolderList::setAddingEnabled(bool on) {
    addButton_->setEnabled(on);
}

void FolderList::setListName(const QString& name) {
    list_->setAccessibleName(name);
}

void FolderList::fill() {
    list_->clear();
    for (const std::string& folder : folders_) {
        auto* item = new QListWidgetItem(symbolIcon("folder"), shown(folder), list_);
        item->setToolTip(shown(folder));
    }
    removeButton_->setEnabled(false);
}

void FolderList::askForFolder() {
    picker_(this, start_, [this](const std::string& path) { lookUp(path); });
}

/// A folder is kept by its real path: by that it is found again wherever links lead.
void FolderList::lookUp(const std::string& path) {
    if (path.empty()) {
        complaint_->say(qt(quarrydex::tr("The name of this folder is not valid UTF-8. Choose the "
                                         "folder that it lies in.")),
                        HintLabel::Tone::error);
        return;
    }
    background_.run([this, path]() -> Background::Answer {
        std::error_code error;
        std::string real = std::filesystem::canonical(path, error).string();
        if (error || !std::filesystem::is_directory(real, error))
            real.clear();
        return [this, path, real] {
            if (!real.empty())
                add(real);
            else
                complaint_->say(qt(quarrydex::tr("“{folder}” cannot be found.",
                                                 {{"folder", shown(path).toStdString()}})),
                                HintLabel::Tone::error);
        };
    });
}

void FolderList::add(const std::string& path) {
    const auto holder = std::ranges::find_if(folders_, [&](const std::string& folder) {
        return SourceConfig::relative(folder, path).has_value();
    });
    std::optional<std::string> complaint = refusal_(path);
    if (!complaint && holder != folders_.end())
        complaint = quarrydex::tr(
            "“{folder}” is in the list already, as a part of “{outer}”.",
            {{"folder", shown(path).toStdString()}, {"outer", shown(*holder).toStdString()}});
    complaint_->say(qt(complaint.value_or("")), HintLabel::Tone::error);
    if (complaint)
        return;
    std::erase_if(folders_, [&](const std::string& folder) {
        return SourceConfig::relative(path, folder).has_value();
    });
    folders_.push_back(path);
    fill();
    Q_EMIT changed();
}

void FolderList::removeSelected() {
    std::vector<std::string> left;
    for (int row = 0; row < list_->count(); ++row)
        if (!list_->item(row)->isSelected())
            left.push_back(folders_[static_cast<std::size_t>(row)]);
    if (left == folders_)
        return;
    folders_ = std::move(left);
    fill();
    complaint_->hide();
    list_->setFocus();
    Q_EMIT changed();
}

} // namespace quarrydex
