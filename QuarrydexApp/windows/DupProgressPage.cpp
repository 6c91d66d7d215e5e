#include "QuarrydexApp/windows/DupProgressPage.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/PageParts.h"
#include "QuarrydexCore/text/tr.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace quarrydex {

namespace {

/// The bar counts in these: stages may have more items than it can take.
constexpr int barSteps = 1000;

QString countsText(const DupModel::Progress& progress) {
    if (progress.total == 0)
        return {};
    const std::string items = tr("{done} of {total}", {{"done", groupedText(progress.done)},
                                                       {"total", groupedText(progress.total)}});
    if (progress.groups == 0)
        return qt(items);
    return qt(items + " · " +
              trn("{count} group so far", "{count} groups so far", progress.groups));
}

} // namespace

DupProgressPage::DupProgressPage(QWidget* parent)
    : QWidget(parent), stage_(newCentredLabel(this)), bar_(new QProgressBar(this)),
      counts_(newCentredLabel(this)) {
    const int unit = fontMetrics().height();
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.2);
    stage_->setFont(large);
    stage_->setObjectName(QStringLiteral("stage"));
    bar_->setTextVisible(false);
    bar_->setFixedWidth(unit * 24);
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(unit * 2 / 3);
    layout->addStretch(2);
    layout->addWidget(stage_);
    layout->addWidget(bar_, 0, Qt::AlignHCenter);
    layout->addWidget(counts_);
    layout->addStretch(3);
}

void DupProgressPage::show(const DupModel& dupes) {
    const DupModel::Progress& progress = dupes.progress();
    stage_->setText(dupes.isCancelling() ? qt(quarrydex::tr("Cancelling …")) : qt(progress.title));
    bar_->setAccessibleName(stage_->text());
    const bool isKnown = progress.total > 0;
    bar_->setRange(0, isKnown ? barSteps : 0);
    if (isKnown)
        bar_->setValue(static_cast<int>(static_cast<double>(progress.done) * barSteps /
                                        static_cast<double>(progress.total)));
    counts_->setText(countsText(progress));
}

} // namespace quarrydex
