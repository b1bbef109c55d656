#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <stdexcept>

#include "commands.h"
#include "trq/setup.h"
#include "trqprep/atomic_output.h"
#include "trqprep/facet_distance.h"
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
  return ReadMesh(context, context.reading(), path);
}

// The part that a side file of that name belongs to, when it is there and can be read; or the part itself.
std::optional<InputMesh> PartOf(Context& context, const std::string& path) {
  if (!IsSideFileName(path)) return MeshIfThere(context, path);
  for (const char* ending : {".stl", ".STL", ".ctl", ".CTL"}) {
    const std::string part = path.substr(0, path.size() - 4) + ending;
    if (!Exists(part)) continue;
    try {
      Observer silent;
      return ReadMesh(silent, context.reading(), part);
    } catch (const Failure&) {  // whoever uses the part will hear of it
    }
  }
  return std::nullopt;
}

std::optional<FacetDistances> DistancesOf(const std::optional<InputMesh>& mesh, size_t searches) {
  if (!mesh) return std::nullopt;
  return FacetDistances(*mesh->mesh, searches);
}

Units UnitsOf(Context& context, const std::optional<InputMesh>& mesh) {
  return mesh ? mesh->units : context.units();
}

std::string PointText(const Point& point) {
  return fmt::format("{}, {}, {}", Plain(point[0], 4), Plain(point[1], 4), Plain(point[2], 4));
}

// How far points are from the part, with a warning of each that is not on it, up to a hundred.
class OnPart {
 public:
  OnPart(Context& context, Units units, const std::string& file)
      : context_(context), units_(units), file_(file) {}

  // A distance that there was no time for is none.
  void Check(const VentEntry& entry, size_t number, const std::optional<double>& measured) {
    if (!measured) ++left_out_;
    const double distance = measured.value_or(0);
    if (distance * UnitsFactor(units_, Units::kMillimetre) > kOnPart && ++stale_ <= kMostTold) {
      Warn(fmt::format("{} {} at {} is {} {} away from the part",
                       entry.kind() == std::string("unknown") ? "entry" : entry.kind(), number,
                       PointText(entry.point()), Plain(distance, 4), UnitsName(units_)),
           {{"entry", number}});
    }
  }
  // The others by their number.
  void TellRest() {
    if (stale_ > kMostTold) {
      Warn(Counted(stale_ - kMostTold, "entry is", "entries are") + " away from the part besides",
           Json::object());
    }
    if (left_out_ > 0) {
      context_.Warn(Message(Code::kVdBound, file_,
                            Counted(left_out_, "entry was", "entries were") +
                                " not compared with the part: it would take too long")
                        .Hint("move or remove those that are not on the part"));
    }
  }

 private:
  static constexpr int64_t kMostTold = 100;

  void Warn(const std::string& text, Json where) {
    context_.Warn(Message(Code::kVdStale, file_, text)
                      .Hint("was the part changed or moved? 'trqprep vents move' moves the file's points")
                      .At(std::move(where)));
  }

  Context& context_;
  Units units_;
  const std::string& file_;
  int64_t stale_ = 0;
  int64_t left_out_ = 0;
};

// How far the chosen entries are from the part, which is said of those that are not on it; nothing without a
// part.
std::vector<std::optional<double>> CheckOnPart(Context& context, const std::optional<InputMesh>& mesh,
                                               const VentsFile& file, const std::vector<size_t>& chosen) {
  if (!mesh) return {};
  std::vector<Point> points;
  for (const size_t i : chosen) points.push_back(file.entries[i].point());
  auto distances = FacetDistances(*mesh->mesh, points.size()).From(points);
  OnPart on_part(context, mesh->units, file.path);
  for (size_t k = 0; k < chosen.size(); ++k)
    on_part.Check(file.entries[chosen[k]], chosen[k] + 1, distances[k]);
  on_part.TellRest();
  return distances;
}

// A hole that is made somewhere else than on the part.
void CheckAdded(Context& context, const InputMesh& mesh, const FacetDistances& distances,
                const VentEntry& entry, const std::string& file, size_t number) {
  const double distance = distances.From(entry.point());
  if (distance * UnitsFactor(mesh.units, Units::kMillimetre) <= kOnPart) return;
  const Box box = mesh.box();
  context.Warn(
      Message(Code::kVdStale, file,
              fmt::format("{} {} at {} is not on the part, but {} {} away", entry.kind(), number,
                          PointText(entry.point()), Plain(distance, 4), UnitsName(mesh.units)))
          .Hint(fmt::format("the part reaches from {} to {} {}; 'trqprep vents find' lists places on it",
                            PointText(box.min), PointText(box.max), UnitsName(mesh.units)))
          .At({{"entry", number}}));
}

