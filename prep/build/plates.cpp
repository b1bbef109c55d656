#include "trqprep/plates.h"

#include <fmt/format.h>

#include <map>
#include <set>

#include "trqprep/build.h"
#include "trqprep/build_estimate.h"
#include "trqprep/job_file.h"

namespace trqprep {
namespace {

std::string PlateName(size_t plate) { return fmt::format("plate-{}", plate + 1); }

/// A plate as a job of its own, and the parts of the whole job that its parts are pieces of.
struct PlateJob {
  Job job;
  std::vector<size_t> part_of;
};

// By the number of the plate; those without a piece are left out.
std::map<size_t, PlateJob> JobsOf(const Plate& all) {
  Job empty = all.job;
  empty.parts = {};  // the memory too, or each plate has that of all parts
  empty.plates = 1;
  empty.steps = 0;
  std::map<size_t, PlateJob> plates;
  for (const Piece& piece : all.pieces) {
    const auto [plate, fresh] = plates.try_emplace(piece.plate);
    Job& job = plate->second.job;
    if (fresh) job = empty;
    PartRequest part = all.job.parts[piece.part];
    part.name = all.parts[piece.part].name;
    part.copies = 1;
    part.rotate_z = TurnOf(all, piece);
    part.rotations = {};
    part.at = {Length{piece.x, std::nullopt}, Length{piece.y, std::nullopt}};
    part.plate = 0;
    job.parts.push_back(part);
    plate->second.part_of.push_back(piece.part);
  }
  return plates;
}

// The parts whose files are read already, of those that a plate has pieces of.
Plate KnownOf(const Plate& all, const PlateJob& plate) {
  Plate known;
  for (const size_t part : std::set<size_t>(plate.part_of.begin(), plate.part_of.end())) {
    known.parts.push_back(all.parts[part]);
  }
  return known;
}

// Takes names of files from the job of a plate's folder into that of the folder around it.
class WholeJob {
 public:
  explicit WholeJob(const Job& job) : job_(job), known_(job.parts.size(), false) {}

  void Take(const PlateJob& plate, const Job& of_folder, const std::string& below) {
    const auto take = [&](std::vector<StyleRequest>& styles, std::vector<StyleRequest> named) {
      styles = std::move(named);
      for (StyleRequest& style : styles) style.path = below + style.path;
    };
    if (first_) {
      take(job_.styles, of_folder.styles);
      take(job_.recoats, of_folder.recoats);
    }
    first_ = false;
    for (size_t i = 0; i < plate.part_of.size(); ++i) {
      const size_t part = plate.part_of[i];
      if (known_[part]) continue;
      known_[part] = true;
      job_.parts[part].path = below + of_folder.parts[i].path;
      take(job_.parts[part].styles, of_folder.parts[i].styles);
    }
  }
  const Job& job() const { return job_; }

 private:
  Job job_;
  bool first_ = true;
  std::vector<bool> known_;
};

// What is true of every plate is said once; each plate's own files have it.
class OnceEach {
 public:
  explicit OnceEach(Observer& observer) : observer_(observer) { observer_.SayEachOnce(); }
  ~OnceEach() { observer_.ForgetRepeats(); }
  OnceEach(const OnceEach&) = delete;
  OnceEach& operator=(const OnceEach&) = delete;

