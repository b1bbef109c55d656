// The pictures of docs/nesting.md, from real results: nest_pictures FOLDER writes nesting-*.svg there.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "nesting/constructive_fill.h"
#include "nesting/separation.h"
#include "nesting/shape.h"
#include "trq/core/elementary.h"
#include "trqprep/nesting.h"

namespace {

using namespace trqprep::nesting;

const char* const kColours[] = {"#8fb8de", "#f2b880", "#a8d5a2", "#d9a5c7", "#e8d97a", "#b9b5e0", "#e59a8f"};

Turn TurnBy(double degrees) {
  const auto [sine, cosine] = trq::core::SineCosineOf(degrees);
  return {sine, cosine};
}

std::vector<Turn> Turns(int count) {
  std::vector<Turn> turns;
  for (int i = 0; i < count; ++i) turns.push_back(TurnBy(360.0 * i / count));
  return turns;
}

/// A ring of points of radii that repeat.
Ring Wheel(const std::vector<double>& radii, int times) {
  Ring ring;
  const auto count = static_cast<int>(radii.size()) * times;
  for (int i = 0; i < count; ++i) {
    const Turn turn = TurnBy(360.0 * i / count);
    const double radius = radii[static_cast<std::size_t>(i) % radii.size()];
    ring.push_back({radius * turn.cosine, radius * turn.sine});
  }
  return ring;
}

Part Copies(Outline outline, int copies, int turns) {
  Part part;
  part.outline = std::move(outline);
  part.copies = copies;
  part.turns = Turns(turns);
  return part;
}

/// Made up for these pictures.
std::vector<Part> Parts() {
  const Ring hook = {{0, 0}, {26, 0}, {26, 8}, {9, 8}, {9, 22}, {17, 22}, {17, 30}, {0, 30}};
  const Ring bracket = {{0, 0}, {34, 0}, {34, 6}, {20, 9}, {14, 9}, {0, 6}};
  const Ring arrow = {{0, 8}, {18, 8}, {18, 0}, {32, 12}, {18, 24}, {18, 16}, {0, 16}};
  const Ring wedge = {{0, 0}, {24, 0}, {6, 18}};
  return {Copies({{Wheel({15}, 24), {Wheel({10.5}, 24)}}}, 3, 1),
          Copies({{hook, {}}}, 5, 8),
          Copies({{bracket, {}}}, 5, 8),
          Copies({{arrow, {}}}, 4, 8),
          Copies({{wedge, {}}}, 6, 8),
          Copies({{Wheel({9, 9, 5.5, 5.5}, 6), {}}}, 5, 4)};
}

class Drawing {
 public:
  Drawing(double width, double height) : width_(width), height_(height) {}

  /// Y points up from `bottom`, which is measured from the top.
  void Piece(const Outline& outline, const Turn& turn, double x, double y, double bottom, std::size_t colour,
             double opacity) {
    text_ << "<path fill-rule=\"evenodd\" fill=\"" << kColours[colour % std::size(kColours)]
          << "\" fill-opacity=\"" << opacity << "\" stroke=\"#333\" stroke-width=\".35\" d=\"";
    for (const Region& region : outline) {
      std::vector<const Ring*> rings = {&region.outer};
      for (const Ring& hole : region.holes) rings.push_back(&hole);
      for (const Ring* ring : rings) {
        char letter = 'M';
        for (const Point& p : *ring) {
          text_ << letter << Rounded(turn.cosine * p.x - turn.sine * p.y + x) << ' '
                << Rounded(bottom - (turn.sine * p.x + turn.cosine * p.y + y));
          letter = 'L';
        }
        text_ << 'Z';
      }
    }
    text_ << "\"/>\n";
  }
  void Rectangle(double x, double top, double width, double height, const char* style) {
    text_ << "<rect x=\"" << Rounded(x) << "\" y=\"" << Rounded(top) << "\" width=\"" << Rounded(width)
          << "\" height=\"" << Rounded(height) << "\" fill=\"none\" " << style << "/>\n";
  }
  void Circle(double x, double y, double radius) {
    text_ << "<circle cx=\"" << Rounded(x) << "\" cy=\"" << Rounded(y) << "\" r=\"" << Rounded(radius)
          << "\" fill=\"#d33\" fill-opacity=\".25\" stroke=\"#d33\" stroke-width=\".25\"/>\n";
  }
  void Text(double x, double y, const std::string& text) {
    text_ << "<text x=\"" << Rounded(x) << "\" y=\"" << Rounded(y) << "\">" << text << "</text>\n";
  }
  void Write(const std::string& path) const {
    std::ofstream file(path);
    file << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width_ << ' ' << height_
         << "\" width=\"" << 4 * width_ << "\" font-family=\"sans-serif\" font-size=\"4.5\" fill=\"#222\">\n"
         << "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n"
         << text_.str() << "</svg>\n";
  }

