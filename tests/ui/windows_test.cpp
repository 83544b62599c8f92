#include "ui/windows.h"

#include "ui/window_fixture.h"

namespace lumisk {
namespace {

using namespace test;

class WindowSetTest : public WindowFixture {
 protected:
  WindowSetTest() {
    windows.add(WindowKind::kLog, [this](UiContext&, const WindowRequest& request) {
      made.push_back(request.uuid);
      return new QWidget;
    });
  }
  std::vector<std::string> made;
};

TEST_F(WindowSetTest, OpenedTwiceForOnePurpose_IsOneWindowUntilItIsClosed) {
  QWidget* const first = windows.openLog("a");
  EXPECT_EQ(windows.openLog("a"), first);
  EXPECT_NE(windows.openLog("b"), first);
  EXPECT_EQ(windows.openVolumes(), nullptr) << "nobody makes such a window here";
  first->close();
  QTest::qWait(0);
  EXPECT_EQ(windows.find(WindowKind::kLog, {"a", {}}), nullptr);
  windows.openLog("a");
  EXPECT_EQ(made, (std::vector<std::string>{"a", "b", "a"}));
}

TEST_F(WindowSetTest, Size_IsRememberedByKind) {
  windows.openLog("a")->resize(431, 287);
  ASSERT_TRUE(windows.closeAll());
  QTest::qWait(0);
  EXPECT_EQ(windows.openLog("b")->size(), QSize(431, 287));
}

}  // namespace
}  // namespace lumisk
