#include <algorithm>
#include <cmath>
#include <filesystem>

#include "commands.h"
#include "slc_verbs.h"
#include "trqprep/atomic_output.h"
#include "trqprep/check_layers.h"
#include "trqprep/contour_svg.h"
#include "trqprep/layer_picture.h"
#include "trqprep/paths.h"

namespace trqprep {

std::pair<double, double> HeightsOf(const ContourFile& file) {
  const std::vector<trq::SlcLayer>& layers = file.contours.layers;
  double low = layers.front().z, high = low;
  for (const trq::SlcLayer& layer : layers) {
    low = std::min<double>(low, layer.z);
    high = std::max<double>(high, layer.z);
  }
  return {low, high};
}

namespace {

struct Options {
  std::string input;
  std::string output;
  std::string layers;
  int64_t layer = 0;
  std::optional<Length> z;
  std::optional<Length> pixel;
  int64_t size = 0;
  int64_t count = 12;
  bool problems = false;
};

constexpr int64_t kMostPixels = 20000;  // a side
constexpr size_t kUsualSize = 1000;

// The layer that is built at height z: the highest one that does not begin above it.
size_t LayerAt(const ContourFile& file, double z) {
  const std::vector<trq::SlcLayer>& layers = file.contours.layers;
  const auto [low, high] = HeightsOf(file);
  // Heights in files are rounded to floats, sometimes after a change of units.
  const double tolerance = 1e-5 * (high - low);
  std::optional<size_t> found;
  for (size_t i = 0; i < file.layer_count(); ++i) {
    if (layers[i].z > z + tolerance) continue;
    if (!found || layers[i].z >= layers[*found].z) found = i;
  }
  if (!found || !(z <= high + tolerance)) {
    const char* unit = UnitsName(file.units);
    FailUsage(file.path, fmt::format("no layer is at z {} {}", Plain(z, 5), unit),
              fmt::format("the layers reach from z {} to {} {}", Plain(low, 5), Plain(high, 5), unit));
  }
  return *found;
}

// From 0, of a number from 1.
size_t LayerOf(const ContourFile& file, uint64_t number) {
  if (number == 0 || number > file.layer_count()) {
    FailUsage(file.path, fmt::format("there is no layer {}", number),
              "the file has " + Counted(int64_t(file.layer_count()), "layer"));
  }
  return size_t(number) - 1;
}

uint64_t LayerNumber(const std::string& text) {
  if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos) {
    FailUsage("", "'" + text + "' is no layer", "give numbers, ranges and heights: 1,10-20,z=5mm, or all");
  }
  return std::stoull(text);
}

}  // namespace

std::vector<size_t> ChosenLayers(const ContourFile& file, const std::string& text, Units bare) {
  std::vector<size_t> chosen;
  if (text == "all") {
    for (size_t i = 0; i < file.layer_count(); ++i) chosen.push_back(i);
    if (chosen.empty()) FailUsage(file.path, "the file has no layers");
    return chosen;
  }
  size_t at = 0;
  while (at <= text.size()) {
    const size_t end = std::min(text.find(',', at), text.size());
    const std::string word = text.substr(at, end - at);
    const size_t dash = word.find('-');
    if (word.rfind("z=", 0) == 0) {
      chosen.push_back(LayerAt(file, ParseLength(word.substr(2)).In(file.units, bare)));
    } else if (dash != std::string::npos && dash > 0) {
      const size_t first = LayerOf(file, LayerNumber(word.substr(0, dash)));
      const size_t last = LayerOf(file, LayerNumber(word.substr(dash + 1)));
      for (size_t i = first; i <= last; ++i) chosen.push_back(i);
    } else {
      chosen.push_back(LayerOf(file, LayerNumber(word)));
    }
    at = end + 1;
  }
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  if (chosen.empty()) FailUsage("", "'" + text + "' names no layer");
  return chosen;
}

