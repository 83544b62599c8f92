#pragma once

#include <QBoxLayout>
#include <vector>

#include "presenters/job_editor_presenter.h"
#include "ui/widgets.h"

namespace lumisk {

// One question on the page of a job: a heading, what the subclass adds to content(), and what is wrong with the answer.
class EditorSection : public widgets::Card {
 public:
  EditorSection(JobEditorPresenter& job, const QString& heading, JobField field);
  // After every change of the job: what the subclass shows, then the problem.
  void refresh();
  [[nodiscard]] QString problemText() const { return message_->text(); }

 protected:
  virtual void showJob() = 0;
  void setHeading(const QString& heading);
  [[nodiscard]] JobEditorPresenter& job() const { return job_; }

 private:
  void showProblem();

  JobEditorPresenter& job_;
  JobField field_;
  QHBoxLayout* head_;
  QLabel* heading_;
  widgets::InlineMessage* message_;
};

// The message of a field: the worst that is to be said of it. What is only missing is said at the end of the page.
void showProblemOf(JobEditorPresenter& job, JobField field, widgets::InlineMessage& message);

}  // namespace lumisk
