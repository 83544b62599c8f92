#include "ui/jobs_model.h"

#include "ui/text.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenLooks = 200ms;
constexpr auto kWhileRunning = 1s;
constexpr auto kWhileIdle = 20s;

QString textOf(const JobRow& row, JobColumn column) {
  switch (column) {
    case JobColumn::kName:
      return shownText(row.name);
    case JobColumn::kSource:
      return shownText(row.sourceText);
    case JobColumn::kTarget:
      return shownText(row.targetText);
    case JobColumn::kStatus:
      return shownText(row.detailText.empty() ? row.statusText : row.statusText + "\n" + row.detailText);
    case JobColumn::kNext:
      return shownText(row.nextText);
    case JobColumn::kLastRun:
      return shownText(row.lastRanText);
  }
  return {};
}

QString hintOf(const JobRow& row, JobColumn column) {
  switch (column) {
    case JobColumn::kName:
      return shownText(row.name + "\n" + row.typeText);
    case JobColumn::kSource:
      return shownText(row.allSources);
    case JobColumn::kTarget:
      return shownText(row.allTargets);
    case JobColumn::kStatus:
      return row.note.empty() ? textOf(row, column) : textOf(row, column) + QLatin1Char('\n') + shownText(row.note);
    case JobColumn::kNext:
    case JobColumn::kLastRun:
      break;
  }
  return textOf(row, column);
}

qint64 secondsOf(const std::optional<WallTime>& time) {
  return time ? std::chrono::duration_cast<std::chrono::seconds>(time->time_since_epoch()).count() : 0;
}

// What runs comes after all that has run, and stays there while it does.
qint64 statusOrder(const JobRow& row) {
  constexpr qint64 kRunning = Q_INT64_C(1) << 60;
  return row.isRunning() ? kRunning : secondsOf(row.lastRan);
}

QVariant orderOf(const JobRow& row, JobColumn column) {
  switch (column) {
    case JobColumn::kStatus:
      return statusOrder(row);
    case JobColumn::kNext:
      return QVariant::fromValue<qint64>(row.nextOrder);
    case JobColumn::kLastRun:
      return secondsOf(row.lastRan);
    case JobColumn::kName:
    case JobColumn::kSource:
    case JobColumn::kTarget:
      break;
  }
  return textOf(row, column);
}

QString headingOf(JobColumn column) {
  switch (column) {
    case JobColumn::kName:
      return tr_("Name");
    case JobColumn::kSource:
      return tr_("Source");
    case JobColumn::kTarget:
      return tr_("Target");
    case JobColumn::kStatus:
      return tr_("Status");
    case JobColumn::kNext:
      return tr_("Next run");
    case JobColumn::kLastRun:
      return tr_("Last run");
  }
  return {};
}

QString spokenText(const JobRow& row, JobColumn column) {
  if (column == JobColumn::kName) return shownText(row.name + ", " + row.typeText);
  return hintOf(row, column).replace(QLatin1Char('\n'), QStringLiteral(", "));
}

}  // namespace

JobsModel::JobsModel(JobsBoard& board, const Clock& clock, QObject* parent)
    : QAbstractTableModel(parent), list_(board, clock) {
  (void)list_.readJobs();
  sinceLook_.start();
  soon_.setSingleShot(true);
  connect(&soon_, &QTimer::timeout, this, &JobsModel::lookNow);
  connect(&slow_, &QTimer::timeout, this,
          [this] { note(list_.runningCount() > 0 ? BoardChange::kProgress : BoardChange::kJobs); });
  slow_.start(kWhileRunning);
  observation_ = board.observe([this](BoardChange change) { note(change); });
}

JobsModel& JobsModel::of(UiContext& context) {
  if (auto* const model = context.windows.findChild<JobsModel*>()) return *model;
  return *new JobsModel(context.board, context.clock, &context.windows);
}

void JobsModel::note(BoardChange change) {
  if (change == BoardChange::kPreferences) return;
  mustReadJobs_ = mustReadJobs_ || change == BoardChange::kJobs;
  if (soon_.isActive()) return;
  const auto left = kBetweenLooks - std::chrono::milliseconds(sinceLook_.elapsed());
  soon_.start(std::max(left, std::chrono::milliseconds(0)));
}

void JobsModel::lookNow() {
  const bool reads = std::exchange(mustReadJobs_, false);
  sinceLook_.restart();
  const auto changes = reads ? list_.readJobs() : list_.readProgress();
  slow_.setInterval(list_.runningCount() > 0 ? kWhileRunning : kWhileIdle);
  if (changes.isReset) {
    beginResetModel();
    endResetModel();
  }
  for (const std::size_t changed : changes.changed) {
    const int row = static_cast<int>(changed);
    Q_EMIT dataChanged(index(row, 0), index(row, kJobColumns - 1));
  }
  if (!changes.isEmpty()) Q_EMIT updated();
}

int JobsModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(list_.rows().size());
}

int JobsModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kJobColumns;
}

QVariant JobsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const JobRow& job = row(index.row());
  const auto column = static_cast<JobColumn>(index.column());
  switch (role) {
    case Qt::DisplayRole:
      return textOf(job, column);
    case Qt::ToolTipRole:
      return hintOf(job, column);
    case Qt::AccessibleTextRole:
      return spokenText(job, column);
    case kSortRole:
      return orderOf(job, column);
    case kUuidRole:
      return QByteArray::fromStdString(job.uuid);
    default:
      return {};
  }
}

QVariant JobsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  return headingOf(static_cast<JobColumn>(section));
}

}  // namespace lumisk
