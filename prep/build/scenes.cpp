#include "trqprep/scenes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "trq/core/elementary.h"
#include "trqprep/build_folder.h"
#include "trqprep/check_layers.h"
#include "trqprep/check_mesh.h"
#include "trqprep/mesh_slices.h"
#include "trqprep/verify_folder.h"

namespace trqprep {
namespace {

// Soft, and told apart by people who see fewer colours as well; used in turn.
constexpr Colour kColours[] = {
    {126, 166, 204}, {226, 180, 122}, {142, 188, 152}, {214, 142, 130}, {168, 156, 206},
    {118, 184, 186}, {222, 202, 132}, {206, 152, 186}, {164, 176, 188}, {176, 196, 118},
};

// The distance of the lines on plates.
double GridOf(Units units) {
  return units == Units::kInch ? 0.5 : 10 * UnitsFactor(Units::kMillimetre, units);
}

// Of the layers in which problems are looked for, and of their rows: 0.1 mm, and more for a part larger than
// a quarter of a metre, which may have as many and as large ones as it pleases.
double ThicknessFor(const Box& box, Units units) {
  double size = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) size = std::max(size, double(box.max[axis] - box.min[axis]));
  return std::max(0.1 * UnitsFactor(Units::kMillimetre, units), size / 2500);
}

[[noreturn]] void FailBuild(const HeldFolder& folder, const std::string& what) {
  FailInput(Code::kBuildInvalid, folder.PathOf(kBuildJson), what + " is missing or malformed", "build again");
}

const Json& Below(const Json& entry, const char* key) {
  static const Json kNothing;
  return entry.is_object() && entry.contains(key) ? entry[key] : kNothing;
}

std::optional<Point> PointIn(const Json& list) {
  if (!list.is_array() || list.size() != 3) return std::nullopt;
  Point point;
  for (size_t k = 0; k < 3; ++k) {
    if (!list[k].is_number()) return std::nullopt;
    point[k] = list[k].get<double>();
  }
  return point;
}

// Where a place of a finding lies; without a height, at `top`.
std::optional<Point> PointOfPlace(const Json& place, double top) {
  for (const char* key : {"point", "centre"}) {
    if (const auto point = PointIn(Below(place, key))) return point;
  }
  const Json &x = Below(place, "x"), &y = Below(place, "y"), &z = Below(place, "z");
  if (!x.is_number() || !y.is_number()) return std::nullopt;
  return Point{x.get<double>(), y.get<double>(), z.is_number() ? z.get<double>() : top};
}

}  // namespace

size_t FileScene::facets() const {
  size_t count = 0;
  for (const SceneObject& object : scene_.objects) count += object.mesh.triangles.size();
  return count;
}

size_t FileScene::layers() const {
  size_t count = 0;
  for (const SceneObject& object : scene_.objects) count += object.layers.size();
  return count;
}

SceneObject& FileScene::Add(Units units, size_t colour, std::vector<std::string> names) {
  if (!units_) {
    units_ = units;
    scene_.unit = UnitsName(units);
    scene_.grid = GridOf(units);
  }
  Source source;
  source.names = std::move(names);
  sources_.push_back(std::move(source));
  SceneObject object;
  object.factor = UnitsFactor(units, *units_);
  object.colour = kColours[colour % std::size(kColours)];
  return scene_.objects.emplace_back(std::move(object));
}

void FileScene::AddMesh(InputMesh input) {
  SceneObject& object = Add(input.units, parts_++, {input.path});
  object.mesh = input.mesh->view();
  sources_.back().mesh = std::move(input);
}

void FileScene::AddContours(ContourFile file, std::optional<size_t> layer) {
  SceneObject& object = Add(file.units, parts_++, {file.path});
  sources_.back().contours = std::make_unique<ContourFile>(std::move(file));
  const trq::core::Contours& contours = sources_.back().contours->contours;
  const LayerStack stack = StackOf(contours);
  for (size_t i = 0; i < stack.bottoms.size(); ++i) {
    if (layer && *layer != i) continue;
    if (!std::isfinite(stack.bottoms[i]) || !std::isfinite(stack.tops[i])) continue;
    object.layers.push_back({stack.bottoms[i], stack.tops[i], &contours.layers[i]});
  }
}

