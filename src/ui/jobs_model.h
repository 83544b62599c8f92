#pragma once

#include <QAbstractTableModel>
#include <QElapsedTimer>
#include <QTimer>

#include "presenters/job_list_presenter.h"

namespace lumisk {

struct UiContext;

enum class JobColumn { kName, kSource, kTarget, kStatus, kNext, kLastRun };
inline constexpr int kJobColumns = 6;

// The job list as a Qt model: formatted text under Qt::DisplayRole, raw values under kSortRole. It follows the board by
// itself: what comes in quick succession is shown at most five times a second, and only rows that differ are told.
class JobsModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  static constexpr int kSortRole = Qt::UserRole;
  static constexpr int kUuidRole = Qt::UserRole + 1;

  JobsModel(JobsBoard& board, const Clock& clock, QObject* parent);
  // The one that all windows of the set share.
  static JobsModel& of(UiContext& context);

  [[nodiscard]] const JobListPresenter& list() const { return list_; }
  [[nodiscard]] const JobRow& row(int row) const { return list_.rows()[static_cast<std::size_t>(row)]; }

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 Q_SIGNALS:
  void updated();  // after every look that found something else

 private:
  void note(BoardChange change);
  void lookNow();

  JobListPresenter list_;
  JobsBoard::Observation observation_;
  bool mustReadJobs_ = false;
  QElapsedTimer sinceLook_;
  QTimer soon_;  // the next look
  QTimer slow_;  // ends of runs that nobody tells, and times that pass by
};

}  // namespace lumisk
