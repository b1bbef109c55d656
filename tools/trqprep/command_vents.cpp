
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "commands.h"
#include "trq/setup.h"
#include "trqprep/atomic_output.h"
#include "trqprep/mesh_topology.h"
#include "trqprep/paths.h"
#include "trqprep/vent_patches.h"
#include "trqprep/vents_file.h"

namespace trqprep {
namespace {

constexpr double kOnPart = 0.1;  // mm: how far from the surface a vent may be

struct Options {
  std::string input;
  std::string output;
  std::vector<std::string> vents;
  std::vector<std::string> drains;
  std::optional<Length> diameter;
  std::string by;
  std::optional<double> rotate_z;
  std::vector<std::string> numbers;
  bool all = false;
};

// The part itself, when the argument names one that is there.
std::optional<InputMesh> MeshIfThere(Context& context, const std::string& path) {
  if (IsSideFileName(path) || !Exists(path)) return std::nullopt;
  InputMesh mesh = ReadMesh(context, context.reading(), path);
  RequireFinite(mesh);
  return mesh;
}

Units UnitsOf(Context& context, const std::optional<InputMesh>& mesh) {
  return mesh ? mesh->units : context.units();
}

Json PointToJson(const VentEntry& entry) {
  return Json::array(
      {NumberToJson(entry.numbers[0]), NumberToJson(entry.numbers[1]), NumberToJson(entry.numbers[2])});
}

std::string PointText(const Point& point) {
  return fmt::format("{}, {}, {}", Plain(point[0], 4), Plain(point[1], 4), Plain(point[2], 4));
}

// How far the point is from the part, with a warning when it is not on it.
double CheckOnPart(Context& context, const InputMesh& mesh, const VentEntry& entry, const std::string& file,
                   std::size_t number) {
  const double distance = DistanceToMesh(*mesh.mesh, entry.point());
  if (distance * UnitsFactor(mesh.units, Units::kMillimetre) > kOnPart) {
    context.Warn(Message(Code::kVdStale, file,
                         fmt::format("{} {} at {} is {} {} away from the part",
                                     entry.kind() == std::string("unknown") ? "entry" : entry.kind(), number,
                                     PointText(entry.point()), Plain(distance, 4), UnitsName(mesh.units)))
                     .Hint("was the part changed or moved? 'trqprep vents move' moves the file's points")
                     .At({{"entry", number}}));
  }
  return distance;
}

// --- find --------------------------------------------------------------------------------------------------

Json PatchesToJson(const std::vector<VentPatch>& patches, double floor) {
  Json list = Json::array();
  for (std::size_t i = 0; i < patches.size(); ++i) {
    const VentPatch& patch = patches[i];
    Json facets = Json::array();
    for (const int facet : patch.facets) facets.push_back(facet);
    list.push_back(Json{{"patch", i + 1},
                        {"area", NumberToJson(patch.area)},
                        {"centre", NumbersToJson(patch.centre)},
                        {"height", NumberToJson(patch.centre[2] - floor)},
                        {"facets", facets}});
  }
  return list;
}

void PrintPatches(Context& context, const char* title, const std::vector<VentPatch>& patches, double floor,
                  const std::string& unit) {
  context.Print("{}\n", title);
  if (patches.empty()) {
    context.Print("  none\n");
    return;
  }
  context.Print("{:>8} {:>14} {:>12} {:>8}  {}\n", "patch", "area " + unit + "2", "height " + unit, "facets",
                "centre " + unit);
  for (std::size_t i = 0; i < patches.size(); ++i) {
    const VentPatch& patch = patches[i];
    context.Print("{:>8} {:>14} {:>12} {:>8}  {}\n", i + 1, Plain(patch.area, 3),
                  Plain(patch.centre[2] - floor, 4), patch.facets.size(), PointText(patch.centre));
  }
}

ExitCode Find(Context& context, const Options& options) {
  InputMesh input = ReadMesh(context, context.reading(), options.input);
  RequireFinite(input);
  const VentPatches patches = FindVentPatches(*input.mesh);
  const double floor = input.box().min[2];
  context.data_units = input.units;
  context.data["file"] = TextToJson(options.input);
  context.data["vents"] = PatchesToJson(patches.vents, floor);
  context.data["drains"] = PatchesToJson(patches.drains, floor);
  const std::string unit = UnitsName(input.units);
  PrintPatches(context, "vents: facing up, the highest first", patches.vents, floor, unit);
  PrintPatches(context, "drains: facing down, the lowest first", patches.drains, floor, unit);
  return ExitCode::kDone;
}

// --- list --------------------------------------------------------------------------------------------------

Json EntryToJson(const VentEntry& entry, std::size_t number) {
  return Json{{"entry", number},
              {"kind", entry.kind()},
              {"point", PointToJson(entry)},
              {"direction", Json::array({NumberToJson(entry.numbers[3]), NumberToJson(entry.numbers[4]),
                                         NumberToJson(entry.numbers[5])})},
              {"diameter", NumberToJson(entry.numbers[6])}};
}

ExitCode List(Context& context, const Options& options) {
  const VentsFile file = ReadVents(context, SideFileOf(options.input));
  const std::optional<InputMesh> mesh = MeshIfThere(context, options.input);
  const Units units = UnitsOf(context, mesh);
  context.data_units = units;
  context.data["file"] = TextToJson(file.path);
  Json entries = Json::array();
  context.Print("{}: {} entries\n", OneLine(file.path), file.entries.size());
  if (!file.entries.empty()) {
    context.Print("{:>7} {:>8} {:>10}  {:<28} {}\n", "entry", "kind", "diameter", "point", "direction");
  }
  for (std::size_t i = 0; i < file.entries.size(); ++i) {
    const VentEntry& entry = file.entries[i];
    Json described = EntryToJson(entry, i + 1);
    if (mesh) described["distance"] = NumberToJson(CheckOnPart(context, *mesh, entry, file.path, i + 1));
    entries.push_back(described);
    context.Print("{:>7} {:>8} {:>10}  {:<28} {}\n", i + 1, entry.kind(), Plain(entry.numbers[6], 4),
                  PointText(entry.point()),
                  PointText({entry.numbers[3], entry.numbers[4], entry.numbers[5]}));
  }
  context.data["entries"] = entries;
  return ExitCode::kDone;
}

// --- editing -----------------------------------------------------------------------------------------------

// Without -o the side file itself is replaced, with it a new file is written.
void Save(Context& context, const Options& options, const VentsFile& file, const std::string& text) {
  const bool in_place = options.output.empty();
  const std::string& path = in_place ? file.path : options.output;
  WriteOutputFile(path, text, in_place || context.options.force);
  context.data["output"] = TextToJson(path);
}

// The point that was asked for: three lengths, or the number of a patch that `find` lists.
Point PlaceOf(Context& context, const std::string& text, const std::vector<VentPatch>* patches, Units units,
              const char* option) {
  try {
    if (text.find(',') != std::string::npos) {
      const std::vector<Length> lengths = ParseLengths(text, 3);
      Point point;
      for (std::size_t k = 0; k < 3; ++k) point[k] = lengths[k].In(units, context.units());
      return point;
    }
    if (!patches) throw std::invalid_argument("patches are found in a part, and there is none of that name");
    if (patches->empty()) throw std::invalid_argument("the part has no patch for one");
    const auto number = ParseWhole(text, 1, static_cast<std::int64_t>(patches->size()));
    return (*patches)[static_cast<std::size_t>(number) - 1].centre;
  } catch (const std::invalid_argument& error) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", std::string(option) + ": " + error.what())
                               .Hint("three lengths between commas, or the number of a patch that "
                                     "'trqprep vents find' lists"));
  }
}

