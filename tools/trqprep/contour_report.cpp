#include "contour_report.h"

namespace trqprep {

void PrintContours(Context& context, const ContourFile& file, const ContourSummary& summary,
                   bool each_layer) {
  const std::string unit = UnitsName(file.units);
  const Box& box = summary.box;
  context.Print("{}: slice contours, {} bytes\n", OneLine(file.path), file.file_size);
  if (!box.Empty()) {
    context.Print("  size        {}\n", SizeInBoth(box.Size(), file.units));
    context.Print("  box         {}, {}, {} to {}, {}, {} {}\n", Plain(box.min[0], 4), Plain(box.min[1], 4),
                  Plain(box.min[2], 4), Plain(box.max[0], 4), Plain(box.max[1], 4), Plain(box.max[2], 4),
                  unit);
  }
  const std::vector<trq::SlcLayer>& layers = file.contours.layers;
  context.Print("  layers      {}, from z {} to {} {}\n", summary.layers.size(), Plain(layers.front().z, 5),
                Plain(layers.back().z, 5), unit);
  context.Print("  boundaries  {}, of which {} run clockwise (holes) and {} are open\n",
                summary.total.boundaries, summary.total.clockwise, summary.total.open);
  context.Print("  vertices    {}\n  gaps        {}\n", summary.total.vertices, summary.total.gaps);
  context.Print("  volume      {} {}3\n", Plain(summary.volume, 3), unit);
  context.Print("  header      {}\n", OneLine(file.contours.header));
  if (file.contours.table.empty()) {
    context.Print("  thickness   not stated: a table count of {} reads no entries\n",
                  file.contours.table_count);
  }
  for (const trq::SlcTableEntry& entry : file.contours.table) {
    context.Print("  thickness   from z {}: {} {}, line width compensation {} {}\n", Plain(entry.min_z, 5),
                  Plain(entry.layer_thickness, 5), unit, Plain(entry.line_width_compensation, 5), unit);
  }
  if (!each_layer || summary.layers.empty()) return;
  context.Print("{:>8} {:>12} {:>10} {:>10} {:>14}\n", "layer", "z " + unit, "boundaries", "vertices",
                "area " + unit + "2");
  for (std::size_t i = 0; i < summary.layers.size(); ++i) {
    const LayerSummary& layer = summary.layers[i];
    context.Print("{:>8} {:>12} {:>10} {:>10} {:>14}\n", i + 1, Plain(layer.z, 5), layer.boundaries,
                  layer.vertices, Plain(layer.area, 3));
  }
}

}  // namespace trqprep
