#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string_view>
#include <tuple>

#include "commands.h"
#include "file_kinds.h"
#include "job_options.h"
#include "trqprep/build.h"
#include "trqprep/check_layers.h"
#include "trqprep/check_part.h"
#include "trqprep/check_styles.h"
#include "trqprep/contour_file.h"
#include "trqprep/folder_list.h"
#include "trqprep/job_file.h"
#include "trqprep/paths.h"
#include "trqprep/plates.h"
#include "trqprep/verify_folder.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> paths;
  std::array<Length, 3> vat{Length{250, Units::kMillimetre}, Length{250, Units::kMillimetre},
                            Length{250, Units::kMillimetre}};
  std::string machine;
  std::string floor = WordOf(Floor::kLift);
  bool drop = false;
  bool strict = false;
  std::vector<std::string> allow;
  bool slices = false;
  std::optional<Length> thickness;
  LayerCheck layers;
};

struct Totals {
  int64_t errors = 0;
  int64_t warnings = 0;
  bool unreadable = false;  ///< a file that was named could not be looked at
};

// What a rule speaks of is an answer, and so is what the content of a mesh file is like; anything else kept
// the file from being looked at.
bool IsAnswer(Code code) {
  const MessageRow& row = RowOf(code);
  const std::string_view kind(row.text, std::strcspn(row.text, "-"));
  return row.is_rule() || kind == "STL" || kind == "CTL" || kind == "MESH";
}

class Checker {
 public:
  Checker(Context& context, const Options& options, Totals& totals)
      : context_(context), options_(options), totals_(totals) {
    for (size_t i = 0; i < 3; ++i) {
      vat_mm_[i] = options.vat[i].In(Units::kMillimetre, context.units());
    }
    surroundings_.units = context.units();
    job_.units = context.units();
    job_.units_given = context.options.units_given;
    job_.accept_partial = context.options.accept_partial;
    job_.follow_links = context.options.follow_links;
    job_.drop = options.drop;
    if (options.floor == WordOf(Floor::kKeep)) job_.floor = Floor::kKeep;
    if (!options.machine.empty()) surroundings_.machine = MachineByName(options.machine);
  }

  // Checks what the command line names: a file, or a folder.
  void Check(std::string path) {
    if (!IsFolder(path)) {
      if (NamesJobFile(path)) {
        CheckJob(path);
      } else {
        CheckFile(path, true);
      }
      return;
    }
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const HeldFolder folder(path);
    if (!folder.held()) FailInput(Code::kInputUnreadable, path, SystemText(errno));
    if (folder.HasRegularFile(kBuildJson)) {
      CheckBuildFolder(folder);
      return;
    }
    if (HoldsPlates(folder)) {
      for (const std::string& plate : PlateFolders(folder)) {
        CheckBuildFolder(HeldFolder(folder.PathOf(plate), folder.Open(plate)));
      }
      return;
    }
    for (const std::string& file : FilesBelow(folder, "")) {
      context_.Progress("checking " + folder.PathOf(file), 0);
      CheckFile(file, false, &folder);
    }
  }

 private:
  // Checks one file, by its path or by its name in a folder. `named`: the command line or a job names it, so
  // that a kind that is not checked is an error. False when it cannot be read.
  bool CheckFile(const std::string& name, bool named, const HeldFolder* folder = nullptr) {
    const std::string path = folder ? folder->PathOf(name) : name;
    bool readable = true;
    const size_t before = context_.messages().size();
    std::string checked;
    try {
      InputFile file = folder ? InputFile(*folder, name) : InputFile(path);
      const FileKind* kind = KindOf(file.head());
      const std::string kind_name = kind ? kind->name : "";
      if (kind_name == "stl" || kind_name == "ctl") {
        checked = kind_name;
        CheckPart(name, folder);
      } else if (kind_name == "slc" && options_.slices) {
        checked = kind_name;
        CheckContours(file, path, VentsFile());
      } else if (ExamineStyleHead(file.head().head)) {
        checked = CheckStyleFile(path, std::move(file));
      }
      if (checked.empty() && named) {
        FailInput(Code::kInputUnknown, path, "is neither a mesh nor a style",
                  "'trqprep info' tells what a file holds");
      }
    } catch (Failure& failure) {
      TellFolder(job_, failure.message);
      context_.Say(failure.message);
      readable = false;
      if (!IsAnswer(failure.message.code)) totals_.unreadable = true;
    }
    if (!checked.empty() || named) Count(path, checked, before);
    return readable;
  }

