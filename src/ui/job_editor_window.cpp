#include "ui/job_editor_window.h"

#include <QButtonGroup>
#include <QCloseEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QScrollArea>

#include "presenters/locale_text.h"
#include "ui/choice_card.h"
#include "ui/image_dialog.h"
#include "ui/more_section.h"
#include "ui/question_bar.h"
#include "ui/schedule_section.h"
#include "ui/sources_section.h"
#include "ui/target_section.h"
#include "ui/text.h"

namespace lumisk {
namespace {

constexpr int kPageWidth = 700;
constexpr QSize kWindowSize{780, 800};
constexpr QSize kLeastSize{620, 420};
constexpr QSize kScreenMargin{32, 64};
using ButtonKind = widgets::ButtonKind;

Background backgroundOf(const JobEditorSeams& seams, MainLoop& loop) {
  Background background = backgroundThreads(loop.performer());
  if (seams.startThread) background.start = seams.startThread;
  return background;
}

}  // namespace

JobEditorSeams::JobEditorSeams()
    : chooseFolders([] { return chooseFolder(tr_("Choose a folder to copy")); }),
      chooseFiles([] { return lumisk::chooseFiles(tr_("Choose files to copy")); }),
      chooseTarget([] { return chooseFolder(tr_("Choose where to copy to")); }) {}

JobEditorWindow::JobEditorWindow(UiContext& context, const JobEditorSeams& seams)
    : context_(context),
      seams_(seams),
      background_(backgroundOf(seams, context.loop)),
      job_(context.board, context.clock, {context.files, seams.fileSystemInfo}, background_),
      volumes_(background_, seams.listVolumes),
      room_(context.files, background_) {
  setObjectName(QStringLiteral("window"));
  setAttribute(Qt::WA_StyledBackground);
  setMinimumSize(kLeastSize);
  resize(kWindowSize.boundedTo(screen()->availableSize() - kScreenMargin));
  makePage();
  job_.changed = [this] { refresh(); };
  room_.changed = [this] { target_->showRoom(); };
  volumes_.changed = [this] { job_.lookAgain(); };
  observation_ = context_.board.observe([this](BoardChange change) {
    if (change == BoardChange::kJobs && !isDone_) job_.boardChanged();
  });
  volumes_.refresh();
}

JobEditorWindow::~JobEditorWindow() = default;

void JobEditorWindow::makePage() {
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  auto* const scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  auto* const page = new QWidget;
  page->setObjectName(QStringLiteral("page"));
  auto* const middle = new QHBoxLayout(page);
  middle->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kHuge);
  auto* const narrow = new QWidget;
  narrow->setMaximumWidth(kPageWidth);
  page_ = new QVBoxLayout(narrow);
  page_->setContentsMargins(0, 0, 0, 0);
  page_->setSpacing(theme::kLarge);
  middle->addWidget(narrow);
  page_->addWidget(title_ = widgets::label({}, theme::TextStyle::kTitle));
  page_->addWidget(kindBox_ = makeKinds());
  page_->addWidget(sources_ = new SourcesSection(job_, volumes_, seams_.chooseFolders, seams_.chooseFiles));
  page_->addWidget(target_ = new TargetSection(job_, volumes_, room_, seams_.chooseTarget, [this] { makeImage(); }));
  page_->addWidget(schedule_ = new ScheduleSection(job_));
  page_->addWidget(makeName());
  page_->addWidget(more_ = new MoreSection(job_));
  page_->addStretch();
  scroll->setWidget(page);
  column->addWidget(scroll, 1);
  column->addWidget(end_ = new QuestionBar);
}

