#include "trqprep/build_setup.h"
#include "trqprep/input_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>

#include "prep/plate/searches.h"
#include "prep/says/side_by_side.h"
#include "prep/styles/style_adapter.h"
#include "trq/core/style_stack.h"
#include "trqprep/build_folder.h"
#include "trqprep/check_mesh.h"
#include "trqprep/paths.h"

namespace trqprep {
namespace {

namespace core = trq::core;

// The machine's folder below the style root, with a slash at its end; empty when there is none.
std::string MachineFolder(const Job& job) {
  if (job.style_root.empty() || !job.machine) return {};
  const char* folder = trq::StyleDirectory(
      *job.machine, job.units == Units::kMillimetre ? trq::kStylesInMillimetres : trq::kStylesInInches);
  if (!folder) return {};
  std::string found = job.style_root + folder;
  std::replace(found.begin() + static_cast<std::ptrdiff_t>(job.style_root.size()), found.end(), '\\', '/');
  return found;
}

// A style that does not stand where its name says may lie in the machine's folder below the style root.
std::string FindStyle(const Job& job, const std::string& path) {
  const std::string folder = Exists(path) ? "" : MachineFolder(job);
  return !folder.empty() && Exists(folder + path) ? folder + path : path;
}

[[noreturn]] void FailMissing(const Job& job, const std::string& path) {
  const std::string folder = MachineFolder(job);
  std::string hint = "names are looked up from the current folder, those in a job file from the job file's";
  if (!folder.empty()) {
    hint = fmt::format("looked for in the current folder and in {} of the machine profile", folder);
  } else if (!job.style_root.empty()) {
    hint = fmt::format(
        "the profile's styles = {} is searched only for machines with a style folder: "
        "'trqprep machines' lists them",
        job.style_root);
  }
  FailInput(Code::kInputMissing, path, "there is no such file", hint);
}

// The style as the application reads it, in the newest layout. What old layouts do not say is taken to be
// right for the build, so that nothing new is found wrong when the folder is built again.
StyleDocument Upgraded(const StyleFile& file, const Job& job) {
  StyleDocument style = AsRead(file);
  if (!StatesMachine(file) && job.machine) style.FindWord("machine_type")->number = Number(*job.machine);
  if (file.layout == StyleLayout::kLegacy) {
    style.FindText("units")->text = UnitsName(job.units);
    style.FindWord("layer_thickness")->number = Number(0.0f);
  }
  return style;
}

// A part's own style without a band replaces the one for all parts; bands of all parts come before its own.
std::vector<StyleRequest> StylesOf(const Job& job, const PartRequest& part) {
  const bool own = std::any_of(part.styles.begin(), part.styles.end(),
                               [](const StyleRequest& style) { return !style.banded; });
  std::vector<StyleRequest> styles;
  for (const StyleRequest& style : job.styles) {
    if (style.banded || !own) styles.push_back(style);
  }
  styles.insert(styles.end(), part.styles.begin(), part.styles.end());
  return styles;
}

void RefuseSeveral(const std::vector<StyleRequest>& styles, const std::string& subject) {
  const auto count =
      std::count_if(styles.begin(), styles.end(), [](const StyleRequest& style) { return !style.banded; });
  if (count < 2) return;
  FailUsage("", fmt::format("{} styles without a band for {}", count, subject),
            "one covers everything; give the others a band, FILE@FROM:TO");
}

std::vector<StyleBand> Bands(const std::vector<StackedStyle>& stack) {
  std::vector<StyleBand> bands;
  for (const StackedStyle& style : stack)
    bands.push_back({style.start, style.end, style.thickness, style.file});
  return bands;
}

// Reads each style file once, however often a job names it.
class StyleReader {
 public:
  StyleReader(Observer& observer, const Job& job) : observer_(observer), job_(job) {}

  const StyleFile& Read(const std::string& path, StyleKind kind) {
    const auto [found, fresh] = files_.try_emplace({RealPath(path), kind});
    if (fresh) found->second = ReadAnew(path, kind);
    return found->second;
  }

 private:
  StyleFile ReadAnew(const std::string& path, StyleKind kind) const {
    if (!Exists(path)) FailMissing(job_, path);
    std::optional<StyleFile> file = ExamineStyle(path, ReadWholeFile(path), kind);
    if (!file || file->kind != kind) {
      FailInput(file ? Code::kStyleKind : Code::kStyleUnknown, path,
                fmt::format("is not a {}", StyleKindName(kind)), "'trqprep info' tells what a file holds");
    }
    NoteNameDecides(observer_, *file);
    if (!file->complete) {
      Fail(ExitCode::kInput, StyleIsShort(*file).Hint("copy the file again from where it came"));
    }
    return *std::move(file);
  }

