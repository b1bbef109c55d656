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

/// Takes out the null entries that an application may have put into its list: they stand for no style.
template <class Style>
void DropNulls(StyleList<Style>& list) {
  list.erase(std::remove(list.begin(), list.end(), nullptr), list.end());
}

/// The first style from `begin` on that is not null; null without one.
template <class Iterator>
auto FirstStyle(Iterator begin, Iterator end) {
  const auto found = std::find_if(begin, end, [](const auto& listed) { return listed != nullptr; });
  return found == end ? nullptr : found->get();
}

/// True for the machines that cure with a large and a small spot.
bool HasLargeSpot(TRQ_TYPE machine);

/// Puts `fresh` into the list by its range, where ends meet within `tolerance`, or without one by its start.
/// A style that got two bands is copied for the upper one; `current`, unless null, is reset when it got none.
template <class Style>
void StackStyle(StyleList<Style>& list, const std::shared_ptr<Style>& fresh, std::optional<double> tolerance,
                std::shared_ptr<Style>* current) {
  StyleList<Style> waiting = list;
  DropNulls(waiting);
  waiting.push_back(fresh);
  const auto band = [&](size_t i) {
    return core::StyleBand{waiting[i]->StartZ.GetValue(), waiting[i]->EndZ.GetValue(), i};
  };
  std::vector<core::StyleBand> bands;
  const size_t last = waiting.size() - 1;
  for (size_t i = 0; i < last; ++i) bands.push_back(band(i));
  if (tolerance) {
    core::InsertByRange(bands, band(last), *tolerance);
  } else {
    core::InsertByStart(bands, band(last));
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