namespace {

// Of one layer a file; of several, and where the output is a folder, files in it by the layer's number.
class LayerOutputs {
 public:
  LayerOutputs(const Options& options, const ContourFile& file, size_t count, const char* ending)
      : path_(options.output), ending_(ending) {
    folder_ = path_.back() == '/' || IsFolder(path_);
    if (count > 1 && !folder_) {
      const std::filesystem::path name(path_);
      if (name.extension() == ending) {
        FailUsage("", "several layers need a folder, and this names a picture: " + path_,
                  fmt::format("choose one layer, or a folder, for example -o {}/",
                              NamedPath((name.parent_path() / name.stem()).string())));
      }
      folder_ = true;
    }
    digits_ = std::to_string(file.layer_count()).size();
    if (folder_) MakeOutputFolders(path_);
  }
  std::string Of(size_t layer) const {
    if (!folder_) return path_;
    const std::string number = std::to_string(layer + 1);
    const std::string zeros(digits_ - std::min(digits_, number.size()), '0');
    return NamedPath((std::filesystem::path(path_) / ("layer-" + zeros + number + ending_)).string());
  }

 private:
  std::string path_;
  std::string ending_;
  bool folder_ = false;
  size_t digits_ = 1;
};

Json AboutLayer(const ContourFile& file, const ContourSummary& summary, size_t index) {
  return {{"layer", index + 1},
          {"z", NumberToJson(file.contours.layers[index].z)},
          {"boundaries", summary.layers[index].boundaries},
          {"area", NumberToJson(summary.layers[index].area)}};
}

ExitCode Svg(Context& context, const Options& options) {
  if ((options.layer != 0) + options.z.has_value() + !options.layers.empty() != 1) {
    FailUsage("", "give one of --layer, --z and --layers",
              "--layer 1 is the lowest layer, --z 5mm the one at that height");
  }
  const ContourFile file = ReadContours(context, context.units(), options.input);
  std::vector<size_t> chosen;
  if (options.z) {
    chosen = {LayerAt(file, options.z->In(file.units, context.units()))};
  } else if (options.layer != 0) {
    chosen = {LayerOf(file, uint64_t(options.layer))};
  } else {
    chosen = ChosenLayers(file, options.layers, context.units());
    if (options.output.empty() && chosen.size() > 1) {
      FailUsage("", "several layers need a folder", "name one with -o");
    }
  }
  const ContourSummary summary = Summarize(context, file);
  context.data_units = file.units;
  context.State({{"file", TextToJson(options.input)}});
  std::vector<PictureMark> marks;
  if (options.problems) {
    LayerReport found =
        CheckLayers(context, StackOf(file.contours), {}, file.units, context.units(), VentsFile(), file.path);
    for (const Message& message : found.messages) context.Say(message);
    marks = std::move(found.marks);
  }
  if (options.layers.empty() || options.output.empty()) {
    const size_t index = chosen.front();
    const std::string svg = LayerSvg(file, summary, index, marks);
    context.State(AboutLayer(file, summary, index));
    if (options.output.empty()) {
      context.text = svg;
      context.State({{"svg", svg}});
      return ExitCode::kDone;
    }
    WriteOutputFile(options.output, svg, context.options.force);
    context.Report({{"output", TextToJson(options.output)}},
                   "{output}: layer {layer} of {layers}, z {z:5f} {unit}\n",
                   {{"layers", file.layer_count()}});
    return ExitCode::kDone;
  }
  const LayerOutputs outputs(options, file, chosen.size(), ".svg");
  Json pictures = Json::array();
  for (size_t i = 0; i < chosen.size(); ++i) {
    context.Progress("drawing layers", double(i) / double(chosen.size()));
    const std::string output = outputs.Of(chosen[i]);
    WriteOutputFile(output, LayerSvg(file, summary, chosen[i], marks), context.options.force);
    Json picture = AboutLayer(file, summary, chosen[i]);
    picture["output"] = TextToJson(output);
    pictures.push_back(std::move(picture));
  }
  context.Report({{"pictures", pictures}}, "{place}: {count:+picture}\n",
                 {{"place", TextToJson(options.output)}, {"count", chosen.size()}});
  return ExitCode::kDone;
}

// Around the box of the whole part, so that the pictures of its layers lie over one another.
PictureFrame FrameOf(const ContourSummary& summary, double pixel, int64_t size) {
  PictureFrame frame;
  if (summary.box.Empty()) return {0, 0, pixel > 0 ? pixel : 1, 1, 1};
  const Point sides = summary.box.Size();
  const double largest = std::max({sides[0], sides[1], 1e-12});
  // Fits into the size with a pixel of its own on each side.
  frame.pixel = pixel > 0 ? pixel : largest / double(std::max<int64_t>(size - 2, 1));
  const auto pixels = [&](double side) {
    const double count = std::ceil(side / frame.pixel - 1e-9) + 2;
    if (!(count <= double(kMostPixels))) {
      FailUsage("", fmt::format("a picture would be {} pixels wide or high", Plain(count, 0)),
                fmt::format("--pixel may be smaller down to {} pixels a side", kMostPixels));
    }
    return size_t(count);
  };
  frame.width = pixels(sides[0]);
  frame.height = pixels(sides[1]);
  frame.left = summary.box.min[0] - (double(frame.width) * frame.pixel - sides[0]) / 2;
  frame.top = summary.box.max[1] + (double(frame.height) * frame.pixel - sides[1]) / 2;
  return frame;
}

PictureFrame FrameOf(Context& context, const Options& options, const ContourFile& file,
                     const ContourSummary& summary) {
  if (options.size != 0 && options.pixel) FailUsage("", "give either --size or --pixel");
  const double pixel = options.pixel ? options.pixel->In(file.units, context.units()) : 0;
  if (options.pixel && !(pixel > 0)) FailUsage("", "--pixel must be above 0", "for example --pixel 0.05mm");
  return FrameOf(summary, pixel, options.size != 0 ? options.size : int64_t(kUsualSize));
}

uint32_t PixelsPerMetre(const PictureFrame& frame, Units units) {
  const double count = 1000 / (frame.pixel * UnitsFactor(units, Units::kMillimetre));
  return count < 4e9 ? uint32_t(std::round(count)) : 0;
}

ExitCode Png(Context& context, const Options& options) {
  const ContourFile file = ReadContours(context, context.units(), options.input);
  const std::vector<size_t> chosen =
      ChosenLayers(file, options.layers.empty() ? "all" : options.layers, context.units());
  const ContourSummary summary = Summarize(context, file);
  const PictureFrame frame = FrameOf(context, options, file, summary);
  const LayerOutputs outputs(options, file, chosen.size(), ".png");
  Json pictures = Json::array();
  for (size_t i = 0; i < chosen.size(); ++i) {
    context.Progress("drawing layers", double(i) / double(chosen.size()));
    const GreyImage image = DrawLayer(file.contours.layers[chosen[i]], frame);
    const std::string output = outputs.Of(chosen[i]);
    WriteOutputFile(output, PngOf(image, PixelsPerMetre(frame, file.units)), context.options.force);
    Json picture = AboutLayer(file, summary, chosen[i]);
    picture["output"] = TextToJson(output);
    pictures.push_back(std::move(picture));
  }
  context.data_units = file.units;
  context.State({{"file", TextToJson(options.input)},
                 {"pixel", NumberToJson(frame.pixel)},
                 {"columns", frame.width},
                 {"rows", frame.height},
                 {"pictures", pictures}});
  context.Tell("{place}: {count:+picture} of {columns} x {rows} pixels, {pixel:5} {unit} a pixel\n",
               {{"place", TextToJson(options.output)}, {"count", chosen.size()}});
  return ExitCode::kDone;
}

ExitCode Sheet(Context& context, const Options& options) {
  const ContourFile file = ReadContours(context, context.units(), options.input);
  std::vector<size_t> chosen;
  if (!options.layers.empty()) {
    chosen = ChosenLayers(file, options.layers, context.units());
  } else {
    const std::vector<size_t> all = ChosenLayers(file, "all", context.units());
    const size_t count = std::min(size_t(options.count), all.size());
    // From the first to the last at equal distances.
    for (size_t i = 0; i < count; ++i) chosen.push_back(count == 1 ? 0 : i * (all.size() - 1) / (count - 1));
  }
  const ContourSummary summary = Summarize(context, file);
  const PictureFrame frame = FrameOf(summary, 0, options.size != 0 ? options.size : 240);
  constexpr size_t kGap = 8, kScale = 2, kLetters = 5 * kScale + kGap;
  std::vector<std::string> names;
  size_t longest = 0;
  for (const size_t index : chosen) {
    names.push_back(
        fmt::format("{} z {} {}", index + 1, Plain(file.contours.layers[index].z, 3), UnitsName(file.units)));
    longest = std::max(longest, names.back().size());
  }
  const size_t width = std::max(frame.width, longest * GreyImage::kLetterWidth * kScale);
  const auto columns = size_t(std::ceil(std::sqrt(double(chosen.size()))));
  const size_t rows = (chosen.size() + columns - 1) / columns;
  const size_t wide = width + kGap, high = frame.height + kLetters + kGap;
  if (columns * wide > size_t(kMostPixels) || rows * high > size_t(kMostPixels)) {
    FailUsage("", "the sheet would be too large", "choose fewer layers, or a smaller --size");
  }
  GreyImage sheet(columns * wide + kGap, rows * high + kGap);
  std::fill(sheet.pixels.begin(), sheet.pixels.end(), uint8_t{64});
  for (size_t i = 0; i < chosen.size(); ++i) {
    context.Progress("drawing layers", double(i) / double(chosen.size()));
    const trq::SlcLayer& layer = file.contours.layers[chosen[i]];
    const size_t x = kGap + i % columns * wide, y = kGap + i / columns * high;
    sheet.Put(DrawLayer(layer, frame), x, y);
    sheet.Write(names[i], x, y + frame.height + kGap / 2, kScale, 255);
  }
  WriteOutputFile(options.output, PngOf(sheet), context.options.force);
  context.data_units = file.units;
  Json layers = Json::array();
  for (const size_t index : chosen) layers.push_back(index + 1);
  context.Report({{"file", TextToJson(options.input)},
                  {"output", TextToJson(options.output)},
                  {"columns", sheet.width},
                  {"rows", sheet.height},
                  {"shown", layers}},
                 "{output}: {count:+layer} on {columns} x {rows} pixels\n", {{"count", chosen.size()}});
  return ExitCode::kDone;
}

}  // namespace

