// Pictures and pages: render, report, and meshes in notebooks.
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "contours_object.h"
#include "mesh_object.h"
#include "style_object.h"
#include "trqprep/atomic_output.h"
#include "trqprep/base64.h"
#include "trqprep/build_report.h"
#include "trqprep/plates.h"
#include "trqprep/report.h"
#include "trqprep/report_subjects.h"
#include "trqprep/scenes.h"

namespace trqprep::python {
namespace {

constexpr std::size_t kLeastPixels = 16, kMostPixels = 4096;

RenderOptions HowToRender(const std::pair<std::int64_t, std::int64_t>& size, const std::string& view, bool smooth,
                          bool transparent, bool scale_bar, int threads) {
  RenderOptions how;
  for (const std::int64_t side : {size.first, size.second}) {
    if (side < std::int64_t(kLeastPixels) || side > std::int64_t(kMostPixels)) {
      RaiseValue("a picture has 16 to 4096 pixels a side");
    }
  }
  if (threads < 1 || threads > 64) RaiseValue("threads must be 1 to 64");
  how.width = std::size_t(size.first);
  how.height = std::size_t(size.second);
  const std::optional<ViewAxes> axes = AxesOfView(view);
  if (!axes) RaiseValue("'" + view + "' is no view", "iso, top, front, left, or degrees around and above such as 30:20");
  how.axes = *axes;
  how.smooth = smooth;
  how.transparent = transparent;
  how.scale_bar = scale_bar;
  how.threads = threads;
  return how;
}

void AddFolder(Observer& observer, FileScene& scene, std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const HeldFolder folder(path);
  if (!folder.held()) FailInput(Code::kInputUnreadable, path, SystemText(errno));
  if (!HoldsPlates(folder)) {
    scene.AddBuild(observer, folder);
    return;
  }
  for (const std::string& plate : PlateFolders(folder)) {
    scene.AddBuild(observer, HeldFolder(folder.PathOf(plate), folder.Open(plate)));
  }
}

ColourImage Draw(const py::args& objects, const RenderOptions& how, bool problems) {
  if (objects.empty()) RaiseValue("there is nothing to draw", "a Mesh, Contours, or the path of a build folder");
  Listener listener;
  FileScene scene;
  std::vector<std::unique_ptr<InUse>> in_use;
  for (const py::handle object : objects) {
    if (py::isinstance<Mesh>(object)) {
      auto& mesh = object.cast<Mesh&>();
      in_use.push_back(std::make_unique<InUse>(mesh));
      scene.AddMesh(mesh.input);
    } else if (py::isinstance<Contours>(object)) {
      scene.AddContours(*object.cast<Contours&>().file);
    } else {
      const std::string path = PathOf(object);
      Unlocked(listener, [&] { AddFolder(listener, scene, path); });
    }
  }
  return Unlocked(listener, [&] {
    if (problems) scene.MarkProblems(listener, Units::kMillimetre, false);
    return Render(scene.scene(), how);
  });
}

py::array_t<std::uint8_t> RenderObjects(const py::args& objects, const std::pair<std::int64_t, std::int64_t>& size,
                                        const std::string& view, bool smooth, bool transparent, bool scale_bar,
                                        bool problems, int threads) {
  auto image = std::make_unique<ColourImage>(
      Draw(objects, HowToRender(size, view, smooth, transparent, scale_bar, threads), problems));
  ColourImage* const pixels = image.get();
  const py::capsule owner(pixels, [](void* p) { delete static_cast<ColourImage*>(p); });
  static_cast<void>(image.release());
  return py::array_t<std::uint8_t>({py::ssize_t(pixels->height), py::ssize_t(pixels->width), py::ssize_t(4)},
                                   pixels->pixels.data(), owner);
}

py::bytes PngOfArray(const py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>& pixels) {
  if (pixels.ndim() != 3 || pixels.shape(2) != 4 || pixels.shape(0) < 1 || pixels.shape(1) < 1) {
    RaiseValue("a picture is an array of shape (H, W, 4)");
  }
  ColourImage image;
  image.height = std::size_t(pixels.shape(0));
  image.width = std::size_t(pixels.shape(1));
  image.pixels.assign(pixels.data(), pixels.data() + pixels.size());
  return py::bytes(PngOf(image));
}

std::string MeshHtml(const py::object& mesh) {
  RenderOptions how = HowToRender({320, 240}, "iso", true, true, true, 1);
  const ColourImage image = Draw(py::args(py::make_tuple(mesh)), how, false);
  const std::string words = py::module_::import("html").attr("escape")(py::repr(mesh).attr("strip")("<>")).cast<std::string>();
  return "<figure><img alt=\"" + words + "\" src=\"data:image/png;base64," + Base64(PngOf(image)) + "\"><figcaption>" +
         words + "</figcaption></figure>";
}

py::str Report(const py::args& objects, const py::object& path, const py::object& facets, bool replace) {
  if (objects.empty()) RaiseValue("there is nothing to report", "a Mesh, Contours, a style, or the path of a build folder");
  ReportOptions how;
  if (py::isinstance<py::str>(facets) && facets.cast<std::string>() == "all") {
    how.facets = kAllReportFacets;
  } else {
    how.facets = facets.cast<std::int64_t>();
    if (how.facets < 1) RaiseValue("facets: a number above 0, or \"all\"");
  }
  const std::string name = path.is_none() ? "" : PathOf(path);
  Listener listener(Saying::kKeep);
  std::vector<ReportSubject> subjects;
  std::vector<std::unique_ptr<InUse>> in_use;
  for (const py::handle object : objects) {
    const std::size_t said = listener.messages().size();
    if (py::isinstance<Mesh>(object)) {
      auto& mesh = object.cast<Mesh&>();
      in_use.push_back(std::make_unique<InUse>(mesh));
      InputMesh input = mesh.input;
      if (input.path.empty()) input.path = "mesh";
      subjects.push_back(Unlocked(listener, [&] { return SubjectOfMesh(listener, input, said); }));
    } else if (py::isinstance<Contours>(object)) {
      ContourFile file = *object.cast<Contours&>().file;
      if (file.path.empty()) file.path = "contours";
      subjects.push_back(Unlocked(listener, [&] { return SubjectOfContours(listener, std::move(file), said); }));
    } else if (py::isinstance<Style>(object)) {
      StyleFile file = object.cast<Style&>().Written();
      if (file.path.empty()) file.path = "style";
      subjects.push_back(SubjectOfStyle(listener, std::move(file), said));
    } else {
      std::string folder = PathOf(object);
      while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
      for (ReportSubject& subject : Unlocked(listener, [&] { return SubjectsOfFolder(listener, HeldFolder(folder)); })) {
        subjects.push_back(std::move(subject));
      }
    }
  }
  return TextOf(Unlocked(listener, [&] {
    std::string page = ReportPage(subjects, how);
    if (!name.empty()) WriteOutputFile(name, page, replace);
    return page;
  }));
}

}  // namespace

void AddPictures(py::module_& module) {
  using py::arg;
  module.def("render", &RenderObjects, py::kw_only(), arg("size") = std::make_pair(800, 600), arg("view") = "iso",
             arg("smooth") = false, arg("transparent") = false, arg("scale_bar") = true, arg("problems") = false,
             arg("threads") = 1,
             R"(Draws objects without perspective: (H, W, 4) uint8, red, green, blue and opacity, from the top row down.

objects: Mesh, Contours, or paths of build folders. size: (W, H), 16 to 4096. view: "iso", "top",
"front", "left", or degrees around and above such as "30:20". smooth: hide the facets of curved
surfaces. problems: mark what `check` finds. The pixels are those of `trqprep render`, whatever
the threads. Source: docs/render.md.)");
  module.def("png", &PngOfArray, arg("pixels"), "bytes: the PNG file of a picture, (H, W, 4) uint8.");
  module.def("report", &Report, py::kw_only(), arg("path") = py::none(), arg("facets") = kReportFacets,
             arg("replace") = false,
             R"(One page of HTML, complete in itself, of meshes, contours, styles and build folders: a str.

objects: Mesh, Contours, BuildStyle, RecoatStyle, or paths of build folders. path: also write it
there. facets: most facets of the meshes of each, or "all". Of a folder the page is that of
`trqprep report`. Source: docs/report.md.)");
  module.attr("Mesh").attr("_repr_html_") =
      py::cpp_function(&MeshHtml, py::name("_repr_html_"), py::is_method(module.attr("Mesh")));
}

}  // namespace trqprep::python
