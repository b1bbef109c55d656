#include "trqprep/vat_fit.h"

#include <fmt/format.h>

#include <algorithm>

namespace trqprep {

Point VatExcess(const CTL& mesh, const Matrix4& prepare, const std::array<double, 3>& vat,
                const std::vector<double>& turns, bool stands) {
  Point best{};
  double least = 1e300;
  for (const double degrees : turns) {
    const Box box = BoxAfter(mesh, Compose(Matrix4::Rotation(2, degrees), prepare));
    const Point size = box.Size();
    const Point over = {size[0] - vat[0], size[1] - vat[1], (stands ? box.max[2] : size[2]) - vat[2]};
    const double worst = std::max(over[0], over[1]);
    if (worst < least) {
      least = worst;
      best = over;
    }
  }
  return best;
}

constexpr double kRounding = 1e-5;  // what single precision may add to the size of a part

std::optional<Message> TooBigForVat(const std::string& file, const std::string& part, const Point& excess,
                                    const std::array<double, 3>& vat, Units units, size_t turns) {
  const char* unit = UnitsName(units);
  std::string by;
  Json where{{"part", TextToJson(part)}, {"exceeds", Json::object()}};
  for (size_t axis = 0; axis < 3; ++axis) {
    if (excess[axis] <= kRounding) continue;
    const char name[] = {static_cast<char>('X' + axis), 0};
    by += fmt::format("{}{} {} in {}", by.empty() ? "" : ", ", Plain(excess[axis], 3), unit, name);
    where["exceeds"][std::string(1, static_cast<char>('x' + axis))] = NumberToJson(excess[axis]);
  }
  if (by.empty()) return std::nullopt;
  return Finding(Code::kTooBigForVat, file,
                 fmt::format("too large for the vat of {} x {} x {} {}: by {} (best of {})", Plain(vat[0], 3),
                             Plain(vat[1], 3), Plain(vat[2], 3), unit, by, Counted(int64_t(turns), "turn")))
      .At(where)
      .Hint("lay it down with 'trqprep transform', or name a larger --vat; is its unit right?");
}

}  // namespace trqprep
