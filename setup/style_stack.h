/// The lists of styles that models and platforms keep, stacked as trq/core/style_stack.h says.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "trq/core/style_stack.h"

namespace trq::detail {

template <class Style>
using StyleList = std::vector<std::shared_ptr<Style>>;

template <class Style>
auto FindInStack(const StyleList<Style>& list, const Style* style) {
  return std::find_if(list.begin(), list.end(),
                      [style](const auto& listed) { return listed.get() == style; });
}

/// True for the machines that cure with a large and a small spot.
bool HasLargeSpot(TRQ_TYPE machine);

/// Puts `fresh` into the list by its range, where ends meet within `tolerance`, or without one by its start.
/// A style that got two bands is copied for the upper one; `current`, unless null, is reset when it got none.
template <class Style>
void StackStyle(StyleList<Style>& list, const std::shared_ptr<Style>& fresh, std::optional<double> tolerance,
                std::shared_ptr<Style>* current) {
  StyleList<Style> waiting = list;
  waiting.push_back(fresh);
  const auto band = [&](size_t i) {
    return core::StyleBand{waiting[i]->StartZ.GetValue(), waiting[i]->EndZ.GetValue(), i};
  };
  std::vector<core::StyleBand> bands;
  for (size_t i = 0; i < list.size(); ++i) bands.push_back(band(i));
  if (tolerance) {
    core::InsertByRange(bands, band(list.size()), *tolerance);
  } else {
    core::InsertByStart(bands, band(list.size()));
  }
  list.clear();
  std::vector<bool> linked(waiting.size());
  for (const core::StyleBand& placed : bands) {
    const std::shared_ptr<Style>& style = waiting[placed.style];
    list.push_back(linked[placed.style] ? std::make_shared<Style>(*style) : style);
    linked[placed.style] = true;
    list.back()->StartZ.SetValue(placed.start);
    list.back()->EndZ.SetValue(placed.end);
  }
  for (size_t i = 0; i < waiting.size(); ++i) {
    if (!linked[i] && current && *current == waiting[i]) current->reset();
  }
}

}  // namespace trq::detail
