#include "file_kinds.h"

#include "trqprep/contour_file.h"
#include "trqprep/vents_file.h"

namespace trqprep {
namespace {

// Asked in this order: the surest signs first. Many files look like STL.
constexpr FileKind kKinds[] = {
    {"build", IsBuildFolder, DescribeBuildFolder},    {"job", IsJobFile, DescribeJobFile},
    {"ctl", LooksLikeCtl, DescribeMeshFile},          {"slc", LooksLikeSlc, DescribeContourFile},
    {"build style", IsBuildStyle, DescribeStyleFile}, {"recoat style", IsRecoatStyle, DescribeStyleFile},
    {"vents", LooksLikeVents, DescribeVentsFile},     {"stl", LooksLikeStl, DescribeMeshFile},
};

}  // namespace

const FileKind* KindOf(const FileHead& file) {
  for (const FileKind& kind : kKinds) {
    if (kind.matches(file)) return &kind;
  }
  return nullptr;
}

std::vector<std::string> KindNames() {
  std::vector<std::string> names;
  for (const FileKind& kind : kKinds) names.emplace_back(kind.name);
  return names;
}

}  // namespace trqprep
