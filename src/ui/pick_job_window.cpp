#include "ui/pick_job_window.h"

#include <QListWidget>
#include <QShortcut>
#include <QVBoxLayout>

#include "presenters/job_row.h"
#include "presenters/source_addition.h"
#include "ui/jobs_delegate.h"
#include "ui/text.h"
#include "ui/widgets.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

constexpr int kUuidRole = Qt::UserRole;
constexpr std::size_t kMostPathsShown = 4;

QString shownPaths(const std::vector<std::string>& paths) {
  QStringList lines;
  for (std::size_t i = 0; i < std::min(paths.size(), kMostPathsShown); ++i) lines << shownText(paths[i]);
  if (paths.size() > kMostPathsShown) lines << QStringLiteral(" . . . . . .");
  return lines.join(QLatin1Char('\n'));
}

class PickJobWindow : public QWidget {
 public:
  PickJobWindow(UiContext& context, std::vector<std::string> paths) : context_(context), paths_(std::move(paths)) {
    setObjectName(QStringLiteral("window"));
    setAttribute(Qt::WA_StyledBackground);
    setWindowTitle(tr_("Add to a job"));
    resize(460, 480);
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kLarge);
    column->setSpacing(theme::kMedium);
    column->addWidget(widgets::heading(tr_("Which job shall copy this, too?")));
    column->addWidget(widgets::quiet(shownPaths(paths_)));
    column->addWidget(jobs_, 1);
    column->addWidget(message_);
    column->addLayout(makeButtons());
    fill();
  }

 private:
  void fill() {
    jobs_->setAccessibleName(tr_("Jobs"));
    jobs_->setIconSize({theme::kIconSize, theme::kIconSize});
    for (const BoardJob& job : context_.board.jobs()) {
      const auto type = static_cast<JobType>(job.stored[kJobTypeKey].integer32());
      auto* const item = new QListWidgetItem(theme::icon(jobTypeIcon(type), theme::Tint::kAccent),
                                             shownText(job.stored[kObjectNameKey].text()), jobs_);
      item->setData(kUuidRole, QByteArray::fromStdString(job.uuid));
    }
    jobs_->setCurrentRow(0);
    jobs_->setFocus();
    connect(jobs_, &QListWidget::itemActivated, this, [this] { add(); });
  }
  QLayout* makeButtons() {
    auto* const row = new QHBoxLayout;
    row->setSpacing(theme::kSmall);
    row->addStretch();
    auto* const cancel = widgets::button(tr_("&Cancel"));
    auto* const addButton = widgets::button(tr_("&Add"), widgets::ButtonKind::kPrimary);
    row->addWidget(cancel);
    row->addWidget(addButton);
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(addButton, &QPushButton::clicked, this, [this] { add(); });
    connect(new QShortcut(QKeySequence::Cancel, this), &QShortcut::activated, this, &QWidget::close);
    return row;
  }
  void add() {
    const auto* const item = jobs_->currentItem();
    if (!item) return;
    const std::string uuid = item->data(kUuidRole).toByteArray().toStdString();
    if (const auto refusal = addSourcesToJob(context_.board, context_.files, uuid, paths_)) {
      return message_->show(widgets::InlineMessage::Kind::kError, shownText(*refusal));
    }
    close();
  }

  UiContext& context_;
  std::vector<std::string> paths_;
  QListWidget* jobs_ = new QListWidget;
  widgets::InlineMessage* message_ = new widgets::InlineMessage;
};

}  // namespace

void addPickJobWindow(WindowSet& windows) {
  windows.add(WindowKind::kPickJob, [](UiContext& context, const WindowRequest& request) {
    return new PickJobWindow(context, request.paths);
  });
}

}  // namespace lumisk
