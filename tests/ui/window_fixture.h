#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QPushButton>
#include <QTest>

#include "platform/real_file_calls.h"
#include "support/fake_clock.h"
#include "support/fake_jobs_board.h"
#include "support/home_fixture.h"
#include "support/silent_dialogs.h"
#include "ui/windows.h"

namespace lumisk::test {

// Of what comes by itself: whether it did within a generous time.
template <class Condition>
bool comes(Condition condition) {
  return QTest::qWaitFor(condition, 120'000);
}

inline QPushButton* buttonOf(QWidget* window, const QString& text) {
  for (QPushButton* const each : window->findChildren<QPushButton*>())
    if (each->text().remove(QLatin1Char('&')) == text) return each;
  ADD_FAILURE() << text.toStdString();
  return nullptr;
}

// As a file manager does it.
inline void dropOn(QWidget* target, const QByteArray& uriList) {
  QMimeData data;
  data.setData(QStringLiteral("text/uri-list"), uriList);
  QDragEnterEvent enter({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(target, &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(target, &drop);
}

// Windows on jobs that are made up, without a screen.
class WindowFixture : public HomeFixture {
 protected:
  FakeJobsBoard board;
  FakeClock clock;
  MainLoop loop;
  SilentDialogs dialogs;
  WindowSet windows{board, clock, realFileCalls(), loop, dialogs};
};

}  // namespace lumisk::test