ExitCode AddEntries(Context& context, const Options& options) {
  if (options.vents.empty() && options.drains.empty()) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", "say --vent or --drain"));
  }
  std::optional<InputMesh> mesh = MeshIfThere(context, options.input);
  const Units units = UnitsOf(context, mesh);
  const std::string side_file = SideFileOf(options.input);
  VentsFile file = ReadVentsIfThere(context, side_file).value_or(VentsFile{side_file, {}, {}, {}});
  std::optional<VentPatches> patches;
  if (mesh) patches = FindVentPatches(*mesh->mesh);
  const double diameter = options.diameter.value_or(Length{3, Units::kMillimetre}).In(units, context.units());
  if (!(diameter > 0)) Fail(ExitCode::kUsage, Message(Code::kUsage, "", "--diameter must be above 0"));
  Json added = Json::array();
  const auto add = [&](const std::string& text, bool vent) {
    const std::vector<VentPatch>* among = !patches ? nullptr : vent ? &patches->vents : &patches->drains;
    const Point point = PlaceOf(context, text, among, units, vent ? "--vent" : "--drain");
    VentEntry entry;
    for (std::size_t k = 0; k < 3; ++k) entry.numbers[k] = static_cast<float>(point[k]);
    entry.numbers[5] = vent ? 1.0f : -1.0f;
    entry.numbers[6] = static_cast<float>(diameter);
    entry.line = file.lines.size();
    file.lines.push_back(trq::core::SideLine(entry.numbers));
    // What a reader will find there.
    entry = ParseVents(side_file, file.lines.back()).entries.at(0);
    file.entries.push_back(entry);
    if (mesh) CheckOnPart(context, *mesh, entry, side_file, file.entries.size());
    added.push_back(EntryToJson(entry, file.entries.size()));
    context.Print("{}: {} {} at {} {}, diameter {} {}\n", OneLine(side_file), entry.kind(),
                  file.entries.size(), PointText(entry.point()), UnitsName(units), Plain(entry.numbers[6], 4),
                  UnitsName(units));
  };
  for (const std::string& text : options.vents) add(text, true);
  for (const std::string& text : options.drains) add(text, false);
  Save(context, options, file, file.Text());
  context.data_units = units;
  context.data["added"] = added;
  context.data["entries"] = file.entries.size();
  return ExitCode::kDone;
}

