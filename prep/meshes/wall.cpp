#include "trqprep/wall.h"

#include <cmath>
#include <vector>

#include "trqprep/facet_distance.h"

namespace trqprep {

Wall MeasureWall(Observer& observer, const CTL& outer, const CTL& inner, double thin) {
  const FacetDistances distances(inner);
  Wall wall;
  double sum = 0;
  int64_t thin_points = 0;
  const auto measure = [&](const Point& point, int facet) {
    // The inner skin of a hollow part has the facets of the outer one, so the like-numbered one is near.
    const double distance = distances.From(point, facet);
    if (!std::isfinite(distance)) return;
    if (wall.points++ == 0 || distance < wall.least) {
      wall.least = distance;
      wall.place = point;
    }
    sum += distance;
    if (distance < thin) ++thin_points;
  };
  // Of closed surfaces there are three points for two facets; of loose facets more, which all are bounded
  // alike.
  const size_t searches = 2 * size_t(outer.num_triangles());
  std::vector<bool> seen(size_t(outer.num_vertices()), false);
  for (int facet = 0; facet < outer.num_triangles(); ++facet) {
    observer.StopIfCancelled();
    const Corners corners = CornersOf(outer, facet);
    Point middle;
    for (size_t k = 0; k < 3; ++k) {
      middle[k] = (corners[0][k] + corners[1][k] + corners[2][k]) / 3;
      const auto vertex = size_t(outer.triangles()[facet][int(k)]);
      if (!seen[vertex]) measure(corners[k], facet);
      seen[vertex] = true;
    }
    measure(middle, facet);
    if (distances.TookTooLong(searches)) {
      wall.bound = true;
      return wall;
    }
  }
  if (wall.points == 0) return wall;
  wall.mean = sum / double(wall.points);
  wall.thin_share = double(thin_points) / double(wall.points);
  return wall;
}

}  // namespace trqprep
