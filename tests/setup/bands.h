/// Stacks of styles by Z, as tests write and compare them.
#pragma once

#include <memory>
#include <ostream>
#include <type_traits>
#include <vector>

#include "trq/setup.h"

namespace test_support {

struct Band {
  float start, end;
  int kind = 0;  ///< of recoat styles
  bool operator==(const Band& other) const {
    return start == other.start && end == other.end && kind == other.kind;
  }
};
inline std::ostream& operator<<(std::ostream& out, const Band& band) {
  return out << band.start << ".." << band.end << " kind " << band.kind;
}

/// Appends a new style a band to the list of a model or platform.
template <class Style>
void StackStyles(std::vector<std::shared_ptr<Style>>& styles, const std::vector<Band>& bands) {
  for (const Band& band : bands) {
    auto style = std::make_shared<Style>();
    style->StartZ.SetValue(band.start);
    style->EndZ.SetValue(band.end);
    if constexpr (std::is_same_v<Style, KVRECOATSTYLE>) style->RecoatType.SetValue(band.kind);
    styles.push_back(style);
  }
}

template <class Style>
std::vector<Band> BandsOf(const std::vector<std::shared_ptr<Style>>& styles) {
  std::vector<Band> bands;
  for (const auto& style : styles) {
    bands.push_back({style->StartZ.GetValue(), style->EndZ.GetValue()});
    if constexpr (std::is_same_v<Style, KVRECOATSTYLE>) bands.back().kind = style->RecoatType.GetValue();
  }
  return bands;
}

}  // namespace test_support
