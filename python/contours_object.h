/// Slice contours as Python holds them.
#pragma once

#include <memory>
#include <utility>

#include "binding.h"
#include "trqprep/contour_file.h"

namespace trqprep::python {

/// Contours that never change; arrays of their points keep them alive.
class Contours {
 public:
  explicit Contours(ContourFile contours) : file(std::make_shared<ContourFile>(std::move(contours))) {}

  std::shared_ptr<const ContourFile> file;
};

}  // namespace trqprep::python
