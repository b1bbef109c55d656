#include <algorithm>
#include <cerrno>

#include "commands.h"
#include "file_kinds.h"
#include "trqprep/atomic_output.h"
#include "trqprep/build_folder.h"
#include "trqprep/plates.h"
#include "trqprep/scenes.h"

namespace trqprep {
namespace {

struct Options {
  std::vector<std::string> inputs;
  std::string output;
  std::string size = "800x600";
  std::string view = "iso";
  std::vector<std::string> colours;
  bool problems = false;
  std::string shade = "flat";
  bool transparent = false;
  int64_t plate = 0;
  int64_t layer = 0;
  int64_t threads = 1;
};

constexpr int64_t kLeastPixels = 16, kMostPixels = 4096, kThumbnail = 256;

RenderOptions HowToRender(const Options& options) {
  RenderOptions how;
  how.smooth = options.shade == "smooth";
  how.transparent = options.transparent;
  how.threads = int(options.threads);
  if (options.size == "thumb") {
    how.width = how.height = size_t(kThumbnail);
    how.scale_bar = false;
  } else {
    const std::vector<std::string> sides = Split(options.size, 'x');
    try {
      if (sides.size() != 2) throw std::invalid_argument("not two sides");
      how.width = size_t(ParseWhole(sides[0], kLeastPixels, kMostPixels));
      how.height = size_t(ParseWhole(sides[1], kLeastPixels, kMostPixels));
    } catch (const std::invalid_argument&) {
      FailUsage("", "'" + options.size + "' is no size of a picture",
                fmt::format("for example --size 800x600, {0} to {1} pixels a side, or thumb", kLeastPixels,
                            kMostPixels));
    }
  }
  const std::optional<ViewAxes> axes = AxesOfView(options.view);
  if (!axes) {
    FailUsage("", "'" + options.view + "' is no view",
              "iso, top, front, left, or degrees around and above such as 30:20");
  }
  how.axes = *axes;
  return how;
}

void AddFolder(Context& context, const Options& options, FileScene& scene, std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const HeldFolder folder(path);
  if (!folder.held()) FailInput(Code::kInputUnreadable, path, SystemText(errno));
  if (!HoldsPlates(folder)) {
    if (options.plate > 1)
      FailUsage(path, fmt::format("there is no plate {}", options.plate), "it is one build");
    scene.AddBuild(context, folder);
    return;
  }
  const std::vector<std::string> plates = PlateFolders(folder);
  if (options.plate > int64_t(plates.size())) {
    FailUsage(path, fmt::format("there is no plate {}", options.plate),
              "the folder has " + Counted(int64_t(plates.size()), "plate"));
  }
  for (size_t i = 0; i < plates.size(); ++i) {
    if (options.plate != 0 && size_t(options.plate) != i + 1) continue;
    scene.AddBuild(context, HeldFolder(folder.PathOf(plates[i]), folder.Open(plates[i])));
  }
}

void AddInput(Context& context, const Options& options, FileScene& scene, const std::string& path) {
  const FileHead head = ReadFileHead(path, true);
  if (head.is_folder) {
    AddFolder(context, options, scene, path);
    return;
  }
  const FileKind* kind = KindOf(head);
  const std::string name = kind ? kind->name : "";
  if (name == "slc") {
    ContourFile file = ReadContours(context, context.units(), path);
    std::optional<size_t> layer;
    if (options.layer > 0) {
      layer = size_t(options.layer) - 1;
      if (*layer >= file.layer_count()) {
        FailUsage(path, fmt::format("there is no layer {}", options.layer),
                  "the file has " + Counted(int64_t(file.layer_count()), "layer"));
      }
    }
    scene.AddContours(std::move(file), layer);
  } else if (name == "stl" || name == "ctl") {
    InputMesh input = ReadMesh(context, context.reading(), path);
    RequireFinite(input);
    scene.AddMesh(std::move(input));
  } else {
    FailInput(Code::kInputUnknown, path, "is no mesh, slice-contour file or build folder",
              "'trqprep info' tells what a file holds");
  }
}

ExitCode Run(Context& context, const Options& options) {
  const RenderOptions how = HowToRender(options);
  FileScene scene;
  for (size_t i = 0; i < options.inputs.size(); ++i) {
    context.Progress("reading " + options.inputs[i], 0.5 * double(i) / double(options.inputs.size()));
    AddInput(context, options, scene, options.inputs[i]);
  }
  for (const std::string& text : options.colours) {
    const size_t end = text.rfind('=');
    const std::optional<Colour> colour =
        end == std::string::npos ? std::nullopt : ColourOf(text.substr(end + 1));
    if (!colour)
      FailUsage("", "'" + text + "' is no colour of a file", "for example --color gear.stl=#e0a040");
    if (!scene.Colour(text.substr(0, end), *colour)) {
      FailUsage("", "'" + text.substr(0, end) + "' is none of the files drawn",
                "name an input, or a part of a build folder");
    }
  }
  if (options.problems) scene.MarkProblems(context, context.units(), context.options.follow_links);
  context.Progress("drawing", 0.8);
  const Rendering made = RenderWithFrame(scene.scene(), how);
  if (made.times > 1) {
    context.Say(Finding(Code::kPictureCoarse, options.inputs.front(),
                        fmt::format("facets lie so deep over each other that squares of {0} x {0} pixels are "
                                    "drawn for single ones",
                                    made.times)));
  }
  const ColourImage& image = made.image;
  WriteOutputFile(options.output, PngOf(image), context.options.force);
  Json inputs = Json::array(), marked = Json::array();
  for (const std::string& input : options.inputs) inputs.push_back(TextToJson(input));
  for (const size_t number : scene.marked()) marked.push_back(number);
  context.data_units = scene.units();
  context.State({{"files", inputs},
                 {"output", TextToJson(options.output)},
                 {"columns", image.width},
                 {"rows", image.height},
                 {"view", options.view},
                 {"pixel", NumberToJson(made.frame.pixel / double(made.times))},
                 {"facets", scene.facets()},
                 {"layers", scene.layers()},
                 {"piece_count", scene.pieces()}});
  context.Tell("{output}: {columns} x {rows} pixels, {pixel:5} {unit} a pixel\n");
  if (!options.problems) return ExitCode::kDone;
  context.State({{"marked", marked}});
  for (const size_t number : scene.marked()) {
    const Message& message = context.messages()[number - 1];
    context.Tell(
        "{number|>4}  {code}: {text}\n",
        {{"number", number}, {"code", RowOf(message.code).text}, {"text", TextToJson(message.text)}});
  }
  return ExitCode::kDone;
}

}  // namespace

void AddRender(CommandTree& tree) {
  Command& command = tree.Add(
      "render", "Draw meshes, build folders and slice contours",
      "Draws a PNG picture without perspective, with soft light and dark edges; no display is needed. Meshes and "
      "slice contours stand where their coordinates put them. Of a build folder the pieces stand at their places "
      "on the plate, with the vat, its margin and a grid of 10 mm (half an inch); several plates stand in a row. "
      "Facets seen from their inner side are reddish. The same inputs give the same pixels, whatever the machine "
      "and the number of threads.\n\n"
      "--problems looks for what 'trqprep check' reports, in layers too, paints the facets concerned red and marks "
      "each place; the first of a finding has the number of its message, which is listed with it. The exit code "
      "stays 0: the picture is the answer.",
      {"trqprep render bracket.stl -o bracket.png",
       "trqprep render bracket.stl spur_gear.stl --view 30:20 --size 640x480 --color spur_gear.stl=#d9a05b -o "
       "both.png"});
  auto& options = command.Runs(Run);
  command.Arguments("IN", options.inputs, "Meshes, slice-contour files and build folders");
  command.TextOption(
      "--size", options.size, "SIZE",
      "Pixels, such as 800x600 (the default), from 16x16 to 4096x4096; thumb is 256x256 without scale bar");
  command.TextOption(
      "--view", options.view, "VIEW",
      "iso, top, front, left, or AZ:EL, degrees around from the front and above (default iso)");
  command.RepeatedOption("--color", options.colours, "FILE=#RRGGBB",
                         "The colour of an input, or of a part of a build folder by its name");
  command.Flag("--problems", options.problems, "Mark what 'trqprep check --slices' finds");
  command.TextOption("--shade", options.shade, "flat|smooth",
                     "smooth hides the facets of curved surfaces (default flat)");
  command.Flag("--transparent", options.transparent, "Leave the background out");
  command.WholeOption("--plate", options.plate, 1, 1000000, "Of a folder of several plates, this one alone");
  command.WholeOption("--layer", options.layer, 1, 4294967295,
                      "Of slice contours, this layer alone, counted from 1");
  command.WholeOption("--threads", options.threads, 1, 64, "Threads that draw; the picture is the same");
  command.Output(options.output, "FILE", "The PNG file to write; - is standard output");
  command.ReadsMeshes();
  command.FollowLinksFlag();
}

}  // namespace trqprep