void FileScene::AddBuild(Observer& observer, const HeldFolder& folder) {
  Json document = ReadBuildDocument(folder);
  const std::optional<Units> units = UnitsFromName(TextFromJson(Below(document, "units")).value_or(""));
  if (!units) FailBuild(folder, "units");
  const std::optional<Point> vat = PointIn(Below(document, "vat"));
  if (!vat || !std::all_of(vat->begin(), vat->end(), [](double side) { return side > 0; }))
    FailBuild(folder, "vat");
  const Json& margin = Below(document, "margin");
  std::map<std::string, size_t> colour_of_part;
  std::map<std::string, std::string> file_of_part;
  for (const Json& input : document["inputs"]) {
    const std::string part = TextFromJson(Below(input, "part")).value_or("");
    if (colour_of_part.emplace(part, parts_).second) ++parts_;
    file_of_part[part] = TextFromJson(Below(input, "file")).value_or("");
  }
  const size_t build = builds_.size() + 1;
  std::set<std::string> seen;
  double highest_piece = 0;
  double factor = 1;
  for (const Json& piece : document["pieces"]) {
    const std::optional<std::string> name = TextFromJson(Below(piece, "mesh"));
    const std::optional<std::string> part = TextFromJson(Below(piece, "part"));
    if (!name || !part || !FolderList().Add(*name)) FailBuild(folder, "mesh");
    observer.Progress("reading " + *name, 0.2);
    MeshReading how;
    how.folder = &folder;
    InputMesh mesh = ReadMesh(observer, {*units, false, true}, *name, how);
    RequireFinite(mesh);
    highest_piece = std::max(highest_piece, double(mesh.box().max[2]));
    const auto colour = colour_of_part.find(*part);
    const std::string file = file_of_part[*part];
    SceneObject& object = Add(*units, colour == colour_of_part.end() ? parts_ : colour->second,
                              {*part, file, folder.PathOf(file), *name, folder.PathOf(*name)});
    Source& source = sources_.back();
    source.mesh = std::move(mesh);
    source.part = *part;
    source.name = *name;
    source.build = build;
    source.first_of_part = seen.insert(*part).second;
    object.mesh = source.mesh->mesh->view();
    object.move = {next_x_, 0, 0};
    ++pieces_;
  }
  if (!units_) {
    units_ = *units;
    scene_.unit = UnitsName(*units);
    scene_.grid = GridOf(*units);
  }
  factor = UnitsFactor(*units, *units_);
  SceneGround ground;
  ground.corner = {next_x_, 0, 0};
  for (size_t k = 0; k < 3; ++k) ground.size[k] = (*vat)[k] * factor;
  // A vat is much higher than most builds.
  const double highest =
      std::max(0.25 * std::max(ground.size[0], ground.size[1]), 1.15 * highest_piece * factor);
  ground.shown = std::min(ground.size[2], highest);
  ground.margin = margin.is_number() ? margin.get<double>() * factor : 0;
  scene_.grounds.push_back(ground);
  builds_.push_back({HeldFolder(folder.path()), std::move(document), factor, next_x_});
  next_x_ += 1.12 * ground.size[0];
}

bool FileScene::Colour(const std::string& name, trqprep::Colour colour) {
  bool found = false;
  for (size_t i = 0; i < sources_.size(); ++i) {
    const std::vector<std::string>& names = sources_[i].names;
    if (std::find(names.begin(), names.end(), name) == names.end()) continue;
    scene_.objects[i].colour = colour;
    found = true;
  }
  return found;
}

void FileScene::Mark(size_t index, size_t number, const Message& message) {
  SceneObject& object = scene_.objects[index];
  const Json& where = message.where;
  const size_t facets = object.mesh.triangles.size();
  bool first = true;
  const auto mark = [&](const Json& place) {
    const Json& facet = Below(place, "facet");
    if (facet.is_number_integer() && facet.get<int64_t>() >= 0 && size_t(facet.get<int64_t>()) < facets &&
        message.code != Code::kSealedVoid) {
      object.marked.push_back(uint32_t(facet.get<int64_t>()));
    }
    const std::optional<Point> point = PointOfPlace(place, 0);
    if (!point) return;
    SceneMark of_place;
    for (size_t k = 0; k < 3; ++k) of_place.at[k] = (*point)[k] * object.factor + object.move[k];
    of_place.number = first ? int(number) : 0;
    first = false;
    scene_.marks.push_back(of_place);
  };
  const Json& places = Below(where, "places");
  if (places.is_array()) {
    for (const Json& place : places) mark(place);
  } else {
    mark(where);
  }
  if (!first) marked_.push_back(number);
}

void FileScene::SayAndMark(Observer& observer, size_t object, const std::vector<Message>& messages) {
  for (const Message& message : messages) {
    observer.Say(message);
    // Where a part begins is no problem.
    if (message.code != Code::kStartsAt) Mark(object, observer.messages().size(), message);
  }
}