  // Checks a build folder: its parts and styles in the build's own surroundings, its stacks and its pieces.
  void CheckBuildFolder(const HeldFolder& folder) {
    const Json document = ReadBuildDocument(folder);
    const Json &units = document["units"], &machine = document["machine_type"], &vat = document["vat"];
    if (units.is_string())
      surroundings_.units = UnitsFromName(units.get<std::string>()).value_or(context_.units());
    context_.options.units = UnitsName(surroundings_.units);
    job_.units = surroundings_.units;
    TakeParts(folder);
    surroundings_.of_build = true;
    if (machine.is_number_integer()) surroundings_.machine = machine.get<int>();
    job_.drop = document["drop"].is_boolean() && document["drop"].get<bool>();
    for (size_t i = 0; i < 3 && vat.is_array() && vat.size() == 3; ++i) {
      if (vat[i].is_number()) {
        vat_mm_[i] = vat[i].get<double>() * UnitsFactor(surroundings_.units, Units::kMillimetre);
      }
    }
    for (const char* part : {kPartFolder, kStyleFolder}) {
      for (const std::string& file : FilesBelow(folder, part)) CheckFile(file, false, &folder);
    }
    const size_t before = context_.messages().size();
    SayAll(VerifyPresence(folder, document));
    SayAll(CheckDescribedStacks(folder, document));
    for (const Message& finding : VerifyPieces(context_, folder, document)) {
      if (RowOf(finding.code).is_rule()) context_.Say(finding);
    }
    if (options_.slices) CheckSlicesOf(folder, document);
    Count(folder.path(), "build", before);
  }

  // The contours of a build's pieces, with their vents and drains.
  void CheckSlicesOf(const HeldFolder& folder, const Json& document) {
    for (const Json& piece : document["pieces"]) {
      const std::optional<std::string> name = TextFromJson(piece["slices"]),
                                       mesh = TextFromJson(piece["mesh"]);
      if (!name || !mesh || !FolderList().Add(*name) || !folder.HasRegularFile(*name)) continue;
      InputFile file(folder, *name);
      CheckContours(
          file, folder.PathOf(*name),
          ReadVentsIfThere(context_, *mesh, context_.options.follow_links, &folder).value_or(VentsFile()));
    }
  }

  // What the folder's job file says of its parts, when it can be read.
  void TakeParts(const HeldFolder& folder) {
    if (!folder.HasRegularFile(kBuildToml)) return;
    try {
      job_.parts = ReadJobFile(folder, kBuildToml).parts;
    } catch (const Failure&) {  // `verify` tells of it
    }
  }

  // Checks a job file: its parts and styles in the job's own surroundings; when all of them can be read, also
  // the placement and the stacks. Nothing is written.
  void CheckJob(const std::string& path) {
    size_t before = context_.messages().size();
    try {
      Job job = ReadJobFile(path);
      job.follow_links = context_.options.follow_links;
      ApplyJob(context_, job);
      vat_mm_ = job.VatIn(Units::kMillimetre);
      surroundings_ = {job.units, job.machine, true};
      job_ = job;
      context_.strict = context_.strict || job.strict;
      context_.allowed.insert(context_.allowed.end(), job.allow.begin(), job.allow.end());
      if (const auto message = TooManyParts(job)) {
        context_.Say(*message);
        Count(path, "job", before);
        return;
      }
      bool readable = true;
      for (const std::string& file : FilesOf(job)) readable = CheckFile(file, true) && readable;
      before = context_.messages().size();
      if (readable) {
        CheckPlacement(job);
      } else {
        context_.Note(Message(Code::kCheckPartial, path, "placement and stacks were not tested")
                          .Hint("they are when every file of the job can be read"));
      }
    } catch (const Failure& failure) {
      context_.Say(failure.message);
      totals_.unreadable = true;
    }
    Count(path, "job", before);
  }