// --- find --------------------------------------------------------------------------------------------------

Json PatchesToJson(std::vector<VentPatch> patches, double floor) {
  const size_t count = patches.size();
  return Json::Rows(count, [list = std::move(patches), floor](size_t i) {
    const VentPatch& patch = list[i];
    Json facets = Json::array();
    for (const int facet : patch.facets) facets.push_back(facet);
    return Json{{"patch", i + 1},
                {"area", NumberToJson(patch.area)},
                {"centre", NumbersToJson(patch.centre)},
                {"height", NumberToJson(patch.centre[2] - floor)},
                {"facet_numbers", facets}};
  });
}

void TellPatches(Context& context, const Json& patches, const std::string& title) {
  context.text += title;
  if (patches.empty()) {
    context.Tell("  none\n");
    return;
  }
  const std::string unit = UnitsName(*context.data_units);
  context.Tell("   patch {area|>14} {height|>12}   facets  centre {unit}\n",
               {{"area", "area " + unit + "2"}, {"height", "height " + unit}});
  context.TellEach(patches, "{patch|>8} {area:3|>14} {height:4|>12} {facet_numbers:#|>8}  {centre:4}\n");
}

ExitCode Find(Context& context, const Options& options) {
  InputMesh input = ReadMesh(context, context.reading(), options.input);
  VentPatches patches = FindVentPatches(*input.mesh);
  const double floor = input.box().min[2];
  context.data_units = input.units;
  context.State({{"file", TextToJson(options.input)},
                 {"vents", PatchesToJson(std::move(patches.vents), floor)},
                 {"drains", PatchesToJson(std::move(patches.drains), floor)}});
  TellPatches(context, context.data["vents"], "vents: facing up, the highest first\n");
  TellPatches(context, context.data["drains"], "drains: facing down, the lowest first\n");
  return ExitCode::kDone;
}

// --- list --------------------------------------------------------------------------------------------------

Json EntryToJson(const VentEntry& entry, size_t number) {
  const auto point = entry.numbers.begin();
  return Json{{"entry", number},
              {"opening", entry.kind()},
              {"point", NumbersToJson(std::vector<float>(point, point + 3))},
              {"direction", NumbersToJson(std::vector<float>(point + 3, point + 6))},
              {"diameter", NumberToJson(entry.numbers[6])}};
}

// The side file of the input; exit 3 when there is none.
VentsFile VentsOf(Context& context, const Options& options) {
  if (auto file = ReadVentsIfThere(context, options.input, context.options.follow_links))
    return std::move(*file);
  return ReadVents(context, SideFileOf(options.input));  // which fails
}

ExitCode List(Context& context, const Options& options) {
  VentsFile file = VentsOf(context, options);
  const std::optional<InputMesh> mesh = MeshIfThere(context, options.input);
  context.data_units = UnitsOf(context, mesh);
  file.lines = {};  // a million of them take as much memory as all else
  file.read.reset();
  const size_t count = file.entries.size();
  std::vector<size_t> all(count);
  std::iota(all.begin(), all.end(), size_t{0});
  const std::vector<std::optional<double>> distances = CheckOnPart(context, mesh, file, all);
  const Json entries = Json::Rows(count, [list = std::move(file.entries), distances](size_t i) {
    Json described = EntryToJson(list[i], i + 1);
    if (!distances.empty() && distances[i]) described["distance"] = NumberToJson(*distances[i]);
    return described;
  });
  context.Report({{"file", TextToJson(file.path)}, {"entries", entries}}, "{file}: {entries:+entry}\n");
  if (!entries.empty()) {
    context.Tell("  entry     kind   diameter  point                        direction\n");
  }
  context.TellEach(entries, "{entry|>7} {opening|>8} {diameter:4f|>10}  {point:4f|<28} {direction:4f}\n");
  return ExitCode::kDone;
}

// --- editing -----------------------------------------------------------------------------------------------

// Without -o the side file itself is replaced, with it a new file is written.
bool IsInPlace(const Options& options) {
  return options.output.empty() || IsSameFile(options.output, SideFileOf(options.input));
}

// For as long as the side file is read and changed.
std::optional<EditLock> LockFor(Context& context, const Options& options) {
  if (!IsInPlace(options)) return std::nullopt;
  return EditLock(context, SideFileOf(options.input));
}

