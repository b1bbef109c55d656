#include "nesting/shape.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <queue>

namespace trqprep::nesting {
namespace {

constexpr std::uint32_t kEdgesInLeaf = 4;
constexpr double kPoleCover = 0.9;  // of the area: enough discs
constexpr float kFarAway = 1e15;

double SignedArea(const Ring& ring) {
  double twice = 0;
  for (std::size_t i = 0; i < ring.size(); ++i) {
    const Point &a = ring[i], &b = ring[i + 1 < ring.size() ? i + 1 : 0];
    twice += (a.x - ring[0].x) * (b.y - ring[0].y) - (b.x - ring[0].x) * (a.y - ring[0].y);
  }
  return twice / 2;
}

/// Without corners that repeat the one before.
Ring Distinct(const Ring& ring) {
  Ring kept;
  for (const Point& p : ring) {
    if (kept.empty() || p.x != kept.back().x || p.y != kept.back().y) kept.push_back(p);
  }
  while (kept.size() > 1 && kept.front().x == kept.back().x && kept.front().y == kept.back().y)
    kept.pop_back();
  return kept;
}

/// Every edge moved to its left by `inset`; corners move along their bisector, by four insets at most.
Ring Inset(const Ring& ring, double inset) {
  const std::size_t n = ring.size();
  if (n < 3) return ring;
  Ring moved(n);
  for (std::size_t i = 0; i < n; ++i) {
    const Point &before = ring[(i + n - 1) % n], &at = ring[i], &after = ring[(i + 1) % n];
    const double ux = at.x - before.x, uy = at.y - before.y, vx = after.x - at.x, vy = after.y - at.y;
    const double u = std::sqrt(ux * ux + uy * uy), v = std::sqrt(vx * vx + vy * vy);
    const double nx = -uy / u - vy / v, ny = ux / u + vx / v;  // sum of the normals to the left
    const double square = nx * nx + ny * ny;
    const double length = square > 0.25 ? 2 * inset / square : 8 * inset;
    moved[i] = {at.x + nx * length, at.y + ny * length};
  }
  return moved;
}

std::uint32_t Build(Shape& shape, std::uint32_t first, std::uint32_t count) {
  const auto index = static_cast<std::uint32_t>(shape.nodes.size());
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  Box box = {kInfinite, kInfinite, -kInfinite, -kInfinite};
  for (std::uint32_t i = first; i < first + count; ++i) {
    const Edge& e = shape.edges[i];
    box.left = std::min({box.left, e.ax, e.bx});
    box.bottom = std::min({box.bottom, e.ay, e.by});
    box.right = std::max({box.right, e.ax, e.bx});
    box.top = std::max({box.top, e.ay, e.by});
  }
  shape.nodes.push_back({box, first, count, 0});
  if (count > kEdgesInLeaf) {
    const std::uint32_t half = count / 2;
    Build(shape, first, half);
    const std::uint32_t right = Build(shape, first + half, count - half);
    shape.nodes[index].right = right;
  }
  return index;
}

double SquareToBox(const Box& box, double x, double y) {
  const double dx = std::max({box.left - x, 0.0, x - box.right});
  const double dy = std::max({box.bottom - y, 0.0, y - box.top});
  return dx * dx + dy * dy;
}

double SquareToEdge(double ax, double ay, double bx, double by, double x, double y) {
  const double ux = bx - ax, uy = by - ay, vx = x - ax, vy = y - ay;
  const double along = ux * vx + uy * vy, square = ux * ux + uy * uy;
  double t = 0;
  if (along > 0) t = along >= square ? 1 : along / square;
  const double dx = vx - t * ux, dy = vy - t * uy;
  return dx * dx + dy * dy;
}

void NearestEdge(const Shape& shape, std::uint32_t node, double x, double y, double& best) {
  const Shape::Node& here = shape.nodes[node];
  if (SquareToBox(here.box, x, y) >= best) return;
  if (here.right == 0) {
    for (std::uint32_t i = here.first; i < here.first + here.count; ++i) {
      const Edge& e = shape.edges[i];
      best = std::min(best, SquareToEdge(e.ax, e.ay, e.bx, e.by, x, y));
    }
    return;
  }
  std::uint32_t near = node + 1, far = here.right;
  if (SquareToBox(shape.nodes[far].box, x, y) < SquareToBox(shape.nodes[near].box, x, y))
    std::swap(near, far);
  NearestEdge(shape, near, x, y, best);
  NearestEdge(shape, far, x, y, best);
}

int Windings(const Shape& shape, std::uint32_t node, double x, double y) {
  const Shape::Node& here = shape.nodes[node];
  if (here.box.bottom > y || here.box.top < y || here.box.right < x) return 0;
  if (here.right != 0) return Windings(shape, node + 1, x, y) + Windings(shape, here.right, x, y);
  int windings = 0;
  for (std::uint32_t i = here.first; i < here.first + here.count; ++i) {
    const Edge& e = shape.edges[i];
    if ((e.ay <= y) == (e.by <= y)) continue;
    const double side = (e.bx - e.ax) * (y - e.ay) - (x - e.ax) * (e.by - e.ay);
    if (e.ay <= y ? side > 0 : side < 0) windings += e.ay <= y ? 1 : -1;
  }
  return windings;
}

/// Whether two edges meet, or come nearer than the root of `square`.
bool Meet(double ax, double ay, double bx, double by, const Edge& e, double square) {
  const double ux = bx - ax, uy = by - ay, vx = e.bx - e.ax, vy = e.by - e.ay;
  const double a = ux * (e.ay - ay) - uy * (e.ax - ax), b = ux * (e.by - ay) - uy * (e.bx - ax);
  if ((a <= 0 || b <= 0) && (a >= 0 || b >= 0)) {
    const double c = vx * (ay - e.ay) - vy * (ax - e.ax), d = vx * (by - e.ay) - vy * (bx - e.ax);
    if ((c <= 0 || d <= 0) && (c >= 0 || d >= 0)) {
      // On one line they still may lie apart.
      if (std::max(std::min(ax, bx), std::min(e.ax, e.bx)) <=
              std::min(std::max(ax, bx), std::max(e.ax, e.bx)) &&
          std::max(std::min(ay, by), std::min(e.ay, e.by)) <=
              std::min(std::max(ay, by), std::max(e.ay, e.by))) {
        return true;
      }
    }
  }
  return square > 0 && (SquareToEdge(ax, ay, bx, by, e.ax, e.ay) < square ||
                        SquareToEdge(ax, ay, bx, by, e.bx, e.by) < square ||
                        SquareToEdge(e.ax, e.ay, e.bx, e.by, ax, ay) < square ||
                        SquareToEdge(e.ax, e.ay, e.bx, e.by, bx, by) < square);
}

struct EdgeSearch {
  const Shape& first;
  const Shape& second;
  double dx, dy;  // of the second
  double gap;
  Steps& steps;

