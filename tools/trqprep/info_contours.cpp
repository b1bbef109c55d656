// What `info` says about slice-contour files.
#include "contour_report.h"
#include "file_kinds.h"

namespace trqprep {

void DescribeContourFile(Context& context, const FileHead& head, Json& data) {
  const ContourFile file = ReadContours(context, context.units(), head.path);
  DescribeContours(data, file, Summarize(context, file));
  TellContours(context, data);
}

}  // namespace trqprep