  // What the build says of the job, without what its files were said to be already.
  void CheckPlacement(const Job& job) {
    Context preflight;
    preflight.options = context_.options;
    preflight.silent = true;
    preflight.strict = context_.strict;
    preflight.allowed = context_.allowed;
    try {
      if (job.plates == 1) {
        CheckBuild(job, preflight);
      } else {
        CheckPlates(job, preflight);
      }
    } catch (const Failure& failure) {
      preflight.Say(failure.message);
    }
    std::set<std::tuple<Code, std::string, std::string>> said;
    for (const Message& message : context_.messages()) said.emplace(message.code, message.file, message.text);
    for (const Message& message : preflight.messages()) {
      if (said.count({message.code, message.file, message.text}) == 0) context_.Say(message);
    }
  }

  // The parts and styles that a job names, each once.
  static std::vector<std::string> FilesOf(const Job& job) {
    std::vector<std::string> files;
    std::set<std::string> known;
    const auto add = [&](const std::string& file) {
      if (known.insert(file).second) files.push_back(file);
    };
    const auto add_styles = [&](const std::vector<StyleRequest>& styles) {
      for (const StyleRequest& style : styles) add(style.path);
    };
    for (const PartRequest& part : job.parts) add(part.path);
    add_styles(job.styles);
    add_styles(job.recoats);
    for (const PartRequest& part : job.parts) add_styles(part.styles);
    return files;
  }

  // Counts what was said about a file, and lists the file.
  void Count(const std::string& path, const std::string& kind, size_t before) {
    int64_t errors = 0, warnings = 0;
    for (size_t i = before; i < context_.messages().size(); ++i) {
      if (context_.messages()[i].severity == Severity::kError) ++errors;
      if (context_.messages()[i].severity == Severity::kWarning) ++warnings;
    }
    std::vector<const Message*> said;
    for (size_t i = before; i < context_.messages().size(); ++i) said.push_back(&context_.messages()[i]);
    const Json row{{"file", TextToJson(path)},
                   {"kind", kind.empty() ? Json(nullptr) : Json(kind)},
                   {"errors", errors},
                   {"warnings", warnings}};
    context_.data["files"].push_back(row);
    context_.Tell(
        said.empty() ? "{file}: nothing found\n" : "{file}: {errors:+error}, {warnings:+warning}: {codes}\n",
        Json{{"file", row["file"]},
             {"errors", errors},
             {"warnings", warnings},
             {"codes", CountedCodes(said)}});
    totals_.errors += errors;
    totals_.warnings += warnings;
  }

  void SayAll(const std::vector<Message>& findings) {
    for (const Message& finding : findings) context_.Say(finding);
  }

  void CheckPart(const std::string& name, const HeldFolder* folder) {
    const std::string path = folder ? folder->PathOf(name) : name;
    const auto asked = std::find_if(job_.parts.begin(), job_.parts.end(),
                                    [&](const PartRequest& part) { return part.path == path; });
    PartRequest part = asked == job_.parts.end() ? PartRequest() : *asked;
    part.path = name;
    MeshReading how;
    how.folder = folder;
    const InputMesh input = ReadPart(context_, job_, part, how);
    PartCheck check;
    check.job = job_;
    check.vat_mm = vat_mm_;
    check.of_build = surroundings_.of_build;
    if (options_.slices) check.layers = options_.layers;
    check.thickness = options_.thickness;
    check.bare = context_.units();
    trqprep::CheckPart(context_, input, check, [&] {
      return ReadVentsIfThere(context_, name, context_.options.follow_links, folder).value_or(VentsFile());
    });
  }

  void CheckContours(InputFile& opened, const std::string& path, const VentsFile& vents) {
    const ContourFile file = ReadContours(context_, context_.units(), opened, path);
    SayLayers(StackOf(file.contours), file.units, vents, path);
  }

  void SayLayers(const LayerStack& stack, Units units, const VentsFile& vents, const std::string& path) {
    SayAll(CheckLayers(context_, stack, options_.layers, units, context_.units(), vents, path).messages);
  }

  // The kind of the style; empty when it is none.
  std::string CheckStyleFile(const std::string& path, InputFile&& opened) {
    const std::optional<StyleFile> file =
        ExamineStyle(path, ReadWholeFile(std::move(opened), "a style file"), std::nullopt);
    if (!file) return {};
    NoteNameDecides(context_, *file);
    SayAll(CheckStyle(*file, surroundings_));
    return StyleKindName(file->kind);
  }

  Context& context_;
  const Options& options_;
  std::array<double, 3> vat_mm_{};
  StyleSurroundings surroundings_;
  Job job_;  // what it says of reading and of the floor
  Totals& totals_;
};

