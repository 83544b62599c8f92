#include "ui/jobs_delegate.h"

#include <QAbstractProxyModel>
#include <QFontMetrics>
#include <QPainter>

#include "ui/jobs_model.h"
#include "ui/text.h"
#include "ui/theme.h"

namespace lumisk {
namespace {

constexpr int kBarHeight = 6;
constexpr double kPaleOpacity = 0.55;  // of disabled jobs

// One cell while it is painted: its room, and where the two lines of text stand.
class Cell {
 public:
  Cell(QPainter& painter, const QRect& rect)
      : painter_(painter), room_(rect.adjusted(theme::kMedium, 0, -theme::kMedium, 0)) {}

  [[nodiscard]] QRect line(int number, int lines) const {
    const int height = QFontMetrics(theme::font(theme::TextStyle::kBody)).height();
    const int block = lines * height + (lines - 1) * theme::kTiny;
    const int top = room_.top() + (room_.height() - block) / 2 + number * (height + theme::kTiny);
    return {room_.left(), top, room_.width(), height};
  }
  [[nodiscard]] QRect room() const { return room_; }
  void indent(int width) { room_.setLeft(room_.left() + width); }

  void text(const QRect& rect, const QString& text, theme::TextStyle style, const QColor& colour,
            Qt::TextElideMode elide = Qt::ElideRight) {
    const QFont font = theme::font(style);
    painter_.setFont(font);
    painter_.setPen(colour);
    painter_.drawText(rect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                      QFontMetrics(font).elidedText(text, elide, rect.width()));
  }
  void icon(const QRect& rect, const char* name, theme::Tint tint) {
    painter_.drawPixmap(rect.topLeft(),
                        theme::pixmap(name, rect.width(), tint, painter_.device()->devicePixelRatioF()));
  }
  void bar(const QRect& rect, int permille, const QColor& colour) {
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(theme::colours().track);
    painter_.drawRoundedRect(rect, kBarHeight / 2.0, kBarHeight / 2.0);
    QRectF done = rect;
    done.setWidth(std::max<double>(kBarHeight, rect.width() * permille / 1000.0));
    painter_.setBrush(colour);
    painter_.drawRoundedRect(done, kBarHeight / 2.0, kBarHeight / 2.0);
  }