QWidget* JobEditorWindow::makeKinds() {
  auto* const box = new QWidget;
  auto* const grid = new QGridLayout(box);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setSpacing(theme::kSmall);
  box->setAccessibleName(tr_("Kind of job"));
  kinds_ = new QButtonGroup(this);
  int place = 0;
  for (const JobKind& kind : jobKinds()) {
    auto* const card = new ChoiceCard(kind.iconName, tr_(kind.name), tr_(kind.sentence));
    card->setObjectName(QStringLiteral("kind%1").arg(static_cast<int>(kind.type)));
    kinds_->addButton(card, static_cast<int>(kind.type));
    grid->addWidget(card, place / 2, place % 2);
    ++place;
  }
  connect(kinds_, &QButtonGroup::idClicked, this, [this](int type) { job_.setKind(static_cast<JobType>(type)); });
  return box;
}

QWidget* JobEditorWindow::makeName() {
  auto* const card = new widgets::Card;
  name_ = new QLineEdit;
  name_->setObjectName(QStringLiteral("name"));
  auto* const label = widgets::heading(tr_("Name"));
  label->setBuddy(name_);
  name_->setAccessibleName(tr_("Name of the job"));
  connect(name_, &QLineEdit::textEdited, this, [this](const QString& text) { job_.setName(typedText(text)); });
  nameMessage_ = new widgets::InlineMessage;
  startNow_ = new QCheckBox(tr_("&Run it for the first time right away"));
  startNow_->setChecked(true);
  startNow_->setObjectName(QStringLiteral("startNow"));
  card->content()->addWidget(label);
  card->content()->addWidget(name_);
  card->content()->addWidget(nameMessage_);
  card->content()->addWidget(startNow_);
  return card;
}

void JobEditorWindow::beginNew(const std::vector<std::string>& sources) {
  job_.addSources(sources);
  job_.begin();
  askForEnd();
  refresh();
}

bool JobEditorWindow::beginEdit(const std::string& uuid) {
  if (!job_.edit(uuid)) return false;
  askForEnd();
  refresh();
  return true;
}

void JobEditorWindow::refresh() {
  showKind();
  sources_->refresh();
  target_->refresh();
  schedule_->refresh();
  more_->refresh();
  const auto& record = job_.job();
  if (!name_->hasFocus() || name_->text().isEmpty()) name_->setText(shownText(record.name));
  showProblemOf(job_, JobField::kName, *nameMessage_);
  // One that copies on changes makes a full run when it is made.
  const bool startsItself = record.scheduling_method == SchedulingMethod::kRealTime && !job_.questions().wholeVolumes;
  startNow_->setVisible(job_.isNew() && !startsItself);
  if (!isAsking_) showEnd();
}

void JobEditorWindow::showKind() {
  const JobKind& kind = kindOf(job_.job().jobType);
  kindBox_->setVisible(job_.isNew());
  if (QAbstractButton* const card = kinds_->button(static_cast<int>(kind.type))) card->setChecked(true);
  const std::string name = displayText(job_.before() ? job_.before()->name : std::string());
  const QString title =
      job_.isNew() ? tr_("New job") : QStringLiteral("%1 – %2").arg(QString::fromStdString(name), tr_(kind.name));
  title_->setText(title);
  setWindowTitle(title);
}

// What is still missing, and the button that has to wait for it.
void JobEditorWindow::showEnd() {
  const bool canSave = job_.canSave();
  if (QPushButton* const button = end_->button("save")) button->setEnabled(canSave);
  QString missing;
  for (const FieldProblem& problem : job_.problems())
    if (missing.isEmpty() && problem.weight == FieldProblem::Weight::kMissing) missing = shownText(problem.text);
  end_->setText(missing);
}

void JobEditorWindow::askForEnd() {
  isAsking_ = false;
  const auto store = [this] { save(JobEditorPresenter::Meanwhile::kAsk); };
  end_->ask({}, {{tr_("Cancel"), ButtonKind::kPlain, [this] { close(); }, "cancel"},
                 {job_.isNew() ? tr_("Create job") : tr_("Save"), ButtonKind::kPrimary, store, "save"}});
  showEnd();
}

