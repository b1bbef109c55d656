#include <algorithm>

#include "commands.h"
#include "file_kinds.h"
#include "trqprep/atomic_output.h"
#include "trqprep/build_report.h"
#include "trqprep/contour_file.h"
#include "trqprep/input_file.h"
#include "trqprep/plates.h"
#include "trqprep/report.h"
#include "trqprep/report_subjects.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> inputs;
  std::string output;
  std::string facets;
};

ReportFile FileOf(const std::string& path, const std::string& title) {
  InputFile file(path);
  file.StartHash();
  const uint64_t size = file.head().size;
  return {title, size, file.HashOfAll()};
}

ReportSubject ReadMeshSubject(Context& context, const std::string& path) {
  const size_t said = context.messages().size();
  MeshReading how;
  how.hash = true;
  const InputMesh input = ReadMesh(context, context.reading(), path, how);
  RequireFinite(input);
  ReportSubject subject = SubjectOfMesh(context, input, said);
  subject.files = {{subject.title, input.file_size, input.sha256}};
  return subject;
}

ReportSubject ReadContourSubject(Context& context, const std::string& path) {
  const size_t said = context.messages().size();
  ReportSubject subject = SubjectOfContours(context, ReadContours(context, context.units(), path), said);
  subject.files = {FileOf(path, subject.title)};
  return subject;
}

ReportSubject ReadStyleSubject(Context& context, const std::string& path) {
  const size_t said = context.messages().size();
  std::optional<StyleFile> file = ExamineStyle(path, ReadWholeFile(path), std::nullopt);
  if (!file) FailInput(Code::kStyleUnknown, path, "holds no style");
  ReportSubject subject = SubjectOfStyle(context, std::move(*file), said);
  subject.files = {FileOf(path, subject.title)};
  return subject;
}

std::vector<ReportSubject> SubjectsOf(Context& context, const std::string& path) {
  const FileHead head = ReadFileHead(path, true);
  const FileKind* kind = KindOf(head);
  const std::string name = kind ? kind->name : "";
  if (name == "build" || head.is_folder) return SubjectsOfFolder(context, HeldFolder(path));
  if (name == "stl" || name == "ctl") return {ReadMeshSubject(context, path)};
  if (name == "slc") return {ReadContourSubject(context, path)};
  if (name == "build style" || name == "recoat style") return {ReadStyleSubject(context, path)};
  FailInput(Code::kInputUnknown, path, "is neither a mesh, slice contours, a style nor a build folder");
}

ExitCode Run(Context& context, const Options& options) {
  ReportOptions how;
  if (options.facets == "all") {
    how.facets = kAllReportFacets;
  } else if (!options.facets.empty()) {
    try {
      how.facets = ParseWhole(options.facets, 1, 2147483647);
    } catch (const std::invalid_argument& error) {
      FailUsage("", std::string("--report-facets: ") + error.what(), "give a number, or all");
    }
  }
  OutputFile output(options.output, context.options.force);
  std::vector<ReportSubject> subjects;
  for (size_t i = 0; i < options.inputs.size(); ++i) {
    std::string path = options.inputs[i];
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    context.Progress("reading " + path, 0.8 * double(i) / double(options.inputs.size()));
    for (ReportSubject& subject : SubjectsOf(context, path)) subjects.push_back(std::move(subject));
  }
  context.Progress("writing " + options.output, 0.8);
  const std::string page = ReportPage(subjects, how);
  output.Write(page);
  output.Commit();
  Json files = Json::array();
  for (const std::string& input : options.inputs) files.push_back(Json{{"file", TextToJson(input)}});
  context.Report({{"output", TextToJson(options.output)}, {"file_size", page.size()}, {"files", files}},
                 "{output}: a page of {file_size} bytes; any browser opens it\n");
  return ExitCode::kDone;
}

}  // namespace

void AddReport(CommandTree& tree) {
  Command& command = tree.Add(
      "report", "Make one page of a build, meshes, contours or styles, for any browser and for paper",
      "The page is one file that needs nothing beside it and no network: plate or part in 3D with a section by "
      "height, every piece with its place, size and styles, what the checks found and what it means, layers with a "
      "slider, styles with what differs from their defaults first, and the sums of all files. Without JavaScript or "
      "WebGL it is a sheet; it prints on A4 and Letter. 'trqprep build' writes the same page into its folder, as "
      "report.html.\n\n"
      "Meshes of more than 300000 facets together are simplified for the page, which then says so; --report-facets "
      "gives another number, or all.",
      {"trqprep report bracket.stl -o bracket.html",
       "trqprep build bracket.stl -o shown && trqprep report shown -o shown.html --report-facets all"});
  auto& options = command.Runs(Run);
  command.Arguments("FILE", options.inputs, "Meshes, slice contours, styles, or build folders");
  command.TextOption("--report-facets", options.facets, "N",
                     "Most facets of the meshes of each, or all (default 300000)");
  command.Output(options.output, "FILE", "The page to write");
  command.ReadsMeshes();
}

}  // namespace trqprep
