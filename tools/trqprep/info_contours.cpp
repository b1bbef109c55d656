// What `info` says about slice-contour files.
#include "file_kinds.h"
#include "trqprep/contour_file.h"

namespace trqprep {
namespace {

void Describe(Context& context, const FileHead& head, Json& data) {
  const ContourFile file = ReadContours(context, head.path);
  const ContourSummary summary = Summarize(context, file);
  DescribeContours(data, file, summary);
  PrintContours(context, file, summary, false);
}

const FileKindRegistration kKind(30, {"slc", LooksLikeSlc, Describe});

}  // namespace
}  // namespace trqprep