 private:
  static double Rounded(double value) { return std::round(value * 100) / 100; }
  double width_, height_;
  std::ostringstream text_;
};

const char* const kWall = "stroke=\"#333\" stroke-width=\".6\"";
const char* const kThin = "stroke=\"#888\" stroke-width=\".3\" stroke-dasharray=\"2 1\"";

/// An outline with its discs and the boxes of its edges.
void DrawShape(const std::string& folder) {
  Drawing drawing(134, 46);
  const std::vector<Part> parts = Parts();
  double x = 5;
  for (const std::size_t p : {0u, 1u, 3u}) {
    const Shape shape = MakeShape(parts[p].outline, TurnBy(p == 0 ? 0 : 30), true, 0, nullptr, true);
    const double bottom = 40;
    drawing.Piece(parts[p].outline, shape.turn, x - shape.corner.x, -shape.corner.y, bottom, p, 0.8);
    for (const Shape::Node& node : shape.nodes) {
      if (node.right != 0) continue;
      drawing.Rectangle(x + node.box.left, bottom - node.box.top, node.box.right - node.box.left,
                        node.box.top - node.box.bottom, kThin);
    }
    for (std::size_t i = 0; i < shape.poles.count; ++i) {
      drawing.Circle(x + static_cast<double>(shape.poles.x[i]),
                     bottom - static_cast<double>(shape.poles.y[i]),
                     static_cast<double>(shape.poles.radius[i]));
    }
    x += shape.width + 14;
  }
  drawing.Write(folder + "/nesting-shape.svg");
}

std::string Figure(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

/// A strip after the constructive pass, made shorter with what then overlaps, and after the search.
void DrawStrip(const std::string& folder) {
  Job job;
  job.parts = Parts();
  job.container = {0, 60, true, 0};
  job.gap = 1;
  double area = 0;
  for (const Part& part : job.parts) area += AreaOf(part.outline) * part.copies;
  Drawing drawing(272, 3 * 74);
  const auto caption = [&](const char* what, double length) {
    return std::string(what) + ": length " + Figure(length) + ", " + Figure(100 * area / (60 * length)) +
           " % used";
  };
  const Result first = Nest(job, {});
  Limits limits;
  limits.steps = 6 * kStepsPerSecond;
  limits.threads = 2;
  const Result searched = Nest(job, limits);
  const auto draw = [&](const std::vector<Placement>& placements, double top, double length) {
    drawing.Rectangle(4, top, length, 60, kWall);
    for (const Placement& p : placements) {
      const Part& part = job.parts[p.part];
      drawing.Piece(part.outline, part.turns[p.turn], p.x + 4, p.y, top + 60, p.part, 0.75);
    }
  };
  draw(first.placements, 8, first.length);
  drawing.Text(4, 5.5, caption("Constructive pass", first.length));

  const Model model(job);
  std::vector<Spot> spots;
  for (const Placement& p : first.placements) {
    const std::size_t shape = model.kinds[p.part].first_shape + p.turn;
    spots.push_back({shape, p.x + model.shapes[shape].corner.x, p.y + model.shapes[shape].corner.y});
  }
  Separation separation(model, 1);
  const double shorter = 0.93 * first.length;
  separation.Start(spots, spots.size(), shorter);
  separation.Sweep();
  std::vector<Placement> overlapping;
  for (const Spot& spot : separation.spots()) {
    const Shape& shape = model.shapes[spot.shape];
    const std::size_t part = model.kind_of_shape[spot.shape];
    overlapping.push_back(
        {part, spot.shape - model.kinds[part].first_shape, spot.x - shape.corner.x, spot.y - shape.corner.y});
  }
  draw(overlapping, 82, shorter);
  drawing.Text(4, 79.5, "Made 7 % shorter, after one sweep: what overlaps is driven apart");
  draw(searched.placements, 156, searched.length);
  drawing.Text(4, 153.5, caption("After the search", searched.length));
  drawing.Write(folder + "/nesting-strip.svg");
}

/// Two containers with margins, gaps, a fixed piece and pieces in holes.
void DrawContainers(const std::string& folder) {
  Job job;
  job.parts = Parts();
  job.container = {110, 80, false, 5};
  job.gap = 2;
  for (Part& part : job.parts) part.copies = part.copies * 5 / 4;
  job.parts.push_back(Copies({{Wheel({4}, 16), {}}}, 4, 1));
  job.parts.push_back(Copies({{{{0, 0}, {22, 0}, {22, 14}, {0, 14}}, {}}}, 0, 1));
  job.fixed = {{7, 0, 60, 30, 0}};
  Limits limits;
  limits.steps = 10 * kStepsPerSecond;
  limits.threads = 2;
  const PlatesResult result = NestPlates(job, 9, limits);
  const auto count = static_cast<double>(result.containers.size());
  Drawing drawing(count * 116 + 2, 92);
  for (std::size_t c = 0; c < result.containers.size(); ++c) {
    const double left = 4 + 116 * static_cast<double>(c);
    drawing.Rectangle(left, 8, 110, 80, kWall);
    drawing.Rectangle(left + 5, 13, 100, 70, kThin);
    drawing.Text(left, 5.5,
                 "Container " + std::to_string(c) + ", length " + Figure(result.containers[c].length));
    std::vector<Placement> all = result.containers[c].placements;
    for (const Placement& fixed : job.fixed) {
      if (fixed.container == c) all.push_back(fixed);
    }
    for (const Placement& p : all) {
      const Part& part = job.parts[p.part];
      drawing.Piece(part.outline, part.turns[p.turn], p.x + left, p.y, 88, p.part, 0.9);
    }
  }
  drawing.Write(folder + "/nesting-containers.svg");
  std::cout << result.containers.size() << " containers, " << result.steps << " steps\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "nest_pictures FOLDER\n";
    return 2;
  }
  DrawShape(argv[1]);
  DrawStrip(argv[1]);
  DrawContainers(argv[1]);
  return 0;
}
