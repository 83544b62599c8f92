#include "ui/room_view.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "devices/data_list_object.h"
#include "presenters/locale_text.h"
#include "ui/text.h"

namespace lumisk {
namespace {

constexpr int kPieSide = 104;
constexpr int kMisfitLines = 5;

QString sizeText(std::uint64_t bytes) {
  return QString::fromStdString(dataListObject::sizeWithGMKFormat(bytes));
}

}  // namespace

RoomView::RoomView(QWidget* parent)
    : QWidget(parent),
      pie_(new PieChart(kPieSide)),
      name_(widgets::label({}, theme::TextStyle::kStrong)),
      format_(widgets::label({}, theme::TextStyle::kQuiet)),
      used_(new PieLegendLine(PieChart::Colour::kUsed)),
      added_(new PieLegendLine(PieChart::Colour::kAdded)),
      free_(new PieLegendLine(PieChart::Colour::kFree)),
      sentence_(widgets::quiet({})),
      loss_(new widgets::InlineMessage),
      misfitCount_(new widgets::InlineMessage),
      misfits_(new QPlainTextEdit) {
  auto* const page = new QVBoxLayout(this);
  page->setContentsMargins(0, 0, 0, 0);
  page->setSpacing(theme::kMedium);
  auto* const row = new QHBoxLayout;
  row->setSpacing(theme::kHuge);
  row->addWidget(pie_, 0, Qt::AlignVCenter);
  auto* const texts = new QVBoxLayout;
  texts->setSpacing(theme::kTiny);
  auto* const title = new QHBoxLayout;
  title->setSpacing(theme::kSmall);
  title->addWidget(name_);
  title->addWidget(format_);
  title->addStretch();
  texts->addLayout(title);
  for (PieLegendLine* const line : {used_, added_, free_}) texts->addWidget(line);
  row->addLayout(texts, 1);
  page->addLayout(row);
  page->addWidget(sentence_);
  page->addWidget(loss_);
  page->addWidget(misfitCount_);
  misfits_->setReadOnly(true);
  misfits_->setLineWrapMode(QPlainTextEdit::NoWrap);
  misfits_->setTabChangesFocus(true);
  misfits_->setAccessibleName(tr_("What will not fit"));
  misfits_->setFixedHeight(misfits_->fontMetrics().lineSpacing() * kMisfitLines + 2 * theme::kMedium);
  page->addWidget(misfits_);
}

void RoomView::show(const TargetRoom& room) {
  name_->setText(shownText(room.volumeName));
  format_->setText(QString::fromStdString(room.formatText));
  showPie(room);
  sentence_->setText(QString::fromStdString(roomSentence(room)));
  room.lossText.empty() ? loss_->clear()
                        : loss_->show(widgets::InlineMessage::Kind::kHint, QString::fromStdString(room.lossText));
  showMisfits(room);
}

void RoomView::showPie(const TargetRoom& room) {
  using Colour = PieChart::Colour;
  const std::uint64_t added = std::min(room.addedBytes(), room.freeBytes);
  const std::uint64_t left = room.freeBytes - added;
  const Colour addedColour = room.fits() ? Colour::kAdded : Colour::kTooMuch;
  const auto after = static_cast<double>(room.usedBytes() + added);
  const QString percent =
      room.bytes == 0 ? QString() : QStringLiteral("%1 %").arg(qRound(after * 100 / static_cast<double>(room.bytes)));
  pie_->show({{static_cast<double>(room.usedBytes()), Colour::kUsed},
              {static_cast<double>(added), addedColour},
              {static_cast<double>(left), Colour::kFree}},
             percent, QString::fromStdString(roomSentence(room)));
  used_->show(tr_("Used"), sizeText(room.usedBytes()));
  added_->setColour(addedColour);
  added_->show(room.isCounting ? tr_("This job, so far") : tr_("This job"), sizeText(room.addedBytes()));
  free_->show(tr_("Free"), sizeText(room.fits() ? left : 0));
}

void RoomView::showMisfits(const TargetRoom& room) {
  const TargetNeed& need = room.need;
  misfits_->setVisible(need.misfitCount > 0);
  if (need.misfitCount == 0) return misfitCount_->clear();
  misfitCount_->show(
      widgets::InlineMessage::Kind::kWarning,
      QString::fromStdString(filledCount("{} entry cannot be kept there as it is:",
                                         "{} entries cannot be kept there as they are:", need.misfitCount)));
  QString lines;
  for (const MisfitEntry& entry : need.misfits)
    lines += shownText(entry.path) + QStringLiteral(" — ") + QString::fromStdString(misfitText(entry.misfit)) + u'\n';
  if (need.misfitCount > need.misfits.size()) lines += QStringLiteral("…");
  if (misfits_->toPlainText() != lines) misfits_->setPlainText(lines);
}

}  // namespace lumisk
