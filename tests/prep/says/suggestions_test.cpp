#include "trqprep/suggestions.h"

#include <gmock/gmock.h>

namespace trqprep {
namespace {

using testing::ElementsAre;

TEST(Suggestions, NearestFirstAndThreeAtMost) {
  const std::vector<std::string> names = {"build", "info", "convert", "transform", "check", "slc"};
  EXPECT_THAT(NearestNames("bild", names), testing::SizeIs(3));
  EXPECT_EQ(NearestNames("bild", names)[0], "build");
  EXPECT_EQ(NearestNames("INFO", names)[0], "info");
  EXPECT_EQ(NearestNames("ifno", names)[0], "info");
  EXPECT_EQ(NearestNames("trans", names)[0], "transform");
  EXPECT_THAT(NearestNames("x", {}), ElementsAre());
}

TEST(Suggestions, AreWordedAsAQuestion) {
  EXPECT_EQ(DidYouMean("a", {"a"}), "did you mean a?");
  EXPECT_EQ(DidYouMean("aa", {"aa", "ab", "bb", "zz"}), "did you mean aa, ab or bb?");
  EXPECT_EQ(DidYouMean("a", {}), "");
}

}  // namespace
}  // namespace trqprep
