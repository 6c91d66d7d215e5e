#include "QuarrydexApp/windows/CategoriesPage.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PatternField.h"
#include "QuarrydexCore/text/tr.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

constexpr const char* symbolNames[] = {"music.note", "film",       "photo",   "doc.text",
                                       "archivebox", "folder",     "doc",     "tag",
                                       "globe",      "doc.on.doc", "keyboard"};

/// An id that no category has.
std::string freeId(const std::vector<Category>& categories) {
    for (std::size_t number = 1;; ++number) {
        std::string id = "own-" + std::to_string(number);
        if (std::ranges::find(categories, id, &Category::id) == categories.end())
            return id;
    }
}

std::string verdictOn(const ExtPatterns& patterns) {
    return patterns.exts.empty() ? tr("Name at least one file type, e.g. *.mp3;*.flac;*.wav")
                                 : std::string();
}

} // namespace

CategoriesPage::CategoriesPage(const Context& context) : SettingsPage(context, "square.grid") {
    explanation_ = addHint();
    addList();
    addFields();
    column()->addStretch();
}

std::string CategoriesPage::title() const {
    return quarrydex::tr("Categories");
}

void CategoriesPage::addList() {
    list_ = new QListWidget(this);
    list_->setFixedHeight(gap() * 12);
    auto* buttons = new QVBoxLayout;
    const auto addButton = [&](auto slot) {
        auto* button = new QPushButton(this);
        connect(button, &QPushButton::clicked, this, slot);
        buttons->addWidget(button);
        return button;
    };
    add_ = addButton([this] { addNew(); });
    addFolders_ = addButton([this] {
        add({.id = std::string(Category::foldersId),
             .name = {},
             .symbol = "folder",
             .patterns = {}});
    });
    remove_ = addButton([this] { removeCurrent(); });
    up_ = addButton([this] { move(-1); });
    down_ = addButton([this] { move(1); });
    reset_ = addButton([this] { askForReset(); });
    buttons->addStretch();
    auto* row = new QHBoxLayout;
    row->addWidget(list_, 1);
    row->addLayout(buttons);
    column()->addLayout(row);
    connect(list_, &QListWidget::currentRowChanged, this, &CategoriesPage::showCurrent);
}

void CategoriesPage::addFields() {
    auto* form = new QFormLayout;
    form->setHorizontalSpacing(gap());
    form->setVerticalSpacing(gap() * 2 / 3);
    name_ = new QLineEdit(this);
    symbol_ = new QComboBox(this);
    for (const char* name : symbolNames)
        symbol_->addItem(symbolIcon(name), {}, QString::fromLatin1(name));
    symbol_->setFocusPolicy(Qt::StrongFocus);
    symbol_->installEventFilter(this);
    patterns_ = new PatternField(verdictOn, this);
    const auto addRow = [&](QWidget* buddy, QWidget* field) {
        auto* label = new QLabel(this);
        label->setBuddy(buddy);
        form->addRow(label, field);
        return label;
    };
    nameLabel_ = addRow(name_, name_);
    symbolLabel_ = addRow(symbol_, symbol_);
    patternsLabel_ = addRow(patterns_->line(), patterns_);
    column()->addLayout(form);

    connect(name_, &QLineEdit::editingFinished, this, [this] {
        const std::string typed = name_->text().trimmed().toStdString();
        edit([&](Category& category) {
            const std::string own = std::exchange(category.name, {});
            if (typed != category.displayName()) // a built-in name is not stored
                category.name = typed.empty() ? own : typed;
        });
    });
    connect(symbol_, &QComboBox::activated, this, [this](int index) {
        const std::string chosen = symbol_->itemData(index).toString().toStdString();
        edit([&](Category& category) { category.symbol = chosen; });
    });
    connect(patterns_, &PatternField::entered, this, [this](const QString& entered) {
        if (!entered.isEmpty())
            edit([&](Category& category) { category.patterns = entered.toStdString(); });
    });
}

// --- Showing ------------------------------------------------------------------------------------

void CategoriesPage::refresh(std::string_view key) {
    if (key.empty() || key == Prefs::Key::categories)
        fill();
}

void CategoriesPage::fill() {
    const std::string id = currentId();
    const int row = list_->currentRow();
    const std::vector<Category> categories = prefs().categories();
    {
        const QSignalBlocker quiet(list_);
        list_->clear();
        for (const Category& category : categories) {
            auto* item = new QListWidgetItem(symbolIcon(category.symbol),
                                             shown(category.displayName()), list_);
            item->setData(Qt::UserRole, qt(category.id));
        }
        list_->setCurrentRow(std::clamp(row, 0, std::max(0, list_->count() - 1)));
    }
    addFolders_->setEnabled(std::ranges::find(categories, Category::foldersId, &Category::id) ==
                            categories.end());
    select(id);
    showCurrent();
}

