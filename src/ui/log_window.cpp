#include "ui/log_window.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointer>
#include <QScrollBar>
#include <QShortcut>
#include <QSyntaxHighlighter>
#include <QTextBlock>
#include <QTimer>
#include <QVBoxLayout>

#include "jobs/job_keys.h"
#include "log/log_file.h"
#include "platform/byte_text.h"
#include "presenters/locale_text.h"
#include "presenters/log_presenter.h"
#include "presenters/version_opener.h"
#include "ui/text.h"
#include "ui/widgets.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

constexpr int kBetweenLooks = 250;  // milliseconds

class ErrorMarks : public QSyntaxHighlighter {
 public:
  using QSyntaxHighlighter::QSyntaxHighlighter;

 protected:
  void highlightBlock(const QString& line) override {
    if (isErrorLine(line.toStdString())) setFormat(0, static_cast<int>(line.size()), theme::colours().error);
  }
};

class LogWindow : public QWidget {
 public:
  LogWindow(UiContext& context, const std::string& title, const std::string& path)
      : dialogs_(context.dialogs),
        log_(context.files, path),
        lines_(new QPlainTextEdit),
        marks_(new ErrorMarks(lines_->document())) {
    setObjectName(QStringLiteral("window"));
    setWindowTitle(shownText(title));
    resize(900, 560);
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(theme::kLarge, theme::kLarge, theme::kLarge, theme::kLarge);
    column->setSpacing(theme::kMedium);
    column->addLayout(makeBar());
    column->addWidget(message_);
    column->addWidget(lines_, 1);
    column->addWidget(count_);
    setUpLines();
    lines_->setFocus();
    connect(&timer_, &QTimer::timeout, this, [this] { look(); });
    timer_.start(kBetweenLooks);
    look();
  }

 protected:
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::PaletteChange) marks_->rehighlight();
    QWidget::changeEvent(event);
  }

 private:
  QHBoxLayout* makeBar() {
    auto* const bar = new QHBoxLayout;
    bar->setSpacing(theme::kSmall);
    filter_->setPlaceholderText(tr_("Show only lines with …"));
    filter_->setAccessibleName(tr_("Filter"));
    filter_->setClearButtonEnabled(true);
    filter_->addAction(theme::icon("search", theme::Tint::kQuiet), QLineEdit::LeadingPosition);
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString& text) {
      log_.setFilter(typedText(text));
      showAll();
    });
    connect(errors_, &QCheckBox::toggled, this, [this](bool on) {
      log_.setErrorsOnly(on);
      showAll();
    });
    auto* const reveal = widgets::button(tr_("Show in &folder"), widgets::ButtonKind::kPlain, "folder");
    connect(reveal, &QPushButton::clicked, this, [this] { tell(showInFileManager(log_.path())); });
    auto* const clear = widgets::button(tr_("&Clear"), widgets::ButtonKind::kPlain, "trash");
    connect(clear, &QPushButton::clicked, this, [this] { clearLog(); });
    bar->addWidget(filter_, 1);
    bar->addWidget(errors_);
    bar->addSpacing(theme::kMedium);
    bar->addWidget(reveal);
    bar->addWidget(clear);
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, this, [this] { filter_->setFocus(); });
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    return bar;
  }

  void setUpLines() {
    lines_->setReadOnly(true);
    lines_->setAccessibleName(tr_("Log"));
    lines_->setLineWrapMode(QPlainTextEdit::NoWrap);
    lines_->setUndoRedoEnabled(false);
    lines_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QFont fixed(QStringLiteral("monospace"));
    fixed.setStyleHint(QFont::Monospace);
    fixed.setPointSizeF(theme::font(theme::TextStyle::kQuiet).pointSizeF());
    lines_->setFont(fixed);
  }

  void look() {
    const auto change = log_.look();
    if (change.isAnew) {
      showAll();
    } else if (change.added + change.dropped > 0) {
      drop(change.dropped);
      append(change.added);
      describe();
    }
    if (!log_.trouble().empty()) message_->show(widgets::InlineMessage::Kind::kError, shownText(log_.trouble()));
    timer_.setInterval(log_.isBehind() ? 0 : kBetweenLooks);
  }

  void showAll() {
    lines_->clear();
    append(log_.shown().size());
    describe();
  }

  // The last so many. Who has scrolled up stays there.
  void append(std::size_t added) {
    if (added == 0) return;
    QScrollBar* const bar = lines_->verticalScrollBar();
    const bool isAtEnd = bar->value() >= bar->maximum();
    const int place = bar->value();
    QString text;
    const auto& shown = log_.shown();
    for (auto each = shown.end() - static_cast<std::ptrdiff_t>(added); each != shown.end(); ++each) {
      if (!text.isEmpty()) text += QLatin1Char('\n');
      text += QString::fromStdString(each->text);
    }
    QTextCursor end(lines_->document());
    end.movePosition(QTextCursor::End);
    if (!lines_->document()->isEmpty()) end.insertText(QStringLiteral("\n"));
    end.insertText(text);
    bar->setValue(isAtEnd ? bar->maximum() : place);
    lines_->horizontalScrollBar()->setValue(0);
  }

  void drop(std::size_t lines) {
    if (lines == 0) return;
    QTextCursor first(lines_->document());
    first.movePosition(QTextCursor::NextBlock, QTextCursor::KeepAnchor, static_cast<int>(lines));
    first.removeSelectedText();
  }

  void describe() {
    const auto errors = log_.errors();
    errors_->setText(errors == 0 ? tr_("&Errors only") : tr_("&Errors only") + QStringLiteral(" (%1)").arg(errors));
    const auto shown = log_.shown().size();
    count_->setText(log_.kept() == 0 ? tr_("Nothing has been logged yet.")
                                     : shownText(filledCount("{} line", "{} lines", shown)));
  }

  void clearLog() {
    const QPointer<LogWindow> self(this);
    const bool isMeant =
        dialogs_.ask("Qel Lumisk", translated("Empty this log? What it tells of earlier runs is lost."),
                     translated("Empty it"), translated("Cancel"));
    if (!self || !isMeant) return;
    tell(log_.clear() ? "" : translated("The log could not be emptied."));
    showAll();
  }

  void tell(const std::string& trouble) {
    trouble.empty() ? message_->clear() : message_->show(widgets::InlineMessage::Kind::kError, shownText(trouble));
  }

  UserDialogs& dialogs_;
  LogPresenter log_;
  QLineEdit* filter_ = new QLineEdit;
  QCheckBox* errors_ = new QCheckBox;
  widgets::InlineMessage* message_ = new widgets::InlineMessage;
  QPlainTextEdit* lines_;
  ErrorMarks* marks_;
  QLabel* count_ = widgets::quiet({});
  QTimer timer_;
};

std::string jobName(UiContext& context, const std::string& uuid) {
  for (const BoardJob& job : context.board.jobs())
    if (job.uuid == uuid) return job.stored[kObjectNameKey].text();
  return "";
}

QWidget* makeLogWindow(UiContext& context, const WindowRequest& request) {
  const std::string job = request.uuid.empty() ? "" : jobName(context, request.uuid);
  if (job.empty()) return new LogWindow(context, translated("Log of Qel Lumisk"), applicationLogPath());
  return new LogWindow(context, filled(translated("Log of “{}”"), displayText(job)), jobLogPath(job));
}

}  // namespace

void addLogWindow(WindowSet& windows) {
  windows.add(WindowKind::kLog, makeLogWindow);
}

}  // namespace lumisk