  Observer& observer_;
  const Job& job_;
  std::map<std::pair<std::string, StyleKind>, StyleFile> files_;
};

void TakeMachineOfStyles(StyleReader& reader, Job& job, std::vector<BuildFinding>& findings) {
  std::string first;  // of the styles that say what they are for
  std::set<std::string> seen;
  std::optional<int> agreed;
  bool differ = false;
  const auto ask = [&](const std::vector<StyleRequest>& styles, StyleKind kind) {
    for (const StyleRequest& request : styles) {
      if (!seen.insert(request.path).second) continue;
      const StyleFile& file = reader.Read(FindStyle(job, request.path), kind);
      if (file.layout != StyleLayout::k301) continue;
      const int32_t type = file.style.FindWord("machine_type")->number.AsInt();
      if (!agreed) {
        agreed = type;
        first = request.path;
      } else if (type != *agreed && !differ) {
        differ = true;
        Message mismatch(Code::kMachineMismatch, request.path,
                         fmt::format("is for {} ({}), {} is for {} ({})", MachineName(type), type, first,
                                     MachineName(*agreed), *agreed));
        findings.push_back({mismatch.Hint("choose styles of one machine, or name it with --machine")
                                .At({{"machine_type", type}}),
                            ""});
      }
    }
  };
  ask(job.styles, StyleKind::kBuild);
  for (const PartRequest& part : job.parts) ask(part.styles, StyleKind::kBuild);
  ask(job.recoats, StyleKind::kRecoat);
  if (differ) return;
  job.machine_of_styles = false;
  // A machine without name could not stand in a job file.
  if (agreed && FindMachineByName(MachineName(*agreed))) job.machine = agreed;
}

// Reads, names and stacks styles.
class Stacker {
 public:
  Stacker(StyleReader& reader, const Plate& plate, BuildSetup& setup)
      : reader_(reader), plate_(plate), setup_(setup) {}

  // The index of a style file among those of the build, read when it is new.
  size_t Load(const StyleRequest& request, StyleKind kind) {
    return setup_.asked.emplace_back(BuildSetup::Asked{request.path, kind, Find(request, kind)}).style;
  }

  size_t Find(const StyleRequest& request, StyleKind kind) {
    const std::string path = FindStyle(plate_.job, request.path);
    const std::string key = RealPath(path);
    for (size_t i = 0; i < setup_.styles.size(); ++i) {
      if (keys_[i] == key && setup_.styles[i].file.kind == kind) return i;
    }
    BuildStyleFile style;
    style.given = path;
    style.file = reader_.Read(path, kind);
    style.name = names_.Of(fmt::format("{}/{}", kStyleFolder, Stem(path)),
                           kind == StyleKind::kBuild ? ".sty" : ".rcs");
    // Written and read once more, so that the file and its table are what the next reader will see.
    const StyleDocument again = AsWritten(Upgraded(style.file, plate_.job));
    style.bytes = StyleBytes(again);
    style.csv = TextExport(again, true);
    if (kind == StyleKind::kBuild) {
      StoreDocument(again, style.build);
    } else {
      StoreDocument(again, style.recoat);
    }
    // What the original was like is said besides, and again when the folder is built again.
    style.damage = style.file.crc_valid() ? request.damage : "";
    for (const Message& finding : CheckStyle(style.file, {plate_.job.units, plate_.job.machine, true})) {
      if (finding.code == kStyleDamage) style.damage = finding.text;
    }
    style.upgraded = request.upgraded;
    if (style.file.layout != StyleLayout::k301) style.upgraded = StyleLayoutName(style.file.layout);
    std::vector<Message> findings;
    if (!style.damage.empty()) findings.push_back(StyleDamage(path, style.damage));
    if (!style.upgraded.empty()) {
      findings.push_back(
          Finding(
              Code::kStyleUpgraded, path,
              fmt::format("had the {} layout; the build has its upgrade to the 301 layout", style.upgraded))
              .Hint(fmt::format("'trqprep {} upgrade' makes the same file", StyleCommand(kind))));
    }
    if (const auto stored = ExamineStyle(path, style.bytes, kind)) {
      for (Message& finding : CheckStyle(*stored, {plate_.job.units, plate_.job.machine, true})) {
        findings.push_back(std::move(finding));
      }
    }
    Add(std::move(findings), style.name);
    keys_.push_back(key);
    setup_.styles.push_back(std::move(style));
    return setup_.styles.size() - 1;
  }

