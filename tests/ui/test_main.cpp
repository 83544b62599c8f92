#include <gtest/gtest.h>

#include <QApplication>

#include "ui/theme.h"

// Widgets need an application before the first of them.
int main(int count, char** arguments) {
  ::testing::InitGoogleTest(&count, arguments);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(count, arguments);
  lumisk::theme::apply(application, lumisk::theme::Appearance::kLight);
  return RUN_ALL_TESTS();
}
