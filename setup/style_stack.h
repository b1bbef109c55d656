/// Inserting a style into a stack of styles by Z, for models and platforms alike.
#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace trq::detail {

template <class Style>
using StyleStack = std::vector<std::shared_ptr<Style>>;

template <class Style>
auto FindInStack(const StyleStack<Style>& stack, const Style* style) {
  return std::find_if(stack.begin(), stack.end(),
                      [style](const auto& listed) { return listed.get() == style; });
}

/// 0.00005 inch (in single precision) in platform units: the difference within which two Z values meet.
inline double StackTolerance(int platform_units) { return 0.00005f * (platform_units == 1 ? 25.4 : 1.0); }

/// Inserts before the first style that starts above the new one, or at the end.
template <class Style>
void InsertByStart(StyleStack<Style>& stack, const std::shared_ptr<Style>& fresh) {
  const float start = fresh->StartZ.GetValue();
  stack.insert(std::find_if(stack.begin(), stack.end(),
                            [start](const auto& listed) { return listed->StartZ.GetValue() > start; }),
               fresh);
}

/// Inserts `fresh` by its range. Every style that holds the range (ends inclusive, within `tolerance`) gives
/// way; the new one is linked once, at the first of them. `unlink` is called with a style that was replaced.
template <class Style, class Unlink>
void InsertRange(StyleStack<Style>& stack, const std::shared_ptr<Style>& fresh, double tolerance,
                 Unlink unlink) {
  const double start = fresh->StartZ.GetValue();
  const double end = fresh->EndZ.GetValue();
  bool linked = false;
  const StyleStack<Style> snapshot = stack;  // what the loop inserts is not visited
  for (const std::shared_ptr<Style>& style : snapshot) {
    const double style_start = style->StartZ.GetValue();
    const double style_end = style->EndZ.GetValue();
    if (!(style_start - tolerance <= start && end <= style_end + tolerance)) continue;
    const bool same_start = std::fabs(start - style_start) <= tolerance;
    const bool same_end = std::fabs(end - style_end) <= tolerance;
    auto place = std::find(stack.begin(), stack.end(), style);
    if (same_start && same_end) {
      if (linked) {
        stack.erase(place);
      } else {
        *place = fresh;
      }
      unlink(style);
    } else if (same_start) {
      style->StartZ.SetValue(fresh->EndZ.GetValue());
      if (!linked) stack.insert(place, fresh);
    } else {
      std::shared_ptr<Style> above;
      if (!same_end) {
        above = std::make_shared<Style>(*style);
        above->StartZ.SetValue(fresh->EndZ.GetValue());
      }
      style->EndZ.SetValue(fresh->StartZ.GetValue());
      ++place;
      if (!linked) place = stack.insert(place, fresh) + 1;
      if (above) stack.insert(place, above);
    }
    linked = true;
  }
  if (!linked) InsertByStart(stack, fresh);
}

}  // namespace trq::detail
