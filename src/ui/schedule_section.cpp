#include "ui/schedule_section.h"

#include <QHBoxLayout>
#include <QLocale>
#include <QSignalBlocker>

#include "presenters/locale_text.h"
#include "presenters/schedule_sentence.h"
#include "ui/text.h"

namespace lumisk {
namespace {

constexpr int kMostCount = 10'000;

struct Method {
  SchedulingMethod method;
  const char* name;
};
constexpr Method kMethods[] = {
    {SchedulingMethod::kRealTime, markedText("On changes")},
    {SchedulingMethod::kTimer, markedText("At intervals")},
    {SchedulingMethod::kWeekDays, markedText("On weekdays")},
    {SchedulingMethod::kNone, markedText("By hand")},
};

QWidget* lineOf(QHBoxLayout*& row) {
  auto* const line = new QWidget;
  row = new QHBoxLayout(line);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(theme::kSmall);
  return line;
}

// Stored values beyond the known ones mean the last choice.
int placeOf(SchedulingMethod method) {
  const int place = static_cast<int>(method);
  return place >= 0 && place < 3 ? place : 3;
}

}  // namespace

ScheduleSection::ScheduleSection(JobEditorPresenter& job)
    : EditorSection(job, tr_("When"), JobField::kSchedule),
      methods_(new QButtonGroup(this)),
      count_(new QSpinBox),
      unit_(new QComboBox),
      time_(new QTimeEdit),
      sentence_(widgets::label({}, theme::TextStyle::kBody)),
      next_(widgets::quiet({})) {
  content()->addWidget(makeMethods());
  content()->addWidget(timerLine_ = makeTimer());
  content()->addWidget(weekLine_ = makeWeekDays());
  sentence_->setWordWrap(true);
  sentence_->setObjectName(QStringLiteral("scheduleSentence"));
  content()->addWidget(sentence_);
  content()->addWidget(next_);
}

QWidget* ScheduleSection::makeMethods() {
  QHBoxLayout* row = nullptr;
  QWidget* const line = lineOf(row);
  line->setAccessibleName(tr_("When"));
  for (const Method& method : kMethods) {
    auto* const card = new ChoiceCard({}, tr_(method.name));
    card->setObjectName(QStringLiteral("method%1").arg(placeOf(method.method)));
    methods_->addButton(card, placeOf(method.method));
    row->addWidget(card, 1);
  }
  connect(methods_, &QButtonGroup::idClicked, this,
          [this](int place) { job().setSchedule(static_cast<SchedulingMethod>(place)); });
  return line;
}

QWidget* ScheduleSection::makeTimer() {
  QHBoxLayout* row = nullptr;
  QWidget* const line = lineOf(row);
  auto* const every = widgets::label(tr_("E&very"));
  every->setBuddy(count_);
  count_->setRange(1, kMostCount);
  count_->setObjectName(QStringLiteral("timerCount"));
  count_->setAccessibleName(tr_("How many"));
  count_->setMinimumWidth(96);
  unit_->addItems({tr_("minutes"), tr_("hours"), tr_("days")});
  unit_->setObjectName(QStringLiteral("timerUnit"));
  unit_->setAccessibleName(tr_("Unit"));
  unit_->setMinimumWidth(128);
  const auto answer = [this] { job().setTimer(count_->value(), static_cast<TimerUnit>(unit_->currentIndex())); };
  connect(count_, &QSpinBox::valueChanged, this, answer);
  connect(unit_, &QComboBox::currentIndexChanged, this, answer);
  row->addWidget(every);
  row->addWidget(count_);
  row->addWidget(unit_);
  row->addStretch();
  return line;
}

QWidget* ScheduleSection::makeWeekDays() {
  QHBoxLayout* row = nullptr;
  QWidget* const line = lineOf(row);
  const int first = static_cast<int>(QLocale().firstDayOfWeek()) % 7;
  for (std::size_t i = 0; i < days_.size(); ++i) {
    const std::size_t day = (static_cast<std::size_t>(first) + i) % days_.size();
    auto* const button = new ChoiceCard({}, QString::fromStdString(shortDayName(day)));
    button->setAccessibleName(QString::fromStdString(dayName(day)));
    button->setObjectName(QStringLiteral("day%1").arg(day));
    connect(button, &ChoiceCard::clicked, this, [this, day](bool on) { job().setDay(day, on); });
    days_.at(day) = button;
    row->addWidget(button, 1);
  }
  auto* const at = widgets::label(tr_("&at"));
  at->setBuddy(time_);
  time_->setAccessibleName(tr_("Time of day"));
  time_->setObjectName(QStringLiteral("timeOfDay"));
  time_->setDisplayFormat(QStringLiteral("HH:mm"));
  time_->setMinimumWidth(96);
  connect(time_, &QTimeEdit::timeChanged, this, [this](QTime time) { job().setTime(time.hour(), time.minute()); });
  row->addSpacing(theme::kSmall);
  row->addWidget(at);
  row->addWidget(time_);
  return line;
}

void ScheduleSection::showJob() {
  const auto& record = job().job();
  const QSignalBlocker blockers[] = {QSignalBlocker(count_), QSignalBlocker(unit_), QSignalBlocker(time_)};
  methods_->button(placeOf(record.scheduling_method))->setChecked(true);
  const bool isClone = job().questions().wholeVolumes;
  auto* const onChanges = static_cast<ChoiceCard*>(methods_->button(placeOf(SchedulingMethod::kRealTime)));
  onChanges->setText(isClone ? tr_("Once") : tr_(kMethods[0].name));
  onChanges->setSentence({});
  timerLine_->setVisible(record.scheduling_method == SchedulingMethod::kTimer);
  weekLine_->setVisible(record.scheduling_method == SchedulingMethod::kWeekDays);
  count_->setValue(record.scheduling_timer);
  unit_->setCurrentIndex(static_cast<int>(record.scheduling_timerUnit));
  for (std::size_t day = 0; day < days_.size(); ++day) days_.at(day)->setChecked(record.scheduling_weekFlag.at(day));
  time_->setTime(QTime(record.scheduling_date.hour(), record.scheduling_date.minute()));
  showSentence();
}

void ScheduleSection::showSentence() {
  const std::string sentence = scheduleSentence(job().job());
  sentence_->setText(QString::fromStdString(filled(translated("It runs {}."), sentence)));
  const auto first = job().firstRun();
  next_->setVisible(first.has_value());
  if (!first) return;
  const auto day = static_cast<std::size_t>(CalendarDate(*first).dayOfWeek());
  next_->setText(QString::fromStdString(
      filled(translated("First on {}, {} at {}"), dayName(day), localDate(*first), localTimeOfDay(*first))));
}

}  // namespace lumisk
