// new, set, copy, import, upgrade and units of build and recoat styles; sweeps of recoat styles.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>

#include "style_verbs.h"
#include "trqprep/atomic_output.h"
#include "trqprep/check_styles.h"
#include "trqprep/glob.h"
#include "trqprep/mesh_input.h"
#include "trqprep/style_edits.h"

namespace trqprep {
namespace {

// --- new ---------------------------------------------------------------------------------------------------

struct NewOptions {
  std::string machine;
  std::string name;
  std::string units;
  std::optional<double> layer_thickness;
  std::string output;
};

ExitCode New(Context& context, const NewOptions& options, StyleKind kind) {
  StyleDocument style = NewStyle(kind);
  style.FindWord("machine_type")->number = Number(int32_t{MachineByName(options.machine)});
  if (!options.name.empty()) style.FindText("style_name")->text = options.name;
  if (!options.units.empty()) style.FindText("units")->text = options.units;
  if (options.layer_thickness) {
    const float thickness = float(*options.layer_thickness);
    const bool build = kind == StyleKind::kBuild;
    if (!(build ? thickness > 0 : thickness >= 0) || std::isinf(thickness)) {
      FailUsage(
          "",
          build ? "--thickness is not above 0, or too large" : "--layer-thickness is below 0 or too large",
          "a length in the style's own units, such as 0.1");
    }
    if (build) {
      style.Find("Layer Thickness")->record.value = Number(thickness);
    } else {
      style.FindWord("layer_thickness")->number = Number(thickness);
    }
  }
  for (const StyleDifference& lost : LostInFile(style)) {
    Fail(ExitCode::kUsage,
         Message(Code::kStyleRefused, "", fmt::format("{} is too long for its field", lost.name))
             .Hint("the file keeps 511 bytes of it"));
  }
  WriteStyle(style, options.output, context.options.force);
  context.Report({{"output", TextToJson(options.output)},
                  {"kind", StyleKindName(kind)},
                  {"machine", MachineName(style.FindWord("machine_type")->number.AsInt())}},
                 "{output}: new {kind} for {machine}\n");
  if (kind == StyleKind::kBuild && !options.layer_thickness) {
    context.Warn(Message(Code::kStyleThickness, options.output,
                         "the layer thickness is 0: no build takes the style until it is set")
                     .Hint("--thickness sets it, or later: trqprep style set FILE 'Layer Thickness=0.1'"));
  }
  return ExitCode::kDone;
}

// --- set ---------------------------------------------------------------------------------------------------

struct SetOptions : EditOptions {
  std::string file;
  std::vector<std::string> assignments;
  bool force_value = false;
};

ExitCode Set(Context& context, const SetOptions& options, StyleKind kind) {
  const auto lock = LockForEdit(context, options.file, options);
  const StyleFile file = LoadStyleToEdit(context, options.file, kind);
  StyleDocument edited = file.style;
  bool refused = false;
  const StyleValueFindings before = FindInValues(file, edited);
  for (const std::string& assignment : options.assignments) {
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0) {
      FailUsage("", "'" + assignment + "' is not NAME=VALUE",
                "for example 'Layer Thickness=0.1', in quotes because of the blank");
    }
    const std::string pattern = assignment.substr(0, equals);
    const std::string text = assignment.substr(equals + 1);
    for (const size_t i : SelectParameters(file.style, pattern)) {
      const StyleParameter& parameter = edited.parameters[i];
      const Refusal refusal = SetParameter(file, edited, i, text, options.force_value, before);
      if (!refusal.text.empty()) {
        // All that is wrong is said, and only then is nothing written.
        context.Error(refusal.Of(Code::kStyleRefused, options.file, parameter.name));
        refused = true;
        continue;
      }
      if (parameter.record.edit != 1) {
        const Refusal warning{"the user interface does not let this one be edited", ""};
        context.Warn(warning.Of(Code::kStyleNotEditable, options.file, parameter.name));
      }
    }
  }
  if (refused) {
    context.State({{"file", TextToJson(options.file)}, {"output", nullptr}});
    return ExitCode::kNo;
  }
  FollowSharedPlace(edited);
  return FinishEdit(context, file, edited, options);
}

// --- copy --------------------------------------------------------------------------------------------------

struct CopyOptions : EditOptions {
  std::string from, to;
  std::vector<std::string> parameters;
};

ExitCode Copy(Context& context, const CopyOptions& options, StyleKind kind) {
  const StyleFile source = LoadStyle(context, options.from, kind);
  const auto lock = LockForEdit(context, options.to, options);
  const StyleFile target = LoadStyleToEdit(context, options.to, kind);
  StyleDocument edited = target.style;
  bool refused = false;
  for (const std::string& pattern : options.parameters) {
    for (const size_t i : SelectParameters(target.style, pattern)) {
      const std::string& name = target.style.parameters[i].name;
      Refusal refusal = WhyFixed(target.style, i);
      if (refusal.text.empty() && !IsStored(source.style, i)) {
        refusal = {OneLine(options.from) + " does not store it", ""};
      }
      if (refusal.text.empty()) {
        edited.parameters[i].record = source.style.parameters[i].record;
      } else if (IsGlob(pattern)) {
        // A pattern means what can be copied.
        context.Note(refusal.Of(Code::kStyleSkipped, options.to, name));
      } else {
        context.Error(refusal.Of(Code::kStyleRefused, options.to, name));
        refused = true;
      }
    }
  }
  if (refused) return ExitCode::kNo;
  FollowSharedPlace(edited);
  return FinishEdit(context, target, edited, options);
}

// --- import ------------------------------------------------------------------------------------------------

struct ImportOptions {
  std::string path, output;
};

ExitCode Import(Context& context, const ImportOptions& options, StyleKind kind) {
  const auto& [path, output] = options;
  Json json;
  try {
    json = ParseJson(ReadWholeFile(path));
  } catch (const JsonMistake& mistake) {
    Message message(Code::kStyleJson, path, mistake.text);
    if (mistake.byte) message.At({{"byte", *mistake.byte}});
    Fail(ExitCode::kInput, message);
  }
  // What `export --json` printed holds the style in its data.
  const Json& whole = json;  // may be large: no copies
  const Json& exported = whole["data"]["style"];
  StyleDocument style = NewStyle(kind);
  const std::vector<std::string> missing =
      StyleFromJson(path, whole["data"].contains("style") ? exported : whole, style);
  const float version = style.FindWord("file_version")->number.AsFloat();
  if (version != 3.01f && !(version == 4.0f && kind == StyleKind::kBuild)) {
    FailInput(Code::kStyleJson, path, fmt::format("\"file_version\" is {}, not 3.01", version),
              "export the style again with this version of the tool");
  }
  if (!missing.empty()) {
    context.Warn(Message(Code::kStyleJson, path,
                         fmt::format("{} left out, the first is '{}': the values of a new style stand there",
                                     Counted(int64_t(missing.size()), "parameter"), missing.front())));
  }
  for (const StyleDifference& lost : LostInFile(style)) {
    const FieldDifference& field = lost.fields.front();
    Fail(ExitCode::kInput,
         Message(Code::kStyleJson, path,
                 fmt::format("{}: the file cannot hold {} {}; it would be read as {}", lost.name, field.field,
                             field.before, field.after))
             .Hint(lost.name == "QC Min Large Thick Skin Width"
                       ? "give it the record of \"Shelling Thickness\", whose place in the file it shares"
                       : "")
             .At({{"parameter", lost.name}}));
  }
  WriteStyle(style, output, context.options.force);
  context.Report({{"output", TextToJson(output)}, {"missing", missing}},
                 "{output}: {kind} with {given:+parameter} given\n",
                 {{"kind", StyleKindName(kind)}, {"given", style.parameters.size() - missing.size()}});
  return ExitCode::kDone;
}

// --- upgrade -----------------------------------------------------------------------------------------------

struct UpgradeOptions : EditOptions {
  std::string file;
  std::string units;
};

ExitCode Upgrade(Context& context, const UpgradeOptions& options, StyleKind kind) {
  const auto lock = LockForEdit(context, options.file, options);
  const StyleFile file = LoadStyle(context, options.file, kind);
  const StyleDocument upgraded = UpgradeStyle(context, file, options.units);
  const ExitCode exit = FinishEdit(context, file, upgraded, options);
  if (exit != ExitCode::kDone) return exit;
  context.State(
      {{"layout_before", StyleLayoutName(file.layout)}, {"layout", StyleLayoutName(upgraded.layout)}});
  if (file.layout != upgraded.layout) context.Tell("layout {layout_before} -> {layout}\n");
  return exit;
}

// --- units -------------------------------------------------------------------------------------------------

struct UnitsOptions : EditOptions {
  std::string file;
  std::string from, to;
};

ExitCode ConvertFile(Context& context, const UnitsOptions& options, StyleKind kind) {
  const auto lock = LockForEdit(context, options.file, options);
  const StyleFile file = LoadStyleToEdit(context, options.file, kind);
  StyleText* units = nullptr;
  StyleDocument edited = file.style;
  std::string from = options.from;
  if (kind == StyleKind::kRecoat) {
    units = edited.FindText("units");
    const auto stated = UnitsFromName(units->text);
    if (from.empty() && !stated) {
      FailInput(Code::kStyleUnits, options.file,
                fmt::format("states the units \"{}\", neither mm nor in", OneLine(units->text)),
                "--from says what they are");
    }
    if (!from.empty() && stated && units->text != from) {
      context.Error(Message(Code::kStyleRefused, options.file,
                            fmt::format("its units text says {}, not {}", units->text, from))
                        .Hint("leave --from away"));
      return ExitCode::kNo;
    }
    if (from.empty()) from = units->text;
  }
  const Units target = *UnitsFromName(options.to);
  if (from == options.to) {
    context.Note(Message(Code::kStyleUnits, options.file, "has these units already"));
  } else {
    ConvertStyleUnits(edited, target);
  }
  if (units) edited.FindText("units")->text = options.to;
  std::vector<std::string> left;
  bool unnamed = false;
  for (size_t i = 0; i < edited.parameters.size(); ++i) {
    const StyleParameter& parameter = edited.parameters[i];
    if (!IsStored(edited, i)) continue;
    if (parameter.named && parameter.quantity == trq::StyleQuantity::kLengthKept)
      left.push_back(parameter.name);
    unnamed = unnamed || !parameter.named;
  }
  if (kind == StyleKind::kRecoat && edited.layout == StyleLayout::k301) left.push_back("layer_thickness");
  if (unnamed) left.push_back("the records without a name");
  const ExitCode exit = FinishEdit(context, file, edited, options);
  if (exit != ExitCode::kDone) return exit;
  context.State({{"from", from}, {"to", options.to}, {"left_alone", left}});
  left.push_back("whole numbers, angles, powers and resin constants");
  for (const std::string& name : left) context.text += "left alone: " + name + "\n";
  return exit;
}

// --- sweeps ------------------------------------------------------------------------------------------------

struct SweepsOptions : EditOptions {
  std::string file;
  std::vector<std::string> additions;
  std::vector<std::string> removals;
  std::string list;
};

// "gap=100,velocity=2.5"
SweepValues ParseSweep(const std::string& text) {
  constexpr const char* kExample = "for example --add gap=100,velocity=2.5";
  SweepValues sweep = NewSweep();
  bool has_gap = false, has_velocity = false;
  for (const std::string& piece : Split(text, ',')) {
    const size_t equals = piece.find('=');
    const std::string key = piece.substr(0, equals);
    const bool is_gap = key == "gap";
    bool& has = is_gap ? has_gap : has_velocity;
    if (equals == std::string::npos || (!is_gap && key != "velocity") || has) {
      FailUsage("", "'" + text + "' is not a sweep", kExample);
    }
    has = true;
    RecordValues& record = is_gap ? sweep.gap : sweep.velocity;
    std::string refusal;
    record.value = ParseStyleValue(key, piece.substr(equals + 1), true, refusal);
    if (!refusal.empty()) FailStyleValue(key, piece.substr(equals + 1), refusal);
    record.default_value = record.value;
  }
  if (!has_gap || !has_velocity) FailUsage("", "'" + text + "' lacks the gap or the velocity", kExample);
  return sweep;
}

size_t ListNumber(const std::string& name) {
  for (size_t list = 0; list < kSweepLists; ++list) {
    if (name == SweepListName(list)) return list;
  }
  return 0;
}

ExitCode Sweeps(Context& context, const SweepsOptions& options) {
  const bool edits = !options.additions.empty() || !options.removals.empty();
  std::vector<SweepValues> added;
  for (const std::string& text : options.additions) added.push_back(ParseSweep(text));
  const auto lock = edits ? LockForEdit(context, options.file, options) : std::nullopt;
  const StyleFile file = edits ? LoadStyleToEdit(context, options.file, StyleKind::kRecoat)
                               : LoadStyle(context, options.file, StyleKind::kRecoat);
  StyleDocument edited = file.style;
  const size_t chosen = ListNumber(options.list);
  std::vector<SweepValues>& sweeps = edited.sweeps[chosen];
  // The numbers mean the list as it is shown before the change: the last are removed first.
  std::vector<size_t> removals;
  for (const std::string& text : options.removals) {
    size_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || stop != text.data() + text.size() || number < 1) {
      FailUsage("", "--remove takes the number of a sweep, not '" + text + "'",
                "'trqprep recoat sweeps FILE' numbers the sweeps");
    }
    if (number > sweeps.size()) {
      context.Error(Message(Code::kStyleRefused, options.file,
                            fmt::format("there is no sweep {} in list {}, which has {}", number,
                                        SweepListName(chosen), sweeps.size()))
                        .Hint("'trqprep recoat sweeps FILE' numbers the sweeps of each list"));
      return ExitCode::kNo;
    }
    removals.push_back(number);
  }
  std::sort(removals.rbegin(), removals.rend());
  removals.erase(std::unique(removals.begin(), removals.end()), removals.end());
  for (const size_t number : removals) {
    sweeps.erase(sweeps.begin() + static_cast<std::ptrdiff_t>(number - 1));
  }
  sweeps.insert(sweeps.end(), added.begin(), added.end());
  ExitCode exit = ExitCode::kDone;
  if (edits) {
    edited.CountSweeps(chosen);
    exit = FinishEdit(context, file, edited, options);
    if (exit != ExitCode::kDone) return exit;
    context.text.clear();  // the lists as they are now say it better
  }
  context.State({{"file", TextToJson(options.file)}, {"sweeps", StyleToJson(edited)["sweeps"]}});
  for (size_t list = 0; list < kSweepLists; ++list) {
    if (!options.list.empty() && list != chosen) continue;
    TellSweeps(context, edited, list, "list {list} ({count})\n",
               "  {number}  gap {gap} %  velocity {velocity}\n");
  }
  return exit;
}

}  // namespace

