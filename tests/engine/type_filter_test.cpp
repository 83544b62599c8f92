#include "engine/type_filter.h"

namespace lumisk {
namespace {

TEST(TypeFilter_Inclusion, NameInCapitals_MatchesALowerCaseEntryOnly) {
  EXPECT_TRUE(fileTypeFilter("/x/A.JPG", {"jpg"}, {}));
  EXPECT_FALSE(fileTypeFilter("/x/a.jpeg", {"jpg"}, {}));
  EXPECT_FALSE(fileTypeFilter("/x/a.jpg", {"JPG"}, {}));
  EXPECT_TRUE(fileTypeFilter("/x/a.anything", {}, {}));
}

TEST(TypeFilter_Exclusion, WhereThereIsOne_InclusionIsNotAsked) {
  EXPECT_TRUE(fileTypeFilter("/x/a.txt", {"jpg"}, {"tmp"}));
  EXPECT_FALSE(fileTypeFilter("/x/a.tmp", {"tmp"}, {"tmp"}));
}

TEST(TypeFilter_NoExtension, PlainHiddenAndNumberedNames_CountAsADot) {
  for (const char* path : {"/x.d/README", "/x/.profile", "/x/backup.0", "/x/backup.01"}) {
    EXPECT_TRUE(fileTypeFilter(path, {"."}, {})) << path;
    EXPECT_FALSE(fileTypeFilter(path, {}, {"."})) << path;
  }
  EXPECT_FALSE(fileTypeFilter("/x/backup.10", {"."}, {}));
}

}  // namespace
}  // namespace lumisk
