#include "ui/main/plain_dialogs.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QThread>

#include "ui/text.h"

namespace lumisk {
namespace {

bool isMainThread() {
  return QThread::currentThread() == QApplication::instance()->thread();
}

void showBox(const std::string& title, const std::string& message) {
  auto* const box = new QMessageBox(QMessageBox::Information, shownText(title), shownText(message), QMessageBox::Ok);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setModal(false);
  box->show();
}

}  // namespace

void PlainDialogs::showAlert(const std::string& title, const std::string& message) {
  loop_.perform([title, message] { showBox(title, message); });
}

void PlainDialogs::showMessage(const std::string& jobName, const std::string& title, const std::string& message) {
  showAlert(jobName.empty() ? title : jobName, message);
}

void PlainDialogs::showPathProblem(const PathProblem& problem) {
  showAlert(problem.jobName, problem.message + "\n" + problem.path);
}

void PlainDialogs::showFinish(const FinishDialog& dialog) {
  showAlert(dialog.title, dialog.upperMessage + "\n" + dialog.message);
}

ConflictAnswer PlainDialogs::askConflict(const ConflictQuestion&) {
  return {ConflictChoice::kKeepBoth, false};
}

bool PlainDialogs::ask(const std::string& title, const std::string& message, const std::string& accept,
                       const std::string& refuse) {
  if (!isMainThread()) return false;
  QMessageBox box(QMessageBox::Question, shownText(title), shownText(message));
  const QAbstractButton* const yes = box.addButton(shownText(accept), QMessageBox::AcceptRole);
  box.addButton(shownText(refuse), QMessageBox::RejectRole);
  box.exec();
  return box.clickedButton() == yes;
}

}  // namespace lumisk