// Which entries were named, by their numbers; all of them when none was.
std::vector<std::size_t> Chosen(const VentsFile& file, const std::vector<std::string>& numbers) {
  std::vector<std::size_t> chosen;
  try {
    for (const std::string& number : numbers) {
      const auto entry = ParseWhole(number, 1, std::max<std::int64_t>(1, file.entries.size()));
      if (file.entries.empty()) throw std::invalid_argument("the file has no entry");
      chosen.push_back(static_cast<std::size_t>(entry) - 1);
    }
  } catch (const std::invalid_argument& error) {
    Fail(ExitCode::kUsage,
         Message(Code::kUsage, file.path, error.what()).Hint("'trqprep vents list' numbers the entries"));
  }
  if (numbers.empty()) {
    for (std::size_t i = 0; i < file.entries.size(); ++i) chosen.push_back(i);
  }
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  return chosen;
}

ExitCode Move(Context& context, const Options& options) {
  if (options.by.empty() && !options.rotate_z) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", "say --by or --rotate-z"));
  }
  const std::optional<InputMesh> mesh = MeshIfThere(context, options.input);
  const Units units = UnitsOf(context, mesh);
  std::array<float, 3> by{};
  if (!options.by.empty()) {
    try {
      const std::vector<Length> lengths = ParseLengths(options.by, 3);
      for (std::size_t k = 0; k < 3; ++k) by[k] = static_cast<float>(lengths[k].In(units, context.units()));
    } catch (const std::invalid_argument& error) {
      Fail(ExitCode::kUsage, Message(Code::kUsage, "", std::string("--by: ") + error.what()));
    }
  }
  VentsFile file = ReadVents(context, SideFileOf(options.input));
  const std::vector<std::size_t> chosen = Chosen(file, options.numbers);
  context.result = options.output.empty() ? file.path : options.output;

  trq::core::PointMove move(by[0], by[1], by[2]);
  if (options.rotate_z) {
    const Matrix4 matrix =
        Compose(Matrix4::Translation(by[0], by[1], by[2]), Matrix4::Rotation(2, *options.rotate_z));
    float after[4][4], before[4][4];
    for (int i = 0; i < 16; ++i) after[i / 4][i % 4] = static_cast<float>(matrix.m[i / 4][i % 4]);
    set_unit_matrix(before);
    move = trq::core::PointMove(after, before, 0);
  }
  Json entries = Json::array();
  for (std::size_t k = 0; k < chosen.size(); ++k) {
    VentEntry& entry = file.entries[chosen[k]];
    move.Apply(entry.numbers.data());
    file.lines[entry.line] = trq::core::SideLine(entry.numbers);
    entry.numbers = *trq::core::ParseSideLine(file.lines[entry.line]);  // what the file says
    entries.push_back(EntryToJson(entry, chosen[k] + 1));
    if (mesh) CheckOnPart(context, *mesh, entry, file.path, chosen[k] + 1);
  }
  Save(context, options, file, file.Text());
  context.data_units = units;
  context.data["moved"] = entries;
  context.Print("{}: {} of {} entries moved\n", OneLine(options.output.empty() ? file.path : options.output),
                chosen.size(), file.entries.size());
  return ExitCode::kDone;
}

