#include "QuarrydexApp/windows/StatusLine.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexCore/text/tr.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QToolButton>

#include <cmath>

namespace quarrydex {

namespace {

QLabel* plainLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

StatusLine::StatusLine(const Model& model, QWidget* parent)
    : QWidget(parent), model_(model), indexed_(plainLabel(this)), found_(plainLabel(this)),
      selected_(plainLabel(this)), notice_(new QToolButton(this)) {
    const int unit = fontMetrics().height();
    // Long lists of drives are cut, they do not widen the window.
    indexed_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    notice_->setAutoRaise(true);
    notice_->setIcon(symbolIcon("exclamationmark.triangle"));
    notice_->setVisible(false);
    connect(notice_, &QToolButton::clicked, this, &StatusLine::noticeClicked);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(unit * 3 / 4, unit / 4, unit * 3 / 4, unit / 4);
    layout->setSpacing(unit);
    layout->addWidget(notice_);
    layout->addWidget(indexed_, 1);
    layout->addWidget(selected_);
    layout->addWidget(found_);
}

void StatusLine::refresh(const ResultsTable::Selection& selection) {
    indexed_->setText(indexed());
    indexed_->setToolTip(indexed_->text());
    found_->setText(found());
    QString selected;
    if (selection.rows > 1 || (selection.rows == 1 && selection.bytes > 0)) {
        const std::string count = groupedText(selection.rows);
        selected =
            qt(selection.bytes > 0
                   ? quarrydex::trn(
                         "{number} selected, {size}", "{number} selected, {size}", selection.rows,
                         {{"number", count}, {"size", shortSize(selection.bytes).toStdString()}})
                   : quarrydex::trn("{number} selected", "{number} selected", selection.rows,
                                    {{"number", count}}));
    }
    selected_->setText(selected);

    std::string notices;
    for (const auto& volume : model_.volumes()) {
        const std::string notice = volume->failure.value_or(watchNotice(*volume));
        if (!notice.empty())
            notices += (notices.empty() ? "" : "\n") + notice;
    }
    notice_->setVisible(!notices.empty());
    notice_->setToolTip(qt(notices));
    notice_->setAccessibleName(qt(notices));

    QPalette palette = this->palette();
    palette.setColor(QPalette::WindowText, tints().secondaryText);
    for (QLabel* label : {indexed_, found_, selected_})
        label->setPalette(palette);
}

QString StatusLine::indexed() const {
    std::uint64_t count = 0;
    std::size_t tagsDone = 0;
    std::size_t tagsTotal = 0;
    std::string states;
    for (const auto& volume : model_.volumes()) {
        count += volume->count;
        const std::string suffix = statusSuffix(*volume);
        if (!suffix.empty())
            states += " · " + shown(volume->name).toStdString() + suffix;
        if (volume->audioRunning) {
            tagsDone += volume->audioDone;
            tagsTotal += volume->audioTotal;
        }
    }
    std::string text = groupedText(count) + quarrydex::tr(" entries indexed") + states;
    if (tagsTotal > 0)
        text += " · " +
                quarrydex::tr("reading tags: {done} of {total}",
                              {{"done", groupedText(tagsDone)}, {"total", groupedText(tagsTotal)}});
    return qt(text);
}

QString StatusLine::found() const {
    const ResultSet& results = *model_.results();
    const bool isAsked = !model_.searchState().query.empty() && !model_.queryError();
    if (results.generation == 0 || (results.total == 0 && !isAsked))
        return {};
    std::string text = quarrydex::trn("{number} hit", "{number} hits", results.total,
                                      {{"number", groupedText(results.total)}});
    if (model_.sorting())
        return qt(text + " · " + quarrydex::tr("putting in order …"));
    const double ms = results.searchMs;
    return qt(text + " · ") + QLocale().toString(ms, 'f', ms < 10 ? 1 : 0) + qt(" ms");
}

} // namespace quarrydex