void Save(Context& context, const Options& options, const VentsFile& file) {
  const std::string& path = options.output.empty() ? file.path : options.output;
  if (options.output.empty()) RequireEditable(path, context.options.force);
  if (IsInPlace(options) && (options.output.empty() || context.options.force)) {
    ReplaceFile(path, file.read, file.Text());
  } else {
    WriteOutputFile(path, file.Text(), context.options.force);
  }
  context.State({{"output", TextToJson(path)}});
}

// The point that was asked for: three lengths, or the number of a patch that `find` lists.
Point PlaceOf(Context& context, const std::string& text, const std::vector<VentPatch>* patches, Units units,
              const char* option) {
  try {
    if (text.find(',') != std::string::npos) {
      const std::vector<Length> lengths = ParseLengths(text, 3);
      Point point;
      for (size_t k = 0; k < 3; ++k) point[k] = lengths[k].In(units, context.units());
      return point;
    }
    if (!patches) throw std::invalid_argument("patches are found in a part, and there is none of that name");
    if (patches->empty()) throw std::invalid_argument("the part has no patch for one");
    const auto number = ParseWhole(text, 1, int64_t(patches->size()));
    return (*patches)[size_t(number) - 1].centre;
  } catch (const std::invalid_argument& error) {
    FailUsage("", std::string(option) + ": " + error.what(),
              "three lengths between commas, or the number of a patch that 'trqprep vents find' lists");
  }
}

ExitCode AddEntries(Context& context, const Options& options) {
  if (options.vents.empty() && options.drains.empty()) {
    FailUsage("", "nothing is to be added: --vent or --drain names a place",
              "--vent 1 takes the first patch that 'trqprep vents find' lists, --vent X,Y,Z a point");
  }
  std::optional<InputMesh> mesh = MeshIfThere(context, options.input);
  const Units units = UnitsOf(context, mesh);
  const std::string side_file = SideFileOf(options.input);
  std::optional<VentPatches> patches;
  if (mesh) patches = FindVentPatches(*mesh->mesh);
  const std::optional<InputMesh> beside = mesh ? std::nullopt : PartOf(context, options.input);
  const std::optional<InputMesh>& part = mesh ? mesh : beside;
  const double diameter = options.diameter.value_or(Length{3, Units::kMillimetre}).In(units, context.units());
  if (!(diameter > 0)) FailUsage("", "--diameter must be above 0", "for example --diameter 3mm");
  const auto distances = DistancesOf(part, options.vents.size() + options.drains.size());
  const auto lock = LockFor(context, options);
  VentsFile file = ReadVentsIfThere(context, options.input, context.options.follow_links)
                       .value_or(VentsFile{side_file, {}, {}, {}, {}});
  Json added = Json::array();
  const auto add = [&](const std::string& text, bool vent) {
    const std::vector<VentPatch>* among = !patches ? nullptr : vent ? &patches->vents : &patches->drains;
    const Point point = PlaceOf(context, text, among, units, vent ? "--vent" : "--drain");
    VentEntry entry;
    for (size_t k = 0; k < 3; ++k) entry.numbers[k] = float(point[k]);
    entry.numbers[5] = vent ? 1.0f : -1.0f;
    entry.numbers[6] = float(diameter);
    entry.line = file.lines.size();
    file.lines.push_back(trq::core::SideLine(entry.numbers));
    // What a reader will find there.
    entry = ParseVents(side_file, file.lines.back()).entries.at(0);
    file.entries.push_back(entry);
    if (part) CheckAdded(context, *part, *distances, entry, side_file, file.entries.size());
    Json row = EntryToJson(entry, file.entries.size());
    added.push_back(row);
    row.update({{"file", TextToJson(side_file)}, {"unit", UnitsName(units)}});
    context.Tell("{file}: {opening} {entry} at {point:4f} {unit}, diameter {diameter:4f} {unit}\n", row);
  };
  for (const std::string& text : options.vents) add(text, true);
  for (const std::string& text : options.drains) add(text, false);
  Save(context, options, file);
  context.data_units = units;
  context.State({{"added", added}, {"entry_count", file.entries.size()}});
  return ExitCode::kDone;
}

// Which entries were named, by their numbers; all of them when none was.
std::set<size_t> Chosen(const VentsFile& file, const std::vector<std::string>& numbers) {
  std::set<size_t> chosen;
  try {
    for (const std::string& number : numbers) {
      const auto entry = ParseWhole(number, 1, std::max<int64_t>(1, file.entries.size()));
      if (file.entries.empty()) throw std::invalid_argument("the file has no entry");
      chosen.insert(size_t(entry) - 1);
    }
  } catch (const std::invalid_argument& error) {
    FailUsage(file.path, error.what(), "'trqprep vents list' numbers the entries");
  }
  if (numbers.empty()) {
    for (size_t i = 0; i < file.entries.size(); ++i) chosen.insert(i);
  }
  return chosen;
}