ExitCode Remove(Context& context, const Options& options) {
  if (options.all != options.numbers.empty()) {
    Fail(ExitCode::kUsage, Message(Code::kUsage, "", "name the entries to remove, or say --all")
                               .Hint("'trqprep vents list' numbers the entries"));
  }
  VentsFile file = ReadVents(context, SideFileOf(options.input));
  if (options.all) {
    if (!options.output.empty()) {
      Fail(ExitCode::kUsage, Message(Code::kUsage, "", "--all deletes the file; -o has no meaning with it"));
    }
    MODEL model;
    model.ComponentInfo.text = file.path;
    context.current_file = file.path;
    const bool kept = model.DeleteVDFile() != 0;
    context.current_file.clear();
    if (!kept && Exists(file.path)) {
      Fail(ExitCode::kOutput, Message(Code::kOutputUnwritable, file.path, "cannot be deleted"));
    }
    context.data["removed"] = kept ? 0 : file.entries.size();
    context.data["deleted"] = !kept;
    context.Print("{}: {}\n", OneLine(file.path), kept ? "kept" : "deleted");
    return kept ? ExitCode::kNo : ExitCode::kDone;
  }
  const std::vector<std::size_t> chosen = Chosen(file, options.numbers);
  for (auto i = chosen.rbegin(); i != chosen.rend(); ++i) {
    file.lines.erase(file.lines.begin() + static_cast<std::ptrdiff_t>(file.entries[*i].line));
  }
  Save(context, options, file, file.Text());
  context.data["removed"] = chosen.size();
  context.data["entries"] = file.entries.size() - chosen.size();
  context.Print("{}: {} entries removed, {} left\n",
                OneLine(options.output.empty() ? file.path : options.output), chosen.size(),
                file.entries.size() - chosen.size());
  return ExitCode::kDone;
}

constexpr const char* kInputHelp = "The part, or its .V_D file";

}  // namespace