void JobEditorWindow::askToDiscard() {
  isAsking_ = true;
  end_->ask(tr_("Discard what you have entered?"),
            {{tr_("Keep editing"), ButtonKind::kPlain, [this] { askForEnd(); }, "keep"},
             {tr_("Discard"), ButtonKind::kDangerous,
              [this] {
                isDone_ = true;
                close();
              },
              "discard"}});
}

void JobEditorWindow::save(JobEditorPresenter::Meanwhile meanwhile) {
  const bool wasNew = job_.isNew();
  const SaveResult result = job_.save(meanwhile);
  const QString text = shownText(result.text);
  const auto again = [this] { askForEnd(); };
  switch (result.end) {
    case SaveResult::End::kSaved:
      if (wasNew && startNow_->isVisibleTo(this) && startNow_->isChecked()) startFirstRun();
      return saved();
    case SaveResult::End::kRefused:
      askForEnd();
      if (!text.isEmpty()) end_->setText(text);
      return;
    case SaveResult::End::kChangedMeanwhile:
      isAsking_ = true;
      return end_->ask(
          text, {{tr_("Keep editing"), ButtonKind::kPlain, again, "keep"},
                 {tr_("Show theirs"), ButtonKind::kPlain, [this] { (void)beginEdit(job_.job().uuidString); }, "theirs"},
                 {tr_("Save mine"), ButtonKind::kPrimary, [this] { save(JobEditorPresenter::Meanwhile::kMineWins); },
                  "mine"}});
    case SaveResult::End::kGone:
      isAsking_ = true;
      return end_->ask(text, {{tr_("Close"), ButtonKind::kPlain,
                               [this] {
                                 isDone_ = true;
                                 close();
                               },
                               "discard"},
                              {tr_("Make it again"), ButtonKind::kPrimary,
                               [this] {
                                 job_.makeNew();
                                 askForEnd();
                                 save(JobEditorPresenter::Meanwhile::kAsk);
                               },
                               "again"}});
  }
}

void JobEditorWindow::startFirstRun() {
  if (const auto refusal = context_.board.start(job_.job().uuidString))
    context_.dialogs.showMessage(job_.job().name, {}, *refusal);
}

void JobEditorWindow::saved() {
  isDone_ = true;
  close();
}

void JobEditorWindow::makeImage() {
  auto* const dialog = new ImageDialog(background_, seams_.imageTool, seams_.chooseTarget, this);
  dialog->made = [this](const MadeImage& image) {
    job_.setImage(image.imagePath, image.mountPoint, true);
    volumes_.refresh();
  };
  dialog->open();
}

// What was typed into a field that has not been left is as much entered as the rest.
void JobEditorWindow::closeEvent(QCloseEvent* event) {
  if (QWidget* const field = focusWidget(); field && !isDone_) field->clearFocus();
  if (isDone_ || !job_.isChanged()) return event->accept();
  event->ignore();
  askToDiscard();
}

void JobEditorWindow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    close();
    return;
  }
  const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  const bool isStore = isEnter && event->modifiers().testFlag(Qt::ControlModifier) && !isAsking_;
  if (isStore) return save(JobEditorPresenter::Meanwhile::kAsk);
  QWidget::keyPressEvent(event);
}

bool JobEditorWindow::event(QEvent* event) {
  if (event->type() == QEvent::WindowActivate) volumes_.refresh();
  return QWidget::event(event);
}

void addJobEditor(WindowSet& windows, const JobEditorSeams& seams) {
  windows.add(WindowKind::kJobEditor, [seams](UiContext& context, const WindowRequest& request) -> QWidget* {
    auto window = std::make_unique<JobEditorWindow>(context, seams);
    if (request.uuid.empty()) {
      window->beginNew(request.paths);
    } else if (!window->beginEdit(request.uuid)) {
      return nullptr;
    }
    return window.release();
  });
}

}  // namespace lumisk
