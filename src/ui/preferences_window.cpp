#include "ui/preferences_window.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/file_manager_actions.h"
#include "app/login_item.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "ui/widgets.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

constexpr QSize kWindowSize{640, 760};
constexpr QSize kLeastSize{520, 360};
constexpr QSize kScreenMargin{32, 64};
constexpr int kControlWidth = 190;
constexpr int kBoxWidth = 18;  // of a check box without a text
using Kind = PreferenceItem::Kind;

class PreferencesWindow : public QWidget {
 public:
  PreferencesWindow(UiContext& context, PreferencesPresenter::SystemSwitches system)
      : presenter_(context.board, std::move(system)), message_(new widgets::InlineMessage) {
    setObjectName(QStringLiteral("window"));
    setAttribute(Qt::WA_StyledBackground);
    setWindowTitle(tr_("Preferences"));
    setMinimumSize(kLeastSize);
    resize(kWindowSize.boundedTo(screen()->availableSize() - kScreenMargin));
    makePage();
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, [this] { close(); });
    observation_ = context.board.observe([this](BoardChange change) {
      if (change == BoardChange::kPreferences) showAll();
    });
    showAll();
  }

 private:
  void makePage() {
    auto* const outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* const scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* const page = new QWidget;
    page->setObjectName(QStringLiteral("page"));
    auto* const column = new QVBoxLayout(page);
    column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kHuge);
    column->setSpacing(theme::kMedium);
    column->addWidget(message_);
    addGroups(*column);
    column->addStretch();
    scroll->setWidget(page);
    outer->addWidget(scroll);
  }

  void addGroups(QVBoxLayout& column) {
    std::string group;
    QBoxLayout* lines = nullptr;
    for (const PreferenceItem& item : preferenceItems()) {
      const bool isFirst = group != item.group;
      if (isFirst) {
        if (lines) column.addSpacing(theme::kSmall);
        group = item.group;
        column.addWidget(widgets::heading(tr_(item.group)));
        auto* const card = new widgets::Card;
        column.addWidget(card);
        lines = card->content();
      } else {
        lines->addWidget(widgets::separator());
      }
      lines->addWidget(makeLine(item));
    }
  }

  QWidget* makeLine(const PreferenceItem& item) {
    auto* const line = new QWidget;
    auto* const row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(theme::kHuge);
    auto* const texts = new QVBoxLayout;
    texts->setSpacing(theme::kTiny / 2);
    texts->addWidget(widgets::label(tr_(item.title)));
    texts->addWidget(widgets::quiet(tr_(item.sentence)));
    row->addLayout(texts, 1);
    QWidget* const control = makeControl(item);
    control->setAccessibleName(tr_(item.title));
    control->setAccessibleDescription(tr_(item.sentence));
    control->setObjectName(QLatin1String(*item.key == '\0' ? "login" : item.key));
    row->addWidget(control, 0, Qt::AlignVCenter);
    return line;
  }

  QWidget* makeControl(const PreferenceItem& item) {
    if (item.kind == Kind::kSwitch) {
      auto* const box = new QCheckBox;
      box->setFixedWidth(kBoxWidth);
      connect(box, &QCheckBox::clicked, this, [this, &item](bool on) { store(item, on ? 1 : 0); });
      show_.push_back([this, box, &item] { box->setChecked(presenter_.value(item) != 0); });
      return box;
    }
    if (item.kind == Kind::kChoice) {
      auto* const box = new QComboBox;
      for (const auto& choice : item.choices) box->addItem(tr_(choice.second));
      box->setFixedWidth(kControlWidth);
      connect(box, &QComboBox::activated, this, [this, &item](int place) { store(item, place); });
      show_.push_back([this, box, &item] { box->setCurrentIndex(presenter_.value(item)); });
      return box;
    }
    auto* const number = new QSpinBox;
    number->setRange(0, 100);
    number->setSuffix(QStringLiteral(" %"));
    number->setFixedWidth(kControlWidth);
    number->setKeyboardTracking(false);
    connect(number, &QSpinBox::valueChanged, this, [this, &item](int value) { store(item, value); });
    show_.push_back([this, number, &item] {
      const QSignalBlocker blocker(number);
      number->setValue(presenter_.value(item));
    });
    return number;
  }

  void store(const PreferenceItem& item, int value) {
    const auto refusal = presenter_.setValue(item, value);
    refusal ? message_->show(widgets::InlineMessage::Kind::kError, shownText(*refusal)) : message_->clear();
    if (!refusal && std::string(item.key) == theme::kAppearanceKey)
      theme::apply(*qApp, theme::appearanceOf(item.choices.at(static_cast<std::size_t>(value)).first));
    showAll();
  }

  void showAll() {
    for (const auto& show : show_) show();
  }

  PreferencesPresenter presenter_;
  JobsBoard::Observation observation_;
  widgets::InlineMessage* message_;
  std::vector<std::function<void()>> show_;
};

}  // namespace

// This program at login, not the one without windows: what jobs ask and tell reaches somebody.
PreferencesPresenter::SystemSwitches systemSwitches() {
  const std::string program = process::programPath();
  return {isStartedAtLogin, [program](bool on) { return setStartedAtLogin(program, on); },
          [folder = paths::parent(program)](bool on) { return setFileManagerActions(folder, on); }};
}

void addPreferencesWindow(WindowSet& windows, PreferencesPresenter::SystemSwitches system) {
  windows.add(WindowKind::kPreferences,
              [system](UiContext& context, const WindowRequest&) { return new PreferencesWindow(context, system); });
}

}  // namespace lumisk