void AddVents(CommandTree& tree) {
  auto options = std::make_shared<Options>();
  Command& group = tree.Add("vents", "Find places for vents and drains, and keep a part's .V_D file");
  group.details =
      "A hollow part needs a vent at its top and a drain at its bottom. They stand in a text file beside "
      "the part, named as the part up to its last period, with .V_D.";

  Command& find = group.Sub("find", "Find places for vents and drains on a part");
  find.details =
      "Facets that face up may take a vent, facets that face down a drain, within 5.7 degrees. Those "
      "that are connected make a patch. Vents are listed from the highest patch, drains from the lowest, "
      "the larger of equally high ones first. The height is counted from the part's lowest point. The "
      "centre lies on the patch.";
  find.Argument("IN", options->input, "STL or CTL file");
  find.ReadsMeshes();
  find.examples = {"trqprep vents find l_shape.stl", "trqprep vents find l_shape.stl --json"};
  find.run = [options](Context& context) { return Find(context, *options); };

  Command& list = group.Sub("list", "List the vents and drains of a part");
  list.details =
      "The kind is told by the direction that 'vents add' writes: up for a vent, down for a drain. When "
      "the part is there, points farther than 0.1 mm from it are warned of.";
  list.Argument("IN", options->input, kInputHelp);
  list.ReadsMeshes();
  list.examples = {"trqprep vents add l_shape.stl --vent 1 && trqprep vents list l_shape.stl",
                   "trqprep vents list l_shape.V_D --json"};
  list.run = [options](Context& context) { return List(context, *options); };

  Command& add = group.Sub("add", "Add vents and drains to a part");
  add.details =
      "A place is three lengths X,Y,Z in the part's coordinates, or the number of a patch that 'vents "
      "find' lists. The file is made when there is none.";
  add.Argument("IN", options->input, kInputHelp);
  add.RepeatedOption("--vent", options->vents, "PLACE", "Add a vent there");
  add.RepeatedOption("--drain", options->drains, "PLACE", "Add a drain there");
  add.LengthOption("--diameter", options->diameter, "Diameter of the hole (default 3 mm)");
  add.Output(options->output, "FILE", "Write the changed .V_D file here instead", false);
  add.ReadsMeshes();
  add.examples = {"trqprep vents add l_shape.stl --vent 1 --drain 1",
                  "trqprep vents add l_shape.stl --vent 5mm,5mm,12mm --diameter 2mm -o other.V_D"};
  add.run = [options](Context& context) { return AddEntries(context, *options); };

  Command& move = group.Sub("move", "Move vents and drains along with their part");
  move.details =
      "Turns about the Z axis first, then moves. Without entry numbers all entries are moved. A part "
      "that is tilted needs new vents and drains.";
  move.Argument("IN", options->input, kInputHelp);
  move.Arguments("ENTRY", options->numbers, "Numbers of entries, as 'vents list' shows them", false)
      .Type("N");
  move.TextOption("--by", options->by, "X,Y,Z", "Move by three lengths, such as 10mm,0,-2.5");
  move.NumberOption("--rotate-z", options->rotate_z, "Turn about the Z axis by so many degrees");
  move.Output(options->output, "FILE", "Write the changed .V_D file here instead", false);
  move.ReadsMeshes();
  move.examples = {"trqprep vents add l_shape.stl --vent 1 && trqprep vents move l_shape.V_D --by 10mm,0,0",
                   "trqprep vents move l_shape.V_D 1 --rotate-z 90 -o turned.V_D"};
  move.run = [options](Context& context) { return Move(context, *options); };

  Command& remove = group.Sub("remove", "Remove vents and drains");
  remove.details = "Removes the named entries, or with --all the whole file; that is asked for first.";
  remove.Argument("IN", options->input, kInputHelp);
  remove.Arguments("ENTRY", options->numbers, "Numbers of entries, as 'vents list' shows them", false)
      .Type("N");
  remove.Flag("--all", options->all, "Delete the file");
  remove.Output(options->output, "FILE", "Write the changed .V_D file here instead", false);
  remove.examples = {"trqprep vents add l_shape.stl --vent 1 --drain 1 && trqprep vents remove l_shape.stl 2",
                     "trqprep vents remove l_shape.stl --all --yes"};
  remove.run = [options](Context& context) { return Remove(context, *options); };
}

}  // namespace trqprep
