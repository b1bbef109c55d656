#include "benchmarks/nest_peer.h"

#if TRQ_HAS_NEST2D

#include <algorithm>
#include <cmath>
#include <limits>

#include <libnest2d/libnest2d.hpp>

namespace {

using libnest2d::Box;
using libnest2d::FirstFitSelection;
using libnest2d::Item;
using libnest2d::NestConfig;
using libnest2d::NfpPlacer;
using Alignment = NfpPlacer::Config::Alignment;
using trqprep::nesting::Job;
using trqprep::nesting::Part;
using trqprep::nesting::Point;
using trqprep::nesting::Ring;

/// Its shapes that keep out of one another's notches are convex: with others pieces come to lie over each
/// other.
std::vector<Item> ItemsOf(const Job& job, double scale, bool hulls) {
  std::vector<Item> items;
  for (const Part& part : job.parts) {
    ClipperLib::Path path;
    for (const Point& p : part.outline.at(0).outer)
      path.emplace_back(std::llround(p.x * scale), std::llround(p.y * scale));
    if (ClipperLib::Orientation(path)) std::reverse(path.begin(), path.end());
    path.push_back(path.front());
    ClipperLib::Polygon polygon(path);
    if (hulls) polygon = libnest2d::shapelike::convexHull(polygon);
    for (int copy = 0; copy < part.copies; ++copy) items.emplace_back(polygon);
  }
  return items;
}

/// Length of the strip used, when our check finds gaps and walls kept (but for what rounding to integers
/// makes).
double LengthOf(const Job& job, const std::vector<Item>& items, double scale) {
  Job placed;
  placed.gap = job.gap;
  placed.container = job.container;
  std::vector<trqprep::nesting::Placement> placements;
  double left = std::numeric_limits<double>::infinity(), bottom = left, right = -left;
  for (const Item& item : items) {
    if (item.binId() != 0) return 0;
    Ring ring;
    for (const auto& p : item.transformedShape().Contour) {
      ring.push_back({static_cast<double>(p.X) / scale, static_cast<double>(p.Y) / scale});
      left = std::min(left, ring.back().x), right = std::max(right, ring.back().x);
      bottom = std::min(bottom, ring.back().y);
    }
    Part part;
    part.outline = {{ring, {}}};
    placements.push_back({placed.parts.size(), 0, 0, 0});
    placed.parts.push_back(part);
  }
  for (auto& placement : placements) placement.x = -left, placement.y = -bottom;
  const auto faults = trqprep::nesting::CheckPlacements(placed, placements, {}, 0.02 * job.gap);
  return faults.empty() ? right - left : 0;
}

}  // namespace

double PeerLength(const Job& job) {
  using libnest2d::Coord;
  const double scale = 1e7 / job.container.width;
  double area = 0;
  for (const Part& part : job.parts) area += trqprep::nesting::AreaOf(part.outline) * part.copies;
  const auto gap = std::llround(job.gap * scale);
  const auto length = std::llround(6 * area / job.container.width * scale);
  double best = 0;
  for (int run = 0; run < 8; ++run) {
    const bool hulls = run % 2 == 1;
    const int setting = run / 2;
    // It keeps half of the gap to the walls, ours keeps none.
    const auto width = std::llround(job.container.width * scale) + gap;
    NestConfig<NfpPlacer, FirstFitSelection> config;
    auto& placer = config.placer_config;
    placer.accuracy = 1;
    placer.parallel = false;
    placer.alignment = placer.starting_point = Alignment::BOTTOM_LEFT;
    placer.rotations.clear();
    for (const auto& turn : job.parts.at(0).turns)
      placer.rotations.emplace_back(std::atan2(turn.sine, turn.cosine));
    Box pile;
    if (setting < 3) {
      // Leftmost by the right side, by the middle or by the left side, where the pile stays as high as the
      // strip. The last setting is its own.
      placer.before_packing = [&](const auto& merged, const auto&, const auto&) {
        pile = libnest2d::shapelike::boundingBox(merged);
      };
      placer.object_function = [&, width, setting](const Item& item) {
        const auto box = item.boundingBox();
        const Coord high =
            std::max(box.maxCorner().Y, pile.maxCorner().Y) - std::min(box.minCorner().Y, pile.minCorner().Y);
        const Coord beyond = std::max<Coord>({0, high - width, pile.minCorner().X - box.minCorner().X});
        // Above 0: its optimiser may end at what is not.
        const auto left = static_cast<double>(box.minCorner().X + length),
                   right = static_cast<double>(box.maxCorner().X + length);
        const double x = setting == 0 ? right : setting == 1 ? (left + right) / 2 : left;
        return (x + 0.01 * static_cast<double>(box.minCorner().Y + width) +
                1e4 * static_cast<double>(beyond)) /
               static_cast<double>(width);
      };
    }
    std::vector<Item> placed = ItemsOf(job, scale, hulls);
    // What ends exactly at the wall is rounded to beyond it.
    libnest2d::nest<NfpPlacer, FirstFitSelection>(placed, Box(length, width + 100), gap, config);
    const double used = LengthOf(job, placed, scale);
    if (used > 0 && (best == 0 || used < best)) best = used;
  }
  return best;
}

#else

double PeerLength(const trqprep::nesting::Job&) { return 0; }

#endif
