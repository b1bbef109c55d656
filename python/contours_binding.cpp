// Contours: slice-contour files and what meshes are sliced into.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "contours_object.h"
#include "trqprep/check_layers.h"
#include "trqprep/contour_svg.h"
#include "trqprep/mesh_writer.h"

namespace trqprep::python {
namespace {

constexpr py::ssize_t kFloat = sizeof(float);

Contours Load(const py::object& path, const std::string& unit) {
  const std::string name = PathOf(path);
  const Units bare = UnitsOf(unit);
  Listener listener;
  return Contours(Unlocked(listener, [&] { return ReadContours(listener, bare, name); }));
}

Contours Loads(const py::buffer& data, const std::string& unit) {
  const py::buffer_info bytes = data.request();
  if (PyBuffer_IsContiguous(bytes.view(), 'C') == 0) RaiseValue("the bytes do not lie one after the other");
  const Units bare = UnitsOf(unit);
  const trq::Bytes all(static_cast<const unsigned char*>(bytes.ptr), std::size_t(bytes.size * bytes.itemsize));
  Listener listener;
  return Contours(Unlocked(listener, [&] {
    InputFile file("bytes.slc", all);
    ContourFile read = ReadContours(listener, bare, file, "bytes");
    read.path.clear();
    return read;
  }));
}

void Save(const Contours& contours, const py::object& path, bool replace) {
  const std::string name = PathOf(path);
  Listener listener;
  Unlocked(listener, [&] { WriteContours(contours.file->contours, name, replace); });
}

std::size_t NumberOf(const Contours& contours, py::ssize_t i) {
  const auto count = py::ssize_t(contours.file->layer_count());
  if (i < -count || i >= count) throw py::index_error("the contours have " + std::to_string(count) + " layers");
  return std::size_t(i < 0 ? i + count : i);
}

// Arrays that keep the contours alive.
py::list LayerOf(const Contours& contours, std::size_t i, const py::capsule& owner) {
  py::list boundaries;
  for (const trq::SlcBoundary& boundary : contours.file->contours.layers[i].boundaries()) {
    static constexpr float kNone = 0;
    boundaries.append(ReadOnly<float>({py::ssize_t(boundary.vertex_count), 2}, {2 * kFloat, kFloat},
                                      boundary.points ? boundary.points : &kNone, owner));
  }
  return boundaries;
}

py::capsule OwnerOf(const Contours& contours) {
  using Held = std::shared_ptr<const ContourFile>;
  auto held = std::make_unique<Held>(contours.file);
  py::capsule capsule(held.get(), [](void* p) { delete static_cast<Held*>(p); });
  static_cast<void>(held.release());
  return capsule;
}

py::list Layers(const Contours& contours) {
  const py::capsule owner = OwnerOf(contours);
  py::list layers;
  for (std::size_t i = 0; i < contours.file->layer_count(); ++i) layers.append(LayerOf(contours, i, owner));
  return layers;
}

template <class Value, class Get>
py::array_t<Value> EachLayer(std::size_t count, Get get) {
  py::array_t<Value> values{py::ssize_t(count)};
  for (std::size_t i = 0; i < count; ++i) values.mutable_at(i) = get(i);
  return values;
}

// Without words about it: `to_dict` and `check` are asked for those.
ContourSummary Summary(const Contours& contours) {
  Listener listener(Saying::kKeep);
  return Unlocked(listener, [&] { return Summarize(listener, *contours.file); });
}

py::object ToDict(const Contours& contours) {
  const ContourSummary summary = Summary(contours);
  Json data = Json::object();
  DescribeContours(data, *contours.file, summary);
  return FromJson(data);
}

py::list Check(const Contours& contours, const py::object& overhang, const py::object& pitch,
               bool solid_platform, const py::object& progress) {
  LayerCheck check;
  check.overhang = LengthIfGiven(overhang);
  check.pitch = LengthIfGiven(pitch);
  check.solid_platform = solid_platform;
  if (check.pitch && !(check.pitch->value > 0)) RaiseValue("the pitch must be above 0");
  if (check.overhang && !(check.overhang->value >= 0)) RaiseValue("the overhang must not be below 0");
  const ContourFile& file = *contours.file;
  Listener listener(Saying::kKeep, progress);
  LayerReport report = Unlocked(listener, [&] {
    return CheckLayers(listener, StackOf(file.contours), check, file.units, file.units, VentsFile(), file.path);
  });
  return FindingsOf(report.messages);
}

std::string Svg(const Contours& contours, py::ssize_t layer) {
  return LayerSvg(*contours.file, Summary(contours), NumberOf(contours, layer));
}

std::string Html(const Contours& contours) {
  const ContourFile& file = *contours.file;
  std::string html = "<div>" + Counted(std::int64_t(file.layer_count()), "layer") + ", " + UnitsName(file.units) + "</div>";
  if (file.layer_count() > 0) html += Svg(contours, py::ssize_t(file.layer_count() / 2));
  return html;
}

}  // namespace

void AddContours(py::module_& module) {
  using py::arg;
  py::class_<Contours>(module, "Contours", R"(A part as a stack of layers of contours; it never changes.

`contours[i]` is layer i, from the bottom, as in `layers`; len(contours) is the number of
layers. The interior lies to the left of a contour: outer ones run counter-clockwise, holes
clockwise; the last point of a closed one repeats the first.)")
      .def_static("load", &Load, arg("path"), py::kw_only(), arg("units") = "mm",
                  R"(Reads a slice-contour file. units: "mm" or "in", of a file that does not say them.
Raises TrqFileError. Source: docs/formats/slc.md.)")
      .def_static("loads", &Loads, arg("data"), py::kw_only(), arg("units") = "mm",
                  "The same of bytes in memory: any object with a buffer.")
      .def("save", &Save, arg("path"), py::kw_only(), arg("replace") = false,
           "Writes a slice-contour file, whole or not at all. Raises TrqFileError.")
      .def_property_readonly("layers", &Layers,
                             "list of layers, each a list of contours, each (N, 2) float32: X and Y in `units`, "
                             "read-only views without a copy that keep the points alive.")
      .def_property_readonly("z", [](const Contours& c) {
        return EachLayer<float>(c.file->layer_count(), [&](std::size_t i) { return c.file->contours.layers[i].z; });
      }, "(L,) float32: the lower side of each layer, in `units`.")
      .def_property_readonly("top", [](const Contours& c) { return c.file->contours.layers.back().z; },
                             "float: the upper side of the last layer, in `units`.")
      .def_property_readonly("areas", [](const Contours& c) {
        const ContourSummary summary = Summary(c);
        return EachLayer<double>(summary.layers.size(), [&](std::size_t i) { return summary.layers[i].area; });
      }, "(L,) float64: of each layer, counter-clockwise contours less clockwise ones, in square `units`.")
      .def_property_readonly("volume", [](const Contours& c) { return Summary(c).volume; },
                             "float: each layer's area times its height, in cubic `units`.")
      .def_property_readonly("units", [](const Contours& c) { return UnitsName(c.file->units); }, "\"mm\" or \"in\".")
      .def_property_readonly("header", [](const Contours& c) { return TextOf(c.file->contours.header); },
                             "str: the text at the beginning of the file.")
      .def_property_readonly("file", [](const Contours& c) { return TextOf(c.file->path); },
                             "str: the path that they were read from; empty for those made in memory.")
      .def("to_dict", &ToDict, "dict: box, counts, volume and table, as `trqprep info --json` has them.")
      .def("check", &Check, py::kw_only(), arg("overhang") = py::none(), arg("pitch") = py::none(),
           arg("solid_platform") = false, arg("progress") = py::none(),
           R"(What resin does to the layers: a list of Finding (ISLAND, UNSUPPORTED, CUP, TRAPPED, STARTS-AT).

overhang (None: as far as a layer is high), pitch of the rows looked at (None: 0.1 mm):
lengths. solid_platform: the part stands on the platform itself. Source: `trqprep check --slices`.)")
      .def("svg", &Svg, arg("layer"), "str: a drawing to scale of a layer, counted from 0.")
      .def("__len__", [](const Contours& c) { return c.file->layer_count(); })
      .def("__getitem__", [](const Contours& c, py::ssize_t i) { return LayerOf(c, NumberOf(c, i), OwnerOf(c)); })
      .def("_repr_html_", &Html)
      .def("__repr__", [](const Contours& c) {
        const std::string from = c.file->path.empty() ? "" : " of '" + c.file->path + "'";
        return TextOf("<Contours" + from + ": " + Counted(std::int64_t(c.file->layer_count()), "layer") + ", " +
                      UnitsName(c.file->units) + ">");
      });
}

}  // namespace trqprep::python
