// Application code that relies on conversions which the interface gives: this has to compile.
#include <gtest/gtest.h>

#include "trq/foundation.h"
#include "trq/recoat.h"
#include "trq/slice_contours.h"
#include "trq/styles.h"

namespace {

float LastOf(PbVec3f v) { return v[2]; }

}  // namespace

TEST(Conversions, ConstructorsOfTheInterfaceConvert) {
  const float numbers[] = {1, 2, 3};
  EXPECT_EQ(LastOf(numbers), 3);

  HASH_TABLE table = 7;
  EXPECT_EQ(table.find(nullptr), nullptr);
  EXPECT_NE(table.matches(6), nullptr);

  TriangleBAG bag = {1, 2};
  bag.append({});
  bag.append({});
  EXPECT_THROW(bag.append({}), int);

  slc contours = "a.slc";
  EXPECT_STREQ(contours.path, "a.slc");

  KVBUILDSTYLE versioned = 2.5f;
  EXPECT_EQ(versioned.Version.GetValue(), 2.5f);
  KVBUILDSTYLE named = CString("Fine");
  EXPECT_EQ(named.StyleName, "Fine");
  KVRECOATSTYLE recoat = CString("a.rcs");
  EXPECT_EQ(recoat.FileVersion, 3.01f);
  RECOATSTYLE legacy = CString("b.rcs");
  EXPECT_EQ(legacy.FullPathName, "b.rcs");
}
