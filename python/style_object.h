/// Styles as Python holds them.
#pragma once

#include <string>
#include <utility>

#include "binding.h"
#include "trqprep/stored_style.h"

namespace trqprep::python {

/// A style and the file that it came from, or that it would be. BuildStyle and RecoatStyle in Python.
class Style {
 public:
  Style(StyleFile from, StyleDocument now) : file(std::move(from)), style(std::move(now)) {}
  virtual ~Style() = default;

  StyleFile file;  ///< as read
  StyleDocument style;
  /// The file as it would be written.
  StyleFile Written() const;
};

class BuildStyle : public Style {
 public:
  using Style::Style;
  static constexpr StyleKind kKind = StyleKind::kBuild;
};

class RecoatStyle : public Style {
 public:
  using Style::Style;
  static constexpr StyleKind kKind = StyleKind::kRecoat;
};

}  // namespace trqprep::python