void AddSlcPictures(Command& group) {
  {
    Command& verb = group.Sub(
        "svg", "Draw layers to scale",
        "Draws a layer to scale, seen from above, with its boundaries filled, outer ones outlined in "
        "blue and holes in orange, inside the box of the whole part. Without -o the picture goes to "
        "standard output. With --layers a folder gets a file for each.",
        {"trqprep slc svg cone.slc --layer 10 -o layer.svg",
         "trqprep slc svg cone.slc --z 5mm -o middle.svg"});
    auto& options = verb.Runs(Svg);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.WholeOption("--layer", options.layer, 1, 4294967295, "The layer, counted from 1");
    verb.LengthOption("--z", options.z, "The layer that is built at this height");
    verb.TextOption("--layers", options.layers, "LAYERS", "Several layers: 1,10-20,z=5mm, or all");
    verb.Flag("--problems", options.problems,
              "Mark islands, overhangs, cups and trapped resin, as `check --slices` finds them");
    verb.Output(options.output, "FILE", "The SVG file to write, or a folder", false);
    verb.UsesUnits();
  }
  {
    Command& verb = group.Sub(
        "png", "Draw layers as grey pictures",
        "White is inside, black outside; a pixel at the border is as light as the part of it that lies inside, "
        "exactly. All pictures of a file show the same place. A folder gets a file for each layer.",
        {"trqprep slc png cone.slc --layers z=5mm --pixel 0.05mm -o middle.png",
         "trqprep slc png cone.slc --layers 1-5 --size 400 -o pictures/"});
    auto& options = verb.Runs(Png);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.TextOption("--layers", options.layers, "LAYERS",
                    "Which layers: 1,10-20,z=5mm, or all (default all)");
    verb.WholeOption("--size", options.size, 8, kMostPixels, "Pixels of the longer side (default 1000)");
    verb.LengthOption("--pixel", options.pixel, "Side of a pixel, instead of --size");
    verb.Output(options.output, "FILE", "The PNG file to write, or a folder");
    verb.UsesUnits();
  }
  {
    Command& verb =
        group.Sub("sheet", "Draw layers side by side",
                  "A contact sheet: small pictures of layers in rows, each with its number and its Z.",
                  {"trqprep slc sheet cone.slc -o sheet.png",
                   "trqprep slc sheet cone.slc --count 30 --size 120 -o thumbnails.png"});
    auto& options = verb.Runs(Sheet);
    verb.Argument("FILE", options.input, "Slice-contour file");
    verb.TextOption("--layers", options.layers, "LAYERS", "Which layers: 1,10-20,z=5mm, or all");
    verb.WholeOption("--count", options.count, 1, 1000,
                     "So many layers from the lowest to the highest (default 12)");
    verb.WholeOption("--size", options.size, 8, 2000, "Pixels of the longer side of each (default 240)");
    verb.Output(options.output, "FILE", "The PNG file to write");
    verb.UsesUnits();
  }
}

}  // namespace trqprep
