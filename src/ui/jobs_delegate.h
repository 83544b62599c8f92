#pragma once

#include <QStyledItemDelegate>
#include <cstdint>

namespace lumisk {

enum class JobType : std::int32_t;

// The name of a job type's icon.
[[nodiscard]] const char* jobTypeIcon(JobType type);

// Paints the lines of the job list: the name over the job's type, paths that are cut short in their middle, and the
// progress of runs in the status column.
class JobsDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  [[nodiscard]] static int rowHeight();
};

}  // namespace lumisk