void AddStyleEdits(Command& group, StyleKind kind) {
  const bool build = kind == StyleKind::kBuild;
  const char* replaced = "The {noun} file, replaced unless -o is given";
  {
    Command& verb =
        group.Sub("new", "Make a blank {noun}",
                  "Every parameter has the value of a new style. 'trqprep machines' lists the machines.",
                  {"trqprep {command} new --machine TRQ-E7 -o blank{ending}",
                   "trqprep {command} new --machine 'MirraPX (dual vat)' --name Trial -o trial{ending}"});
    auto& options = verb.Runs(New, kind);
    verb.TextOption("--machine", options.machine, "NAME", "The machine's name or number").Required();
    verb.TextOption("--name", options.name, "TEXT", "The style's name (default \"None\")");
    if (build) {
      verb.NumberOption("--thickness", options.layer_thickness,
                        "Layer thickness, in the style's own units (default 0, which no build takes)");
    } else {
      verb.TextOption("--units", options.units, "mm|in", "Units text (default in)");
      verb.NumberOption(
          "--layer-thickness", options.layer_thickness,
          "Thickness of the layers that it is made for, in its units; 0 is unknown (default 0.004)");
    }
    verb.Output(options.output, "FILE", "The file to write");
  }
  {
    const std::string details =
        "NAME may be a pattern, in quotes, such as 'Large*Angle*=45'. A value has to lie in the "
        "parameter's range and among its allowed values, and nothing may be found wrong with it that was "
        "right before; one that is refused ends with exit 1, and nothing is written, unless --force-value. "
        "A parameter without range takes every finite number. Values are stored as "
        "typed, in the file's own units; defaults stay.";
    const char* more =
        "\n\n"
        "\"QC Min Large Thick Skin Width\" cannot be set: the file stores \"Shelling Thickness\" in "
        "its place.";
    Command& verb = group.Sub(
        "set", "Change values", build ? details + more : details,
        {build ? "trqprep style set Fine.sty 'Layer Thickness=0.1' 'Large*HatchAngle 1=45' -o changed.sty"
               : "trqprep recoat set ThreeSweeps.rcs 'Z Dip Distance=8' -o changed.rcs",
         build ? "trqprep style set Fine.sty 'Layer*Power=500' --dry-run"
               : "trqprep recoat set ThreeSweeps.rcs '*ZWait=2' --dry-run"});
    auto& options = verb.Runs(Set, kind);
    verb.Argument("FILE", options.file, replaced);
    verb.Arguments("NAME=VALUE", options.assignments, "What to set").Type("NAME=VALUE");
    verb.Flag("--force-value", options.force_value, "Write values that a check finds wrong");
    AddEditOptions(verb, options);
  }
  {
    Command& verb = group.Sub(
        "copy", "Copy parameters from one file to another",
        "Whole records are copied: value, default, flags, range and allowed values. A pattern leaves out "
        "what cannot be copied.",
        {build ? "trqprep style copy Fine.sty Standard.sty --params 'Small*' -o mixed.sty"
               : "trqprep recoat new --machine TRQ-E7 -o target.rcs && "
                 "trqprep recoat copy ThreeSweeps.rcs target.rcs --params 'Z*'",
         build ? "trqprep style copy Fine.sty Standard.sty --params Dp --params Ec --dry-run"
               : "trqprep recoat copy ThreeSweeps.rcs target.rcs --params '*ZWait' --dry-run"});
    auto& options = verb.Runs(Copy, kind);
    verb.Argument("FROM", options.from, "The file to copy from");
    verb.Argument("TO", options.to, "The file to copy to, replaced unless -o is given");
    verb.RepeatedOption("--params", options.parameters, "NAME", "Name or pattern of the parameters")
        .Required();
    AddEditOptions(verb, options);
  }
  {
    Command& verb = group.Sub(
        "import", "Make a {noun} of the JSON that 'export' made",
        "The file has the 301 layout. What the document does not give has the values of a new style; a "
        "wrong name, type or text ends with exit 3.",
        {"trqprep {command} export {file} --to json -o {command}-form.json && "
         "trqprep {command} import {command}-form.json -o again{ending}",
         "trqprep {command} export {file} --to json | trqprep {command} import - -o same{ending}"});
    auto& options = verb.Runs(Import, kind);
    verb.Argument("FILE", options.path, "The JSON document; - is standard input");
    verb.Output(options.output, "FILE", "The file to write");
  }
  {
    Command& verb = group.Sub(
        "upgrade", build ? "Make a 301 file of a 206 file" : "Make a 301 file of a 206 or legacy file",
        "What only the 301 layout stores gets the values that the application gives it when it reads the "
        "older file.",
        {"trqprep {command} upgrade {file} -o upgraded{ending}",
         "trqprep {command} upgrade {file} --dry-run"});
    auto& options = verb.Runs(Upgrade, kind);
    verb.Argument("FILE", options.file, replaced);
    if (!build) verb.TextOption("--from", options.units, "mm|in", "Units of a legacy file (default in)");
    AddEditOptions(verb, options);
  }
  {
    const std::string example = build ? "trqprep style units Fine.sty --from mm --to in"
                                      : "trqprep recoat units ThreeSweeps.rcs --to in";
    Command& verb = group.Sub(
        "units", "Convert lengths between inches and millimetres",
        build ? "Build style files do not record their units, so both are required. Values, defaults, "
                "ranges and allowed values of 115 lengths are multiplied; \"Min Large NS Width\" and "
                "everything that is not a length stay, and a parameter without range stays so."
              : "\"Start Z\", \"End Z\" and the blade velocities are multiplied, and the units text is "
                "rewritten. Z velocities, accelerations, dip distances, the preferred blade gap and the "
                "layer thickness stay.",
        {example + " -o inch{ending}", example + " --dry-run --json"});
    auto& options = verb.Runs(ConvertFile, kind);
    verb.Argument("FILE", options.file, replaced);
    verb.TextOption("--from", options.from, "mm|in",
                    build ? "The present units" : "The present units (default: what the file says)")
        .Required(build);
    verb.TextOption("--to", options.to, "mm|in", "The wanted units").Required();
    AddEditOptions(verb, options);
  }
}

void AddSweepsVerb(Command& group) {
  Command& verb = group.Sub(
      "sweeps", "List, add and remove blade sweeps",
      "A sweep has a blade gap, in percent of the layer thickness, and a blade velocity. The count "
      "parameters of the changed list follow it.",
      {"trqprep recoat sweeps ThreeSweeps.rcs",
       "trqprep recoat sweeps ThreeSweeps.rcs --list primary --add gap=120,velocity=2.5 --remove 1 -o "
       "swept.rcs"});
  auto& options = verb.Runs(Sweeps);
  verb.Argument("FILE", options.file, "The recoat style file, replaced unless -o is given");
  verb.RepeatedOption("--add", options.additions, "gap=G,velocity=V", "Add a sweep at the end of the list");
  verb.RepeatedOption("--remove", options.removals, "N", "Remove sweep N, counted from 1");
  verb.TextOption("--list", options.list, "sweeps|primary|secondary",
                  "The list to show or change (default: show all, change sweeps)");
  AddEditOptions(verb, options);
}

}  // namespace trqprep