 private:
  Observer& observer_;
};

Json ReadPlates(const HeldFolder& folder) {
  Json document = ReadFolderJson(folder, kPlatesJson);
  const Json& read = document;  // nothing is put into it, whatever it is
  if (TextFromJson(read["schema"]).value_or("").rfind("trqprep.plates/", 0) != 0 ||
      !read["plates"].is_array() || !read["files"].is_array()) {
    throw JsonMistake{"does not describe plates", {}};
  }
  return document;
}

std::vector<std::string> NamesIn(const Json& list, const char* key) {
  std::vector<std::string> names;
  for (const Json& entry : list) {
    const std::optional<std::string> name = TextFromJson(entry[key]);
    if (!name || !FolderList().Add(*name)) throw JsonMistake{fmt::format("{} is malformed", key), {}};
    names.push_back(*name);
  }
  return names;
}

}  // namespace

std::optional<PlacedPlates> PlaceOnPlates(const Job& job, Observer& observer) {
  PlacedPlates placed;
  placed.all = LoadPlate(observer, job);
  if (!PlacePieces(observer, placed.all)) return std::nullopt;
  const std::map<size_t, PlateJob> plates = JobsOf(placed.all);
  placed.all.pieces.clear();
  const OnceEach once(observer);
  for (const auto& [number, plate] : plates) {
    PlacedPlate& one = placed.plates.emplace_back();
    one.name = PlateName(number);
    const Plate known = KnownOf(placed.all, plate);
    one.plate = LoadPlate(observer, plate.job, &known);
    if (!PlacePieces(observer, one.plate)) return std::nullopt;
    one.findings = CheckPieces(observer, one.plate);
  }
  return placed;
}

Json DescribePlates(const PlacedPlates& placed) {
  constexpr const char* kOfEach[] = {"extent", "smallest_distance", "closest_pair", "pieces"};
  Json document = DescribePlate(placed.all);
  for (const char* key : kOfEach) document.erase(key);
  document["plates"] = Json::array();
  for (const PlacedPlate& plate : placed.plates) {
    const Json described = DescribePlate(plate.plate);
    Json entry{{"folder", plate.name}, {"piece_count", plate.plate.pieces.size()}};
    for (const char* key : kOfEach) entry[key] = described[key];
    document["plates"].push_back(std::move(entry));
  }
  return document;
}

PlatesReport BuildPlates(const Job& job, const std::string& folder, bool replace, Observer& observer) {
  PlatesReport report;
  OutputFolder output(folder, replace, FilesOfBuilds);
  observer.strict = observer.strict || job.strict;
  observer.allowed.insert(observer.allowed.end(), job.allow.begin(), job.allow.end());
  Plate all;
  try {
    all = LoadPlate(observer, job);
    report.placed = PlacePieces(observer, all);
  } catch (Failure& failure) {
    TellFolder(job, failure.message);
    throw;
  }
  if (!report.placed) return report;
  const std::map<size_t, PlateJob> plates = JobsOf(all);
  WholeJob whole(all.job);
  all.pieces.clear();
  report.document = {{"schema", kPlatesSchema},
                     {"tool", ToolName()},
                     {"search_steps", all.job.steps},
                     {"plates", Json::array()}};
  bool outside = false;
  const OnceEach once(observer);
  for (const auto& [number, plate] : plates) {
    const std::string below = PlateName(number) + "/";
    const Plate known = KnownOf(all, plate);
    BuildReport built = CheckBuild(plate.job, observer, &known);
    report.placed = report.placed && built.placed();
    if (!built.placed()) return report;
    report.wrong = report.wrong || built.wrong;
    outside = outside || built.outside;
    const bool writes = !outside && (!report.wrong || job.force_checks);
    if (writes) {
      output.MakeFolder(PlateName(number));
      WriteBuildFolder(observer, built.plate, *built.setup, built.findings, built.slices,
                       EstimateFile(observer, built.plate, *built.setup, built.slices), built.document,
                       output, below);
      whole.Take(plate, FolderJob(built.plate, *built.setup), below);
    }
    Json entry{{"folder", PlateName(number)}, {"piece_count", plate.part_of.size()}};
    for (const char* key : {"extent", "smallest_distance", "closest_pair"}) entry[key] = built.document[key];
    if (writes) entry["sum"] = built.document["sum"];
    report.document["plates"].push_back(std::move(entry));
  }
  for (const Message& message : observer.messages()) {
    report.wrong = report.wrong || message.severity == Severity::kError;
  }
  if (outside || (report.wrong && !job.force_checks)) return report;
  const OutputFolder::Written toml = output.WriteFile(kBuildToml, JobFileText(whole.job()));
  report.document["files"] = {{{"file", kBuildToml}, {"file_size", toml.size}, {"sha256", toml.sha256}}};
  report.document["sum"] = SumOf(report.document);
  output.WriteFile(kPlatesJson, JsonDocument(report.document));
  output.Commit();
  report.written = true;
  return report;
}

void CheckPlates(const Job& job, Observer& observer) {
  observer.strict = observer.strict || job.strict;
  observer.allowed.insert(observer.allowed.end(), job.allow.begin(), job.allow.end());
  Plate all = LoadPlate(observer, job);
  if (!PlacePieces(observer, all)) return;
  const std::map<size_t, PlateJob> plates = JobsOf(all);
  all.pieces.clear();
  const OnceEach once(observer);
  for (const auto& [number, plate] : plates) {
    const Plate known = KnownOf(all, plate);
    CheckBuild(plate.job, observer, &known);
  }
}

bool HoldsPlates(const HeldFolder& folder) { return folder.held() && folder.HasRegularFile(kPlatesJson); }

std::vector<std::string> PlateFolders(const HeldFolder& folder) {
  try {
    return NamesIn(ReadPlates(folder)["plates"], "folder");
  } catch (const JsonMistake& mistake) {
    FailInput(Code::kBuildInvalid, folder.PathOf(kPlatesJson), mistake.text, "build again");
  }
}

std::optional<FolderList> FilesOfBuilds(const HeldFolder& folder) {
  if (!HoldsPlates(folder)) return FilesOfBuild(folder);
  FolderList list;
  list.Add(kPlatesJson);
  try {
    const Json document = ReadPlates(folder);
    for (const std::string& name : NamesIn(document["files"], "file")) list.Add(name);
    for (const std::string& name : NamesIn(document["plates"], "folder")) {
      const HeldFolder plate(folder.PathOf(name), folder.Open(name));
      const std::optional<FolderList> held = FilesOfBuild(plate);
      if (!held) return std::nullopt;
      list.folders[name] = *held;
    }
  } catch (const JsonMistake&) {
    return std::nullopt;
  } catch (const Failure&) {
    return std::nullopt;
  }
  return list;
}

}  // namespace trqprep