ExitCode Run(Context& context, const Options& options) {
  Totals totals;
  context.data["files"] = Json::array();
  const CommonOptions given = context.options;
  context.strict = options.strict;
  for (const std::string& code : options.allow) context.allowed.push_back(ParseCode(code));
  if (!options.strict && !options.allow.empty()) {
    FailUsage("", "--allow says what --strict leaves a warning", "add --strict");
  }
  if (options.drop && options.floor == WordOf(Floor::kKeep)) {
    FailUsage("", "--drop and --floor keep exclude each other", "leave one of them away");
  }
  const auto require = [](const char* option, const std::optional<Length>& length, bool may_be_0) {
    if (!length || length->value > 0 || (may_be_0 && length->value == 0)) return;
    FailUsage("", fmt::format("{} must {}", option, may_be_0 ? "not be below 0" : "be above 0"),
              fmt::format("for example {} 0.1mm", option));
  };
  require("--thickness", options.thickness, false);
  require("--pitch", options.layers.pitch, false);
  require("--overhang", options.layers.overhang, true);
  require("--vent-radius", options.layers.vent_radius, true);
  if (!options.slices && (options.thickness || options.layers.overhang || options.layers.vent_radius ||
                          options.layers.pitch || options.layers.solid_platform)) {
    FailUsage("", "--thickness, --overhang, --vent-radius, --pitch and --solid-platform go with --slices",
              "add --slices");
  }
  context.files_are_told = true;
  if (options.paths.size() > 1 || IsFolder(options.paths[0])) context.Gather();
  const std::vector<Code> allowed = context.allowed;
  for (const std::string& path : options.paths) {
    Checker(context, options, totals).Check(path);
    // Builds and jobs have units and strictness of their own.
    context.options = given;
    context.strict = options.strict;
    context.allowed = allowed;
  }
  context.State({{"errors", totals.errors}, {"warnings", totals.warnings}});
  if (totals.unreadable) return ExitCode::kInput;
  return totals.errors > 0 ? ExitCode::kNo : ExitCode::kDone;
}

}  // namespace

void AddCheck(CommandTree& tree) {
  Command& command = tree.Add(
      "check", "Look for what would spoil a build",
      "Tests parts (with their vents-and-drains side files) and style files against the rules that "
      "'trqprep build' applies, and lists everything that it finds. Of a folder every mesh and style "
      "file is tested. Of a job file and of a build folder the placement and the stacks of styles are "
      "tested too. Ends with 1 when an error is among the findings or a mesh cannot be read; 'trqprep "
      "explain CODE' tells more about one.",
      {"trqprep check bracket.stl", "trqprep check bracket.stl spur_gear.stl --units mm --json"});
  auto& options = command.Runs(Run);
  command.Arguments("FILE", options.paths, "Meshes, style files and job files, or folders of them");
  command.VatOption(options.vat);
  command.TextOption("--machine", options.machine, "NAME", "Machine that the styles are to be for");
  command.Flag("--drop", options.drop, "As the build has it: parts are put down to Z = 0");
  command.TextOption("--floor", options.floor, "lift|keep",
                     "As the build has it: parts below Z = 0 are moved up to it (default), or refused");
  command.Flag("--strict", options.strict, "Treat warnings as errors");
  command.RepeatedOption("--allow", options.allow, "CODE",
                         "Leave warnings of this code what they are under --strict");
  command.Flag("--slices", options.slices,
               "Look at layers too: islands, overhangs, cups and trapped resin; also of slice-contour files");
  command.LengthOption("--thickness", options.thickness, "Thickness of the layers of meshes (default 0.1mm)");
  command.LengthOption("--overhang", options.layers.overhang,
                       "How far a layer may reach beyond the one below (default: as far as it is high)");
  command.LengthOption("--vent-radius", options.layers.vent_radius,
                       "How near a vent or drain opens a space (default 1mm)");
  command.LengthOption("--pitch", options.layers.pitch,
                       "Distance of the rows in which layers are looked at (default 0.1mm)");
  command.Flag("--solid-platform", options.layers.solid_platform,
               "The part stands on the platform itself, which closes what is open at the bottom");
  command.AllFlag();
  command.ReadsMeshes();
  command.FollowLinksFlag();
}

}  // namespace trqprep