void FileScene::MarkLayers(Observer& observer, size_t index, Units bare, bool follow_links) {
  const Source& source = sources_[index];
  if (source.contours) {
    const ContourFile& file = *source.contours;
    SayAndMark(
        observer, index,
        CheckLayers(observer, StackOf(file.contours), {}, file.units, bare, VentsFile(), file.path).messages);
    return;
  }
  const InputMesh& input = *source.mesh;
  const HeldFolder* folder = source.build > 0 ? &builds_[source.build - 1].folder : nullptr;
  const VentsFile vents = ReadVentsIfThere(observer, folder ? source.name : input.path, follow_links, folder)
                              .value_or(VentsFile());
  SayAndMark(observer, index, CheckMesh(input, vents));
  const Box box = input.box();
  SlicingRequest request;
  const double thickness = ThicknessFor(box, input.units);
  request.bands = {{box.min[2], box.max[2], float(thickness)}};
  request.how = UsualSliceOptions(input.units);
  try {
    const MeshSlices slices = SliceWhole(observer, input.mesh->view(), box, input.units, request, input.path);
    const LayerStack stack = StackOf(slices.contours);
    LayerCheck check;
    check.pitch = Length{thickness, input.units};
    SayAndMark(observer, index,
               CheckLayers(observer, stack, check, input.units, bare, vents, input.path).messages);
  } catch (const Failure& failure) {
    // Too flat, of too many layers, or too torn: there is nothing to be seen in them.
    const Code code = failure.message.code;
    if (code != Code::kSliceLayers && code != Code::kSliceBound) throw;
    Message message = failure.message;
    observer.Say(message.As(Severity::kNote));
  }
}

void FileScene::MarkNeighbours(Observer& observer, size_t index) {
  const Build& build = builds_[index];
  for (const Message& message : VerifyPieces(observer, build.folder, build.document)) {
    observer.Say(message);
    const Json &x = Below(message.where, "x"), &y = Below(message.where, "y");
    if (!x.is_number() || !y.is_number()) continue;
    // At the height up to which all that are named reach.
    double top = 1e300;
    const Json& pieces = Below(message.where, "pieces");
    for (size_t i = 0; i < sources_.size(); ++i) {
      const Source& source = sources_[i];
      if (source.build != index + 1 || !pieces.is_array()) continue;
      for (const Json& piece : pieces) {
        if (TextFromJson(piece) == source.name) top = std::min(top, source.mesh->box().max[2]);
      }
    }
    SceneMark mark;
    mark.at = {x.get<double>() * build.factor + build.move, y.get<double>() * build.factor,
               top < 1e300 ? top * build.factor : 0};
    mark.number = int(observer.messages().size());
    scene_.marks.push_back(mark);
    marked_.push_back(observer.messages().size());
  }
}

void FileScene::MarkProblems(Observer& observer, Units bare, bool follow_links) {
  for (size_t i = 0; i < sources_.size(); ++i) {
    observer.Progress("checking", 0.4);
    if (sources_[i].first_of_part) MarkLayers(observer, i, bare, follow_links);
  }
  for (size_t i = 0; i < builds_.size(); ++i) MarkNeighbours(observer, i);
}

std::optional<ViewAxes> AxesOfView(const std::string& view) {
  // Of equal angles to all three axes: the tangent of the elevation is the square root of one half.
  constexpr double kEqualAngles = 35.264389682754654;
  double around = 0, above = 0;
  if (view == "iso") {
    around = 45;
    above = kEqualAngles;
  } else if (view == "top") {
    above = 90;
  } else if (view == "left") {
    around = -90;
  } else if (view != "front") {
    const size_t colon = view.find(':');
    if (colon == std::string::npos) return std::nullopt;
    try {
      around = ParseNumber(view.substr(0, colon));
      above = ParseNumber(view.substr(colon + 1));
    } catch (const std::invalid_argument&) {
      return std::nullopt;
    }
    if (!(std::abs(around) <= 360) || !(std::abs(above) <= 90)) return std::nullopt;
  }
  const trq::core::SineCosine a = trq::core::SineCosineOf(around), e = trq::core::SineCosineOf(above);
  ViewAxes axes;
  axes.right = {a.cosine, a.sine, 0};
  axes.up = {-a.sine * e.sine, a.cosine * e.sine, e.cosine};
  axes.toward = {a.sine * e.cosine, -a.cosine * e.cosine, e.sine};
  return axes;
}

std::optional<Colour> ColourOf(const std::string& text) {
  if (text.size() != 7 || text[0] != '#' ||
      text.find_first_not_of("0123456789abcdefABCDEF", 1) != std::string::npos) {
    return std::nullopt;
  }
  const auto byte = [&](size_t at) { return std::uint8_t(std::stoul(text.substr(at, 2), nullptr, 16)); };
  return Colour{byte(1), byte(3), byte(5)};
}

}  // namespace trqprep
