#include "ui/mini_panel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>
#include <utility>

#include "presenters/locale_text.h"
#include "ui/jobs_model.h"
#include "ui/text.h"
#include "ui/widgets.h"

namespace lumisk {
namespace {

constexpr int kTextWidth = 300;
constexpr int kWholePermille = 1000;

// One line that is cut short in its middle.
class CutLabel : public QLabel {
 public:
  CutLabel() {
    setFont(theme::font(theme::TextStyle::kCaption));
    setProperty("isQuiet", true);
    setMinimumWidth(1);
  }
  void show(const QString& text) { setText(fontMetrics().elidedText(text, Qt::ElideMiddle, kTextWidth)); }
};

}  // namespace

class MiniRun : public QWidget {
 public:
  MiniRun(UiContext& context, const JobRow& row)
      : name_(widgets::label({}, theme::TextStyle::kStrong)),
        percent_(widgets::label({}, theme::TextStyle::kStrong)),
        pause_(widgets::iconButton("pause", {})),
        isPaused_(!row.isPaused) {  // shown with the first look
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(theme::kTiny);
    auto* const line = new QHBoxLayout;
    line->setSpacing(theme::kSmall);
    auto* const stop = widgets::iconButton("stop", shownText(filled(translated("Stop {}"), row.name)));
    QObject::connect(stop, &QToolButton::clicked, this, [&context, uuid = row.uuid] {
      if (const auto refusal = context.board.stop(uuid)) context.dialogs.showAlert("Qel Lumisk", *refusal);
    });
    QObject::connect(pause_, &QToolButton::clicked, this, [this, &context, uuid = row.uuid] {
      const auto refusal = isPaused_ ? context.board.resume(uuid) : context.board.pause(uuid);
      if (refusal) context.dialogs.showAlert("Qel Lumisk", *refusal);
    });
    name_->setMinimumWidth(1);
    line->addWidget(name_, 1);
    line->addWidget(percent_);
    line->addWidget(pause_);
    line->addWidget(stop);
    column->addLayout(line);
    bar_.setRange(0, kWholePermille);
    bar_.setTextVisible(false);
    column->addWidget(&bar_);
    column->addWidget(&file_);
    show(row);
  }
  void show(const JobRow& row) {
    percent_->setText(shownText(row.statusText));
    pause_->setVisible(row.canBePaused());
    showName(row);
    bar_.setValue(row.permille.value_or(0));
    bar_.setEnabled(!row.isPaused);  // it is paler then
    bar_.setAccessibleName(shownText(row.name));
    file_.show(shownText(row.detailText));
    if (std::exchange(isPaused_, row.isPaused) == row.isPaused) return;
    widgets::relabel(*pause_, isPaused_ ? "play" : "pause",
                     shownText(filled(isPaused_ ? translated("Resume {}") : translated("Pause {}"), row.name)));
  }

 private:
  // In what the rest of its line leaves.
  void showName(const JobRow& row) {
    pause_->ensurePolished();
    const int button = pause_->sizeHint().width() + theme::kSmall;
    const int taken = percent_->sizeHint().width() + theme::kSmall + (row.canBePaused() ? 2 : 1) * button;
    const QString name = shownText(row.name);
    name_->setText(name_->fontMetrics().elidedText(name, Qt::ElideRight, kTextWidth - taken));
    name_->setToolTip(name);
  }

  QLabel* name_;
  QLabel* percent_;
  QToolButton* pause_;
  bool isPaused_;
  QProgressBar bar_;
  CutLabel file_;
};

MiniPanel::MiniPanel(UiContext& context)
    : QWidget(nullptr, Qt::Tool | Qt::WindowStaysOnTopHint),
      context_(context),
      model_(JobsModel::of(context)),
      runs_(new QVBoxLayout),
      idle_(widgets::quiet(tr_("Nothing runs at the moment."))),
      next_(widgets::quiet({})) {
  setObjectName(QStringLiteral("window"));
  setAttribute(Qt::WA_StyledBackground);
  setAttribute(Qt::WA_QuitOnClose, false);
  setWindowTitle(tr_("Status"));
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(theme::kLarge, theme::kLarge, theme::kLarge, theme::kMedium);
  column->setSpacing(theme::kMedium);
  column->setSizeConstraint(QLayout::SetFixedSize);
  runs_->setSpacing(theme::kLarge);
  column->addLayout(runs_);
  column->addWidget(idle_);
  auto* const line = widgets::separator();
  line->setFixedWidth(kTextWidth);  // and so the panel's
  column->addWidget(line);
  auto* const foot = new QHBoxLayout;
  foot->addWidget(next_, 1);
  auto* const open = widgets::iconButton("open", tr_("Show all jobs"));
  connect(open, &QToolButton::clicked, this, [&context] { context.windows.showMain(); });
  foot->addWidget(open);
  column->addLayout(foot);
  setFocusPolicy(Qt::StrongFocus);
  setFocus();
  connect(&model_, &JobsModel::updated, this, &MiniPanel::follow);
  follow();
}

void MiniPanel::follow() {
  dropEnded();
  for (const JobRow& row : model_.list().rows()) {
    if (!row.isRunning()) continue;
    MiniRun*& shown = shown_[row.uuid];
    if (shown) {
      shown->show(row);
    } else {
      shown = new MiniRun(context_, row);
      runs_->addWidget(shown);
    }
  }
  idle_->setVisible(shown_.empty());
  const std::string next = model_.list().nextText();
  next_->setText(next.empty() ? tr_("No run is planned.") : shownText(next));
}

void MiniPanel::dropEnded() {
  std::erase_if(shown_, [this](const auto& shown) {
    const JobRow* const row = model_.list().find(shown.first);
    const bool hasEnded = !row || !row->isRunning();
    if (hasEnded) delete shown.second;
    return hasEnded;
  });
}

void addMiniPanel(WindowSet& windows) {
  windows.add(WindowKind::kMiniPanel, [](UiContext& context, const WindowRequest&) { return new MiniPanel(context); });
}

}  // namespace lumisk