  bool Apart(const Box& a, const Box& b) const {
    return a.left > b.right + dx + gap || b.left + dx > a.right + gap || a.bottom > b.top + dy + gap ||
           b.bottom + dy > a.top + gap;
  }

  bool Near(std::uint32_t node_a, std::uint32_t node_b) const {
    const Shape::Node &a = first.nodes[node_a], &b = second.nodes[node_b];
    ++steps;
    if (Apart(a.box, b.box)) return false;
    if (a.right == 0 && b.right == 0) {
      for (std::uint32_t j = b.first; j < b.first + b.count; ++j) {
        const Edge& e = second.edges[j];
        const double ax = e.ax + dx, ay = e.ay + dy, bx = e.bx + dx, by = e.by + dy;
        const double left = std::min(ax, bx) - gap, right = std::max(ax, bx) + gap;
        const double bottom = std::min(ay, by) - gap, top = std::max(ay, by) + gap;
        if (left > a.box.right || right < a.box.left || bottom > a.box.top || top < a.box.bottom) continue;
        steps += a.count;
        for (std::uint32_t i = a.first; i < a.first + a.count; ++i) {
          const Edge& f = first.edges[i];
          if (std::min(f.ax, f.bx) > right || std::max(f.ax, f.bx) < left || std::min(f.ay, f.by) > top ||
              std::max(f.ay, f.by) < bottom) {
            continue;
          }
          if (Meet(ax, ay, bx, by, f, gap * gap)) return true;
        }
      }
      return false;
    }
    if (b.right == 0 || (a.right != 0 && a.count >= b.count))
      return Near(node_a + 1, node_b) || Near(a.right, node_b);
    return Near(node_a, node_b + 1) || Near(node_a, b.right);
  }
};

/// Whether an edge meets one of the node's from `from` on other than at a common corner.
bool MeetsAny(const Shape& shape, std::uint32_t node, const Edge& e, std::uint32_t from) {
  const Shape::Node& here = shape.nodes[node];
  if (here.first + here.count <= from || std::min(e.ax, e.bx) > here.box.right ||
      std::max(e.ax, e.bx) < here.box.left || std::min(e.ay, e.by) > here.box.top ||
      std::max(e.ay, e.by) < here.box.bottom) {
    return false;
  }
  if (here.right != 0) return MeetsAny(shape, node + 1, e, from) || MeetsAny(shape, here.right, e, from);
  for (std::uint32_t i = std::max(here.first, from); i < here.first + here.count; ++i) {
    const Edge& f = shape.edges[i];
    const auto same = [](double ax, double ay, double bx, double by) { return ax == bx && ay == by; };
    const bool at_a = same(e.ax, e.ay, f.ax, f.ay) || same(e.ax, e.ay, f.bx, f.by);
    const bool at_b = same(e.bx, e.by, f.ax, f.ay) || same(e.bx, e.by, f.bx, f.by);
    if (at_a && at_b) return true;
    if (!at_a && !at_b) {
      if (Meet(e.ax, e.ay, e.bx, e.by, f, 0)) return true;
      continue;
    }
    // From the common corner in the same direction, one lies over the other.
    const double x = at_a ? e.ax : e.bx, y = at_a ? e.ay : e.by;
    const bool from_a = same(x, y, f.ax, f.ay);
    const double ux = (at_a ? e.bx : e.ax) - x, uy = (at_a ? e.by : e.ay) - y;
    const double vx = (from_a ? f.bx : f.ax) - x, vy = (from_a ? f.by : f.ay) - y;
    if (ux * vy == uy * vx && ux * vx + uy * vy > 0) return true;
  }
  return false;
}

}  // namespace

bool CrossesItself(const Shape& shape) {
  for (std::uint32_t i = 0; i < shape.edges.size(); ++i) {
    if (MeetsAny(shape, 0, shape.edges[i], i + 1)) return true;
  }
  return false;
}

bool Meets(const Shape& shape, const Edge& edge) { return MeetsAny(shape, 0, edge, 0); }

Ring HullOf(std::vector<Point> points) {
  if (points.size() < 3) return points;
  std::sort(points.begin(), points.end(),
            [](const Point& a, const Point& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; });
  Ring hull;
  for (int side = 0; side < 2; ++side) {
    const std::size_t start = hull.size();
    for (const Point& p : points) {
      while (hull.size() >= start + 2) {
        const Point &a = hull[hull.size() - 2], &b = hull.back();
        if ((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x) > 0) break;
        hull.pop_back();
      }
      hull.push_back(p);
    }
    hull.pop_back();
    std::reverse(points.begin(), points.end());
  }
  return hull;
}

bool Shape::Contains(double x, double y) const { return Windings(*this, 0, x, y) != 0; }

double Shape::DistanceToEdges(double x, double y) const {
  double best = std::numeric_limits<double>::infinity();
  NearestEdge(*this, 0, x, y, best);
  return std::sqrt(best);
}

Poles FindPoles(const Shape& shape, std::size_t most) {
  Poles poles;
  double covered = 0;
  const double smallest = std::max(shape.width, shape.height) * 1e-6;
  // How far inside the outline and outside of the discs found so far a point is.
  const auto depth = [&](double x, double y) {
    double distance = shape.DistanceToEdges(x, y);
    if (!shape.Contains(x, y)) return -distance;
    for (std::size_t i = 0; i < poles.count; ++i) {
      const double dx = x - poles.x[i], dy = y - poles.y[i];
      distance = std::min(distance, std::sqrt(dx * dx + dy * dy) - static_cast<double>(poles.radius[i]));
    }
    return distance;
  };
  struct Cell {
    double x, y, half, depth;
    double Bound() const { return depth + half * 1.4142135623730951; }
    bool operator<(const Cell& other) const {
      if (Bound() != other.Bound()) return Bound() < other.Bound();
      return x != other.x ? x < other.x : y < other.y;
    }
  };
  double first_radius = 0;
  while (poles.count < most && covered < kPoleCover * shape.area) {
    std::priority_queue<Cell> cells;
    const double half =
        std::max(std::min(shape.width, shape.height), std::max(shape.width, shape.height) / 16) / 2;
    if (!(half > 0)) break;
    for (double x = half; x - half < shape.width; x += 2 * half) {
      for (double y = half; y - half < shape.height; y += 2 * half) cells.push({x, y, half, depth(x, y)});
    }
    Cell best = {0, 0, 0, 0};
    for (int rounds = 0; !cells.empty() && rounds < 2000; ++rounds) {
      const Cell cell = cells.top();
      cells.pop();
      if (cell.depth > best.depth) best = cell;
      if (cell.Bound() <= best.depth * 1.02 + smallest) break;
      const double quarter = cell.half / 2;
      for (int corner = 0; corner < 4; ++corner) {
        const double x = cell.x + (corner % 2 ? quarter : -quarter),
                     y = cell.y + (corner / 2 ? quarter : -quarter);
        const Cell part = {x, y, quarter, depth(x, y)};
        if (part.Bound() > best.depth * 1.02 + smallest) cells.push(part);
      }
    }
    if (best.depth <= smallest || best.depth < first_radius * 0.04) break;
    if (poles.count == 0) first_radius = best.depth;
    poles.x.push_back(static_cast<float>(best.x));
    poles.y.push_back(static_cast<float>(best.y));
    poles.radius.push_back(static_cast<float>(best.depth));
    ++poles.count;
    covered += 3.14159265358979 * best.depth * best.depth;
  }
  if (poles.count == 0) {  // no area
    poles.x.push_back(static_cast<float>(shape.width / 2));
    poles.y.push_back(static_cast<float>(shape.height / 2));
    poles.radius.push_back(0);
    poles.count = 1;
  }
  while (poles.x.size() % 4 != 0) {
    poles.x.push_back(kFarAway);
    poles.y.push_back(kFarAway);
    poles.radius.push_back(0);
  }
  return poles;
}

Shape MakeShape(const Outline& outline, const Turn& turn, bool use_holes, double inset, const Shape* other,
                bool poles) {
  Shape shape;
  shape.turn = turn;
  std::vector<Point> all;
  const auto add = [&](const Ring& ring, bool outer) {
    Ring turned;
    for (const Point& p : ring) {
      turned.push_back({turn.cosine * p.x - turn.sine * p.y, turn.sine * p.x + turn.cosine * p.y});
    }
    turned = Distinct(turned);
    if (turned.empty()) return;
    const double area = SignedArea(turned);
    if ((area < 0) == outer) std::reverse(turned.begin(), turned.end());
    shape.area += outer ? std::fabs(area) : -std::fabs(area);
    all.insert(all.end(), turned.begin(), turned.end());
    if (inset > 0) turned = Inset(turned, inset);
    if (outer) shape.region_points.push_back(turned[0]);
    for (std::size_t i = 0; i < turned.size(); ++i) {
      const Point &a = turned[i], &b = turned[i + 1 < turned.size() ? i + 1 : 0];
      shape.edges.push_back({a.x, a.y, b.x, b.y});
    }
  };
  for (const Region& region : outline) {
    add(region.outer, true);
    if (use_holes) {
      for (const Ring& hole : region.holes) add(hole, false);
    }
  }
  Box box = {all[0].x, all[0].y, all[0].x, all[0].y};
  for (const Point& p : all) {
    box = {std::min(box.left, p.x), std::min(box.bottom, p.y), std::max(box.right, p.x),
           std::max(box.top, p.y)};
  }
  shape.corner = {box.left, box.bottom};
  shape.width = box.right - box.left;
  shape.height = box.top - box.bottom;
  shape.diameter = std::sqrt(shape.width * shape.width + shape.height * shape.height);
  const Ring corners = HullOf(std::move(all));
  const double hull = corners.size() < 3 ? 0 : SignedArea(corners);
  shape.weight = std::sqrt(hull > 0 ? hull : std::max(shape.width * shape.height, 1e-12));
  for (Edge& e : shape.edges) {
    e.ax -= box.left, e.bx -= box.left;
    e.ay -= box.bottom, e.by -= box.bottom;
  }
  for (Point& p : shape.region_points) p.x -= box.left, p.y -= box.bottom;
  Build(shape, 0, static_cast<std::uint32_t>(shape.edges.size()));
  if (!poles) return shape;
  if (!other) {
    shape.poles = FindPoles(shape);
    return shape;
  }
  shape.poles = other->poles;
  for (std::size_t i = 0; i < shape.poles.count; ++i) {
    const double u = static_cast<double>(other->poles.x[i]) + other->corner.x;
    const double v = static_cast<double>(other->poles.y[i]) + other->corner.y;
    const double x = other->turn.cosine * u + other->turn.sine * v;
    const double y = other->turn.cosine * v - other->turn.sine * u;
    shape.poles.x[i] = static_cast<float>(turn.cosine * x - turn.sine * y - box.left);
    shape.poles.y[i] = static_cast<float>(turn.sine * x + turn.cosine * y - box.bottom);
  }
  return shape;
}

bool Collide(const Shape& first, const Shape& second, double dx, double dy, double gap, Steps& steps) {
  steps += 2;
  if (dx > first.width + gap || dx + second.width < -gap || dy > first.height + gap ||
      dy + second.height < -gap) {
    return false;
  }
  // Where the largest discs overlap, the outlines need not be compared. Just inside: a disc's radius is
  // rounded.
  const Poles &p = first.poles, &q = second.poles;
  const std::size_t large = std::min<std::size_t>(p.count, 2);
  for (std::size_t i = 0; i < large; ++i) {
    const double x = p.x[i] - dx, y = p.y[i] - dy, radius = (p.radius[i] + gap) * (1 - 1e-6);
    steps += 1;
    for (std::size_t j = 0; j < q.count; ++j) {
      const double ex = x - q.x[j], ey = y - q.y[j], reach = radius + q.radius[j];
      if (ex * ex + ey * ey < reach * reach * (1 - 1e-6)) return true;
    }
  }
  const EdgeSearch search = {first, second, dx, dy, gap, steps};
  if (search.Near(0, 0)) return true;
  // No edges meet: a region lies in the other shape wholly or not at all.
  for (const Point& point : second.region_points) {
    const double x = point.x + dx, y = point.y + dy;
    if (x >= 0 && x <= first.width && y >= 0 && y <= first.height && first.Contains(x, y)) return true;
  }
  for (const Point& point : first.region_points) {
    const double x = point.x - dx, y = point.y - dy;
    if (x >= 0 && x <= second.width && y >= 0 && y <= second.height && second.Contains(x, y)) return true;
  }
  return false;
}

float Less(float a, float b) { return a < b ? a : b; }

double Overlap(const Shape& first, const Shape& second, double dx, double dy, double gap, Steps& steps) {
  const auto near = static_cast<float>(0.01 * std::max(first.diameter, second.diameter));
  const float near_square = near * near, near_twice = near + near;
  const Poles &p = first.poles, &q = second.poles;
  const std::size_t n = q.x.size();
  float sums[kMostPoles + 4] = {};
  const float *qx = q.x.data(), *qy = q.y.data(), *qr = q.radius.data();
  for (std::size_t i = 0; i < p.count; ++i) {
    const auto x = static_cast<float>(p.x[i] - dx), y = static_cast<float>(p.y[i] - dy);
    const float radius = p.radius[i], reach = static_cast<float>(radius + gap);
    for (std::size_t j = 0; j < n; ++j) {
      const float ex = x - qx[j], ey = y - qy[j];
      const float depth = reach + qr[j] - std::sqrt(ex * ex + ey * ey);
      // Below `near` the depth falls off as a hyperbola, which goes on smoothly. Without branches: four at a
      // time.
      const float value = near_square / (near_twice - Less(depth, near)) + (depth - Less(depth, near));
      sums[j] += value * Less(radius, qr[j]);
    }
  }
  steps += (p.count * n) / 8 + 2;
  double sum = 0;
  for (std::size_t j = 0; j < n; ++j) sum += static_cast<double>(sums[j]);
  return std::sqrt((sum + static_cast<double>(near_square)) * (first.weight * second.weight));
}

}  // namespace trqprep::nesting
