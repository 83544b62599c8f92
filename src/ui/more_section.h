#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QSpinBox>

#include "ui/editor_section.h"

namespace lumisk {

// All that has a good answer without being asked, behind one button.
class MoreSection : public widgets::Card {
 public:
  explicit MoreSection(JobEditorPresenter& job);
  void refresh();
  void open(bool isOpen);

 private:
  using Record = QUORVELPREFERENCEINFO;
  void makeRows();
  void addRevisions();
  void addConflicts();
  void addFilter();
  void addSwitches();
  void addCapacity();
  void addRow(const QString& name, QWidget* field);
  // A check box that is one field of the record.
  QCheckBox* addSwitch(const QString& text, bool Record::*field);
  void showRevisions();
  void showFilter();

  JobEditorPresenter& job_;
  QPushButton* expander_;
  QWidget* body_;
  QVBoxLayout* column_;
  QFormLayout* form_ = nullptr;

  QWidget *revisionsRow_ = nullptr, *filterRow_ = nullptr;
  QComboBox* revisions_ = nullptr;
  QSpinBox* revisionCount_ = nullptr;
  QComboBox* conflicts_ = nullptr;
  QComboBox* filter_ = nullptr;
  QLineEdit* extensions_ = nullptr;
  QCheckBox *deletions_ = nullptr, *trash_ = nullptr, *fullPath_ = nullptr, *packages_ = nullptr;
  QCheckBox *ownTargets_ = nullptr, *autoMount_ = nullptr, *unmount_ = nullptr;
  QCheckBox *format_ = nullptr, *repair_ = nullptr, *warns_ = nullptr;
  QSpinBox* capacity_ = nullptr;
  widgets::InlineMessage* message_;
};

}  // namespace lumisk
