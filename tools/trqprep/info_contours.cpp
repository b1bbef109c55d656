// What `info` says about slice-contour files.
#include "file_kinds.h"
#include "trqprep/contour_file.h"

namespace trqprep {
void DescribeContourFile(Context& context, const FileHead& head, Json& data) {
  const ContourFile file = ReadContours(context, head.path);
  const ContourSummary summary = Summarize(context, file);
  DescribeContours(data, file, summary);
  PrintContours(context, file, summary, false);
}

}  // namespace trqprep
