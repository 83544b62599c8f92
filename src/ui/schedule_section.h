#pragma once

#include <QButtonGroup>
#include <QComboBox>
#include <QSpinBox>
#include <QTimeEdit>
#include <array>

#include "ui/choice_card.h"
#include "ui/editor_section.h"

namespace lumisk {

// When the job runs: four choices, the little that each asks, and a sentence that says what has been chosen.
class ScheduleSection : public EditorSection {
 public:
  explicit ScheduleSection(JobEditorPresenter& job);

 protected:
  void showJob() override;

 private:
  [[nodiscard]] QWidget* makeMethods();
  [[nodiscard]] QWidget* makeTimer();
  [[nodiscard]] QWidget* makeWeekDays();
  void showSentence();

  QButtonGroup* methods_;
  QWidget *timerLine_, *weekLine_;
  QSpinBox* count_;
  QComboBox* unit_;
  std::array<ChoiceCard*, 7> days_{};  // [0] Sunday
  QTimeEdit* time_;
  QLabel *sentence_, *next_;
};

}  // namespace lumisk