  // Stacks the styles between bottom and top: the one without a band first.
  std::vector<core::StyleBand> Stack(const std::vector<StyleRequest>& requests, StyleKind kind, double bottom,
                                     double top, const std::string& subject) {
    const Units units = plate_.job.units;
    std::vector<size_t> empty;
    std::vector<core::StyleBand> stack = StackRequests(
        requests, units, bottom, top, [&](const StyleRequest& request) { return Load(request, kind); },
        &empty);
    for (const size_t style : empty) {
      const BuildStyleFile& file = setup_.styles[style];
      setup_.findings.push_back({BandIsEmpty(file.given, subject, units, bottom, top), file.name});
    }
    return stack;
  }

  void SetUpPart(size_t index) {
    const PlatePart& part = plate_.parts[index];
    const Job& job = plate_.job;
    PartSetup& result = setup_.parts[index];
    Box box;
    for (const Piece& piece : plate_.pieces) {
      if (piece.part == index) box.Add(piece.box);
    }
    result.bottom = box.min[2];
    result.top = box.max[2];
    const std::string subject = "part " + part.name;
    const std::vector<StyleRequest> styles = StylesOf(job, part.request);
    RefuseSeveral(styles, subject);
    for (const auto& band : Stack(styles, StyleKind::kBuild, result.bottom, result.top, subject)) {
      const KVBUILDSTYLE& style = setup_.styles[band.style].build;
      StackedStyle entry = Entry(band, style.LayerThickness.GetValue());
      entry.spacing =
          job.z_spacing ? job.z_spacing->In(job.units, job.units) : core::WidestDownHatchSpacing(style);
      entry.z_correction = core::ZCorrection(style, static_cast<TRQ_TYPE>(job.machine.value_or(TRQ_NONE)),
                                             float(entry.spacing));
      if (result.stack.empty()) {
        result.first_layer_thickness = entry.thickness;
        result.dp = style.Dp.GetValue();
        result.ec = style.Ec.GetValue();
        result.z_compensation = core::ZCompensationHeight(style);
      }
      result.stack.push_back(entry);
    }
  }

  StackedStyle Entry(const core::StyleBand& band, float thickness) const {
    return {setup_.styles[band.style].name, band.start, band.end, thickness};
  }

  void Add(std::vector<Message> findings, const std::string& file) {
    for (Message& finding : findings) setup_.findings.push_back({std::move(finding), file});
  }

