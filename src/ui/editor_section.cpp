#include "ui/editor_section.h"

#include "ui/text.h"

namespace lumisk {

EditorSection::EditorSection(JobEditorPresenter& job, const QString& heading, JobField field)
    : job_(job),
      field_(field),
      head_(new QHBoxLayout),
      heading_(widgets::heading(heading)),
      message_(new widgets::InlineMessage) {
  head_->addWidget(heading_);
  head_->addStretch();
  content()->addLayout(head_);
  content()->addWidget(message_);
}

void EditorSection::setHeading(const QString& heading) {
  heading_->setText(heading);
}

void EditorSection::refresh() {
  showJob();
  showProblemOf(job_, field_, *message_);
  content()->removeWidget(message_);
  content()->addWidget(message_);
}

void showProblemOf(JobEditorPresenter& job, JobField field, widgets::InlineMessage& message) {
  using Weight = FieldProblem::Weight;
  for (const FieldProblem& problem : job.problems()) {
    if (problem.field != field || problem.weight == Weight::kMissing) continue;
    const bool isWrong = problem.weight == Weight::kWrong;
    const auto kind = isWrong ? widgets::InlineMessage::Kind::kError : widgets::InlineMessage::Kind::kWarning;
    return message.show(kind, shownText(problem.text));
  }
  message.clear();
}

}  // namespace lumisk
