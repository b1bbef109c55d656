// trqprep._native: what the package trqprep is made of.
#include "binding.h"

PYBIND11_MODULE(_native, module) {
  using namespace trqprep::python;
  module.doc() = "The compiled part of trqprep.";
  module.attr("__version__") = trqprep::ToolVersion();
  AddErrors(module);
  AddMesh(module);
  AddContours(module);
  AddStyles(module);
  AddPlate(module);
  AddPictures(module);
}