 private:
  StyleReader& reader_;
  const Plate& plate_;
  BuildSetup& setup_;
  std::vector<std::string> keys_;
  FreshNames names_;
};

}  // namespace

std::vector<core::StyleBand> StackRequests(const std::vector<StyleRequest>& requests, Units units,
                                           double bottom, double top,
                                           const std::function<size_t(const StyleRequest&)>& load,
                                           std::vector<size_t>* empty) {
  std::vector<core::StyleBand> stack;
  for (const bool banded : {false, true}) {
    for (const StyleRequest& request : requests) {
      if (request.banded != banded) continue;
      const size_t style = load(request);
      const double from = banded ? std::max(bottom, request.from.In(units, units)) : bottom;
      const double to = banded ? std::min(top, request.to.In(units, units)) : top;
      if (to - from > StackTolerance(units)) {
        core::InsertByRange(stack, {float(from), float(to), style},
                            core::StackTolerance(units == Units::kMillimetre));
      } else {
        empty->push_back(style);
      }
    }
  }
  return stack;
}

Message BandIsEmpty(const std::string& file, const std::string& subject, Units units, double bottom,
                    double top) {
  return Message(Code::kBandEmpty, file,
                 fmt::format("the band is left out: {} reaches from Z {} to {} {}", subject, Plain(bottom, 4),
                             Plain(top, 4), UnitsName(units)))
      .As(Severity::kWarning)
      .Hint("write the band in heights above the floor of the vat");
}

std::vector<LayerBand> LayerBandsOf(const PartSetup& part) {
  std::vector<LayerBand> bands;
  for (const StackedStyle& style : part.stack) bands.push_back({style.start, style.end, style.thickness});
  return bands;
}

int32_t BuildStyleFile::crc() const { return int32_t(LittleWordAt(bytes, bytes.size() - sizeof(int32_t))); }

const BuildStyleFile& BuildSetup::FileFor(const std::string& path, StyleKind kind) const {
  for (const Asked& entry : asked) {
    if (entry.path == path && entry.kind == kind) return styles[entry.style];
  }
  throw std::logic_error("a style that was not read");
}

std::string PartFileName(const PlatePart& part) {
  constexpr size_t kLongestEnding = 16;
  std::string ending = std::filesystem::path(part.request.path).extension().string();
  if (ending.size() > 1 && ending != PortableName(ending, kLongestEnding)) {
    ending = part.input.format == MeshFormat::kCtl ? ".ctl" : ".stl";
  }
  return fmt::format("{}/{}{}", kPartFolder, part.file_name, ending.size() > 1 ? ending : "");
}

std::unique_ptr<BuildSetup> SetUpBuild(Observer& observer, Plate& plate) {
  auto setup = std::make_unique<BuildSetup>();
  const Job& job = plate.job;
  StyleReader reader(observer, job);
  if (job.machine_of_styles && !job.machine) TakeMachineOfStyles(reader, plate.job, setup->findings);
  Stacker stacker(reader, plate, *setup);
  setup->parts.resize(plate.parts.size());

  std::vector<std::vector<Message>> found(plate.parts.size());
  std::vector<int64_t> facets;
  for (const PlatePart& part : plate.parts) {
    facets.push_back(part.shares_file ? 0 : part.input.mesh->num_triangles());
  }
  SideBySide(
      observer, plate.parts.size(), ThreadsForMeshes(job, std::move(facets)),
      [&](size_t i, Observer& hears) {
        const PlatePart& part = plate.parts[i];
        if (part.shares_file) return;
        hears.Progress("checking " + part.request.path, 0.6 + 0.1 * double(i) / double(plate.parts.size()));
        found[i] = CheckMesh(part.input, ParseVents("", part.side_file.value_or("")));
      },
      [&](size_t i) {
        if (!plate.parts[i].shares_file) stacker.Add(std::move(found[i]), PartFileName(plate.parts[i]));
      });
  // In command-line order, those that every part replaces by its own included.
  for (const StyleRequest& style : job.styles) stacker.Load(style, StyleKind::kBuild);
  RefuseSeveral(job.recoats, "the recoating");
  const double top = plate.extent.max[2];
  for (const auto& band : stacker.Stack(job.recoats, StyleKind::kRecoat, 0, top, "the build")) {
    setup->recoat.push_back(stacker.Entry(band, setup->styles[band.style].recoat.LayerThickness));
  }
  for (size_t i = 0; i < plate.parts.size(); ++i) stacker.SetUpPart(i);

  const std::vector<StyleBand> recoat = Bands(setup->recoat);
  if (!recoat.empty()) stacker.Add(CheckStack(recoat, 0, top, job.units, "", "the recoating"), "");
  for (size_t i = 0; i < plate.parts.size(); ++i) {
    const PartSetup& part = setup->parts[i];
    if (plate.parts[i].shares_file) continue;
    const std::string& file = plate.parts[i].request.path;
    const std::string subject = "part " + plate.parts[i].name;
    const std::string name = PartFileName(plate.parts[i]);
    const std::vector<StyleBand> stack = Bands(part.stack);
    stacker.Add(CheckStack(stack, part.bottom, part.top, job.units, file, subject), name);
    stacker.Add(CheckThickness(stack, recoat, job.units, file, subject), name);
  }
  if (job.recoats.empty() && !setup->styles.empty()) {
    stacker.Add({Finding(Code::kNoRecoat, "", "the build has build styles and no recoat style")
                     .Hint("name one with --recoat FILE")},
                "");
  }
  for (BuildFinding& finding : setup->findings) {
    finding.message = observer.Judged(finding.message);
    observer.Say(finding.message);
  }
  setup->measures.resize(plate.pieces.size());
  SideBySide(observer, plate.pieces.size(), job.threads, [&](size_t i, Observer& hears) {
    hears.StopIfCancelled();
    const Piece& piece = plate.pieces[i];
    float matrix[4][4];
    Narrow(piece.matrix, matrix);
    setup->measures[i] = core::MeasurePlaced(plate.parts[piece.part].input.mesh->view(), matrix, 0);
  });
  return setup;
}

}  // namespace trqprep