 private:
  QPainter& painter_;
  QRect room_;
};

struct StateLook {
  const char* icon;  // null: none
  theme::Tint tint;
};

StateLook lookOf(const JobRow& row) {
  switch (row.state) {
    case RowState::kError:
    case RowState::kRunningWithError:
      return {"error", theme::Tint::kError};
    case RowState::kCancelled:
      return {"minus", theme::Tint::kQuiet};
    case RowState::kCompleted:
      return row.note.empty() ? StateLook{"check", theme::Tint::kGood} : StateLook{"warning", theme::Tint::kWarning};
    case RowState::kNeverRan:
      return row.note.empty() ? StateLook{"clock", theme::Tint::kQuiet} : StateLook{"warning", theme::Tint::kWarning};
    case RowState::kRunning:
      break;
  }
  return {nullptr, theme::Tint::kAccent};
}

void paintName(Cell& cell, const JobRow& row) {
  const int middle = cell.room().top() + (cell.room().height() - theme::kIconSize) / 2;
  cell.icon({cell.room().left(), middle, theme::kIconSize, theme::kIconSize}, jobTypeIcon(row.type),
            row.isActive ? theme::Tint::kAccent : theme::Tint::kQuiet);
  cell.indent(theme::kIconSize + theme::kMedium);
  cell.text(cell.line(0, 2), shownText(row.name), theme::TextStyle::kStrong, theme::colours().text);
  cell.text(cell.line(1, 2), shownText(row.typeText), theme::TextStyle::kCaption, theme::colours().quietText);
}

void paintPaths(Cell& cell, const std::string& paths) {
  const auto lines = shownText(paths).split(QLatin1Char('\n'));
  const int count = static_cast<int>(lines.size());
  for (int i = 0; i < count; ++i) {
    cell.text(cell.line(i, count), lines[i], theme::TextStyle::kBody, theme::colours().text, Qt::ElideMiddle);
  }
}

void paintRun(Cell& cell, const JobRow& row) {
  const bool hasError = row.state == RowState::kRunningWithError;
  const QColor going = row.isPaused ? theme::colours().quietText : theme::colours().accent;
  const QColor colour = hasError ? theme::colours().error : going;
  const QRect first = cell.line(0, 2);
  const QFontMetrics metrics(theme::font(theme::TextStyle::kStrong));
  const int word = std::max(metrics.horizontalAdvance(QStringLiteral("100%")),
                            metrics.horizontalAdvance(shownText(row.statusText))) +
                   theme::kTiny;
  const QRect bar(first.left() + word + theme::kTiny, first.center().y() - kBarHeight / 2 + 1,
                  std::max(0, first.width() - word - theme::kTiny), kBarHeight);
  cell.text(first, shownText(row.statusText), theme::TextStyle::kStrong, colour);
  cell.bar(bar, row.permille.value_or(0), colour);
  cell.text(cell.line(1, 2), shownText(row.detailText), theme::TextStyle::kCaption, theme::colours().quietText,
            Qt::ElideMiddle);
}

void paintStatus(Cell& cell, const JobRow& row) {
  if (row.isRunning()) return paintRun(cell, row);
  const StateLook look = lookOf(row);
  const int lines = row.detailText.empty() ? 1 : 2;
  const QRect first = cell.line(0, lines);
  cell.icon({first.left(), first.center().y() - theme::kLarge / 2 + 1, theme::kLarge, theme::kLarge}, look.icon,
            look.tint);
  cell.indent(theme::kLarge + theme::kSmall);
  const bool isBad = row.state == RowState::kError;
  cell.text(cell.line(0, lines), shownText(row.statusText), theme::TextStyle::kBody,
            isBad ? theme::colours().error : theme::colours().text);
  if (lines == 2) {
    cell.text(cell.line(1, 2), shownText(row.detailText), theme::TextStyle::kCaption, theme::colours().quietText);
  }
}

void paintText(Cell& cell, const std::string& text) {
  cell.text(cell.line(0, 1), shownText(text), theme::TextStyle::kBody, theme::colours().text);
}

void paintCell(Cell& cell, const JobRow& row, JobColumn column) {
  switch (column) {
    case JobColumn::kName:
      return paintName(cell, row);
    case JobColumn::kSource:
      return paintPaths(cell, row.sourceText);
    case JobColumn::kTarget:
      return paintPaths(cell, row.targetText);
    case JobColumn::kStatus:
      return paintStatus(cell, row);
    case JobColumn::kNext:
      return paintText(cell, row.nextText);
    case JobColumn::kLastRun:
      return paintText(cell, row.lastRanText);
  }
}

// The model behind the one that sorts.
const JobRow& rowAt(const QModelIndex& index) {
  const auto* const sorted = qobject_cast<const QAbstractProxyModel*>(index.model());
  const QModelIndex source = sorted ? sorted->mapToSource(index) : index;
  return static_cast<const JobsModel*>(source.model())->row(source.row());
}

}  // namespace

const char* jobTypeIcon(JobType type) {
  switch (type) {
    case JobType::kSyncWithRevisions:
      return "type-sync-revisions";
    case JobType::kSyncWithConflicts:
      return "type-sync";
    case JobType::kClone:
      return "type-clone";
    case JobType::kBackup:
      break;
  }
  return "type-backup";
}

void JobsDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const JobRow& row = rowAt(index);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  if (option.state & QStyle::State_Selected) painter->fillRect(option.rect, theme::colours().selection);
  painter->setPen(theme::colours().cardBorder);
  painter->drawLine(QPointF(option.rect.left(), option.rect.bottom() + 0.5),
                    QPointF(option.rect.right() + 1, option.rect.bottom() + 0.5));
  if (!row.isActive && !row.isRunning()) painter->setOpacity(kPaleOpacity);
  Cell cell(*painter, option.rect);
  paintCell(cell, row, static_cast<JobColumn>(index.column()));
  painter->restore();
}

QSize JobsDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
  return {100, rowHeight()};
}

int JobsDelegate::rowHeight() {
  const int line = QFontMetrics(theme::font(theme::TextStyle::kBody)).height();
  return 2 * line + theme::kTiny + 2 * theme::kMedium;
}

}  // namespace lumisk