ExitCode Move(Context& context, const Options& options) {
  if (options.by.empty() && !options.rotate_z) {
    FailUsage("", "nothing is to be moved: --by or --rotate-z says how", "for example --by 10mm,0,0");
  }
  const std::optional<InputMesh> mesh = MeshIfThere(context, options.input);
  const Units units = UnitsOf(context, mesh);
  std::array<float, 3> by{};
  if (!options.by.empty()) {
    try {
      const std::vector<Length> lengths = ParseLengths(options.by, 3);
      for (size_t k = 0; k < 3; ++k) by[k] = float(lengths[k].In(units, context.units()));
    } catch (const std::invalid_argument& error) {
      FailUsage("", std::string("--by: ") + error.what(), "for example --by 10mm,0,-2.5");
    }
  }
  const auto lock = LockFor(context, options);
  VentsFile file = VentsOf(context, options);
  const std::set<size_t> chosen = Chosen(file, options.numbers);
  context.result = options.output.empty() ? file.path : options.output;

  trq::core::PointMove move(by[0], by[1], by[2]);
  if (options.rotate_z) {
    const Matrix4 matrix =
        Compose(Matrix4::Translation(by[0], by[1], by[2]), Matrix4::Rotation(2, *options.rotate_z));
    float after[4][4], before[4][4];
    for (int i = 0; i < 16; ++i) after[i / 4][i % 4] = float(matrix.m[i / 4][i % 4]);
    set_unit_matrix(before);
    move = trq::core::PointMove(after, before, 0);
  }
  for (const size_t i : chosen) {
    VentEntry& entry = file.entries[i];
    move.Apply(entry.numbers.data());
    file.lines[entry.line] = trq::core::SideLine(entry.numbers);
    entry.numbers = *trq::core::ParseSideLine(file.lines[entry.line]);  // what the file says
  }
  CheckOnPart(context, mesh, file, {chosen.begin(), chosen.end()});
  Save(context, options, file);
  const size_t all = file.entries.size();
  const Json entries =
      Json::Rows(chosen.size(),
                 [list = std::move(file.entries), which = std::vector<size_t>(chosen.begin(), chosen.end())](
                     size_t i) { return EntryToJson(list[which[i]], which[i] + 1); });
  context.data_units = units;
  context.Report({{"moved", entries}}, "{output}: {moved:#} of {all:+entry} moved\n", {{"all", all}});
  return ExitCode::kDone;
}

ExitCode Remove(Context& context, const Options& options) {
  if (options.all != options.numbers.empty()) {
    FailUsage("", "name the entries to remove, or say --all", "'trqprep vents list' numbers the entries");
  }
  // Not while a person thinks about --all.
  auto lock = options.all ? std::nullopt : LockFor(context, options);
  VentsFile file = VentsOf(context, options);
  if (options.all) {
    if (!options.output.empty()) {
      FailUsage("", "--all deletes the file; -o has no meaning with it", "leave -o away");
    }
    context.current_file = file.path;
    const bool kept = !context.Ask(
        fmt::format("delete {} with its {}?", file.path, Counted(int64_t(file.entries.size()), "hole")));
    context.current_file.clear();
    if (!kept) lock = LockFor(context, options);
    if (!kept && ReadWholeFile(file.path) != *file.read) {
      FailOutput(Code::kOutputChanged, file.path, "was changed by somebody else meanwhile",
                 "run the command again");
    }
    if (const int error = kept ? 0 : RemoveFile(file.path)) {
      FailOutput(Code::kOutputUnwritable, file.path, "cannot be deleted: " + SystemText(error),
                 "its folder has to be one that you may write in");
    }
    context.Report({{"removed", kept ? 0 : file.entries.size()}, {"deleted", !kept}},
                   kept ? "{file}: kept\n" : "{file}: deleted\n", {{"file", TextToJson(file.path)}});
    return kept ? ExitCode::kNo : ExitCode::kDone;
  }
  const std::set<size_t> chosen = Chosen(file, options.numbers);
  std::vector<bool> gone(file.lines.size(), false);
  for (const size_t i : chosen) gone[file.entries[i].line] = true;
  std::vector<std::string> left;
  for (size_t line = 0; line < file.lines.size(); ++line) {
    if (!gone[line]) left.push_back(std::move(file.lines[line]));
  }
  file.lines = std::move(left);
  Save(context, options, file);
  context.Report({{"removed", chosen.size()}, {"entry_count", file.entries.size() - chosen.size()}},
                 "{output}: {removed:+entry} removed, {entry_count} left\n");
  return ExitCode::kDone;
}