std::string CategoriesPage::currentId() const {
    const QListWidgetItem* item = list_->currentItem();
    return item == nullptr ? "" : item->data(Qt::UserRole).toString().toStdString();
}

void CategoriesPage::select(const std::string& id) {
    for (int row = 0; row < list_->count(); ++row)
        if (list_->item(row)->data(Qt::UserRole) == qt(id))
            list_->setCurrentRow(row);
}

void CategoriesPage::showCurrent() {
    const std::vector<Category> categories = prefs().categories();
    const auto current = std::ranges::find(categories, currentId(), &Category::id);
    const bool isThere = current != categories.end();
    const bool hasTypes = isThere && current->id != Category::foldersId;
    for (QWidget* widget : {static_cast<QWidget*>(name_), static_cast<QWidget*>(symbol_),
                            static_cast<QWidget*>(remove_)})
        widget->setEnabled(isThere);
    patterns_->setVisible(hasTypes);
    patternsLabel_->setVisible(hasTypes);
    up_->setEnabled(isThere && current != categories.begin());
    down_->setEnabled(isThere && current + 1 != categories.end());
    if (!isThere) {
        name_->clear();
        return;
    }
    if (const QString name = qt(current->displayName()); name_->text() != name)
        name_->setText(name);
    symbol_->setCurrentIndex(symbol_->findData(qt(current->symbol)));
    patterns_->setPatterns(current->patterns);
}

void CategoriesPage::retranslate() {
    explanation_->setText(qt(quarrydex::tr("The buttons above the results, in this order. Each "
                                           "shows the files of its types alone.")));
    list_->setAccessibleName(qt(title()));
    add_->setText(qt(quarrydex::tr("&New category")));
    addFolders_->setText(qt(quarrydex::tr("Add “{name}”", {{"name", quarrydex::tr("Folders")}})));
    remove_->setText(qt(quarrydex::tr("Remove")));
    up_->setText(qt(quarrydex::tr("Move &up")));
    down_->setText(qt(quarrydex::tr("Move &down")));
    reset_->setText(qt(quarrydex::tr("Restore defaults …")));
    nameLabel_->setText(qt(quarrydex::tr("N&ame")));
    symbolLabel_->setText(qt(quarrydex::tr("&Symbol")));
    patternsLabel_->setText(qt(quarrydex::tr("File t&ypes")));
    patterns_->judge();
}

// --- Changing -----------------------------------------------------------------------------------

void CategoriesPage::edit(const std::function<void(Category&)>& change) {
    const std::vector<Category> before = prefs().categories();
    std::vector<Category> categories = before;
    const auto current = std::ranges::find(categories, currentId(), &Category::id);
    if (current == categories.end())
        return;
    change(*current);
    if (categories != before)
        prefs().setCategories(categories);
}

void CategoriesPage::add(Category category) {
    std::vector<Category> categories = prefs().categories();
    const std::string id = category.id;
    categories.push_back(std::move(category));
    prefs().setCategories(categories);
    select(id);
}

void CategoriesPage::addNew() {
    add({.id = freeId(prefs().categories()),
         .name = quarrydex::tr("New category"),
         .symbol = "tag",
         .patterns = {}});
    name_->setFocus();
    name_->selectAll();
}

void CategoriesPage::removeCurrent() {
    std::vector<Category> categories = prefs().categories();
    std::erase_if(categories, [&](const Category& one) { return one.id == currentId(); });
    prefs().setCategories(categories);
}

void CategoriesPage::move(int by) {
    std::vector<Category> categories = prefs().categories();
    const auto current = std::ranges::find(categories, currentId(), &Category::id);
    const auto place = current - categories.begin();
    if (current == categories.end() || place + by < 0 ||
        place + by >= static_cast<std::ptrdiff_t>(categories.size()))
        return;
    std::swap(*current, *(current + by));
    prefs().setCategories(categories);
}

void CategoriesPage::askForReset() {
    auto* question = new QMessageBox(
        QMessageBox::Question, title().c_str(),
        qt(quarrydex::tr("Restore the default categories? Your own ones are removed.")),
        QMessageBox::NoButton, this);
    question->setAttribute(Qt::WA_DeleteOnClose);
    const auto* restore =
        question->addButton(qt(quarrydex::tr("Restore")), QMessageBox::AcceptRole);
    question->setDefaultButton(
        question->addButton(qt(quarrydex::tr("Cancel")), QMessageBox::RejectRole));
    connect(question, &QMessageBox::buttonClicked, this,
            [this, restore](const QAbstractButton* button) {
                if (button == restore)
                    prefs().resetCategories();
            });
    question->open();
}

} // namespace quarrydex