constexpr const char* kInputHelp = "The part, or its .V_D file";

void AddEntryNumbers(Command& verb, Options& options) {
  verb.Arguments("ENTRY", options.numbers, "Numbers of entries, as 'vents list' shows them", false).Type("N");
}

void AddOutput(Command& verb, Options& options) {
  verb.Output(options.output, "FILE", "Write the changed .V_D file here instead", false);
}

}  // namespace

void AddVents(CommandTree& tree) {
  Command& group = tree.Add(
      "vents", "Find places for vents and drains, and keep a part's .V_D file",
      "A hollow part needs a vent at its top and a drain at its bottom. They stand in a text file beside "
      "the part, named as the part up to its last period, with .V_D. One that is a symbolic link is read and "
      "changed with --follow-links, or when it is named itself. A file is changed in place under a lock of "
      "its folder, so several may change it at once.",
      {});
  {
    Command& verb = group.Sub(
        "find", "Find places for vents and drains on a part",
        "Facets that face up may take a vent, facets that face down a drain, within 5.7 degrees. Those "
        "that are connected make a patch. Vents are listed from the highest patch, drains from the lowest, "
        "the larger of equally high ones first. The height is counted from the part's lowest point. The "
        "centre lies on the patch.",
        {"trqprep vents find l_shape.stl", "trqprep vents find l_shape.stl --json"});
    auto& options = verb.Runs(Find);
    verb.Argument("IN", options.input, "STL or CTL file");
    verb.ReadsMeshes();
  }
  {
    Command& verb = group.Sub(
        "list", "List the vents and drains of a part",
        "The kind is told by the direction that 'vents add' writes: up for a vent, down for a drain. When "
        "the part is there, points farther than 0.1 mm from it are warned of.",
        {"trqprep vents add l_shape.stl --vent 1 && trqprep vents list l_shape.stl",
         "trqprep vents list l_shape.V_D --json"});
    auto& options = verb.Runs(List);
    verb.Argument("IN", options.input, kInputHelp);
    verb.FollowLinksFlag();
    verb.ReadsMeshes();
  }
  {
    Command& verb = group.Sub(
        "add", "Add vents and drains to a part",
        "A place is three lengths X,Y,Z in the part's coordinates, or the number of a patch that 'vents "
        "find' lists. The file is made when there is none.",
        {"trqprep vents add l_shape.stl --vent 1 --drain 1",
         "trqprep vents add l_shape.stl --vent 5mm,5mm,12mm --diameter 2mm -o other.V_D"});
    auto& options = verb.Runs(AddEntries);
    verb.Argument("IN", options.input, kInputHelp);
    verb.FollowLinksFlag();
    verb.RepeatedOption("--vent", options.vents, "PLACE", "Add a vent there");
    verb.RepeatedOption("--drain", options.drains, "PLACE", "Add a drain there");
    verb.LengthOption("--diameter", options.diameter, "Diameter of the hole (default 3 mm)");
    AddOutput(verb, options);
    verb.ReadsMeshes();
  }
  {
    Command& verb = group.Sub(
        "move", "Move vents and drains along with their part",
        "Turns about the Z axis first, then moves. Without entry numbers all entries are moved. A part "
        "that is tilted needs new vents and drains.",
        {"trqprep vents add l_shape.stl --vent 1 && trqprep vents move l_shape.V_D --by 10mm,0,0",
         "trqprep vents move l_shape.V_D 1 --rotate-z 90 -o turned.V_D"});
    auto& options = verb.Runs(Move);
    verb.Argument("IN", options.input, kInputHelp);
    verb.FollowLinksFlag();
    AddEntryNumbers(verb, options);
    verb.TextOption("--by", options.by, "X,Y,Z", "Move by three lengths, such as 10mm,0,-2.5");
    verb.NumberOption("--rotate-z", options.rotate_z, "Turn about the Z axis by so many degrees");
    AddOutput(verb, options);
    verb.ReadsMeshes();
  }
  {
    Command& verb =
        group.Sub("remove", "Remove vents and drains",
                  "Removes the named entries, or with --all the whole file; that is asked for first.",
                  {"trqprep vents add l_shape.stl --vent 1 --drain 1 && trqprep vents remove l_shape.stl 2",
                   "trqprep vents remove l_shape.stl --all --yes"});
    auto& options = verb.Runs(Remove);
    verb.Argument("IN", options.input, kInputHelp);
    verb.FollowLinksFlag();
    AddEntryNumbers(verb, options);
    verb.Flag("--all", options.all, "Delete the file");
    AddOutput(verb, options);
  }
}

}  // namespace trqprep
