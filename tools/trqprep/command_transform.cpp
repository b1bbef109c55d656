#include <CLI/CLI.hpp>
#include <cmath>
#include <map>
#include <stdexcept>

#include "commands.h"
#include "mesh_command.h"

namespace trqprep {
namespace {

struct Options : MeshOptions {
  CLI::App* app = nullptr;  // knows the order in which the steps were given
};

struct LengthUnits {
  Units mesh;  // what the mesh is in
  Units bare;  // what a length without a unit is in
};

// The steps; each takes the matrix so far, because --drop and --center look at where the part is by then.
using Step = Matrix4 (*)(const std::string& text, const CTL& mesh, const Matrix4& so_far, LengthUnits in);

Matrix4 Translate(const std::string& text, const CTL&, const Matrix4&, LengthUnits in) {
  const std::vector<Length> by = ParseLengths(text, 3);
  return Matrix4::Translation(by[0].In(in.mesh, in.bare), by[1].In(in.mesh, in.bare),
                              by[2].In(in.mesh, in.bare));
}

template <int axis>
Matrix4 Rotate(const std::string& text, const CTL&, const Matrix4&, LengthUnits) {
  return Matrix4::Rotation(axis, ParseNumber(text));
}

Matrix4 Scale(const std::string& text, const CTL&, const Matrix4&, LengthUnits) {
  const bool uniform = text.find(',') == std::string::npos;
  const std::vector<double> by = uniform ? std::vector<double>(3, ParseNumber(text)) : ParseNumbers(text, 3);
  for (const double factor : by) {
    if (factor == 0) throw std::invalid_argument("a scale of 0 leaves nothing");
  }
  return Matrix4::Scaling(by[0], by[1], by[2]);
}

Matrix4 Mirror(const std::string& text, const CTL&, const Matrix4&, LengthUnits) {
  return Matrix4::Scaling(text == "x" ? -1 : 1, text == "y" ? -1 : 1, text == "z" ? -1 : 1);
}

Matrix4 General(const std::string& text, const CTL&, const Matrix4&, LengthUnits in) {
  const std::vector<std::string> pieces = Split(text, ',');
  if (pieces.size() != 12 && pieces.size() != 16) {
    throw std::invalid_argument("a matrix is 12 or 16 numbers between commas, row by row");
  }
  Matrix4 matrix;
  for (size_t i = 0; i < pieces.size(); ++i) {
    const bool moves = i % 4 == 3 && i < 12;
    matrix.m[i / 4][i % 4] = moves ? ParseLength(pieces[i]).In(in.mesh, in.bare) : ParseNumber(pieces[i]);
  }
  const double* last = matrix.m[3];
  if (last[0] != 0 || last[1] != 0 || last[2] != 0 || last[3] != 1) {
    throw std::invalid_argument("the last row of the matrix must be 0,0,0,1");
  }
  if (matrix.Determinant() == 0)
    throw std::invalid_argument("the matrix has no inverse: it flattens the part");
  return matrix;
}

Matrix4 Drop(const std::string&, const CTL& mesh, const Matrix4& so_far, LengthUnits) {
  return Matrix4::Translation(0, 0, -BoxAfter(mesh, so_far).min[2]);
}

Matrix4 Center(const std::string&, const CTL& mesh, const Matrix4& so_far, LengthUnits) {
  const Box box = BoxAfter(mesh, so_far);
  return Matrix4::Translation(-(box.min[0] + box.max[0]) / 2, -(box.min[1] + box.max[1]) / 2, 0);
}

struct StepOption {
  const char* name;
  const char* type;  // null: a flag
  const char* help;
  const char* example;
  Step step;
};

constexpr StepOption kSteps[] = {
    {"--translate", "X,Y,Z", "Move by three lengths, such as 10mm,0,-2.5", "--translate 10mm,0,-2.5",
     Translate},
    {"--rotate-x", "DEGREES", "Turn about the X axis", "--rotate-x 90", Rotate<0>},
    {"--rotate-y", "DEGREES", "Turn about the Y axis", "--rotate-y 90", Rotate<1>},
    {"--rotate-z", "DEGREES", "Turn about the Z axis", "--rotate-z 90", Rotate<2>},
    {"--scale", "FACTOR", "Scale by one factor, or by three between commas, about the origin",
     "--scale 1.02 or --scale 1,1,0.98", Scale},
    {"--mirror", "x|y|z", "Mirror along an axis, at the origin", "--mirror x", Mirror},
    {"--matrix", "NUMBERS", "Apply a matrix: 12 or 16 numbers between commas, row by row",
     "--matrix 1,0,0,10mm,0,1,0,0,0,0,1,0", General},
    {"--drop", nullptr, "Move the lowest point to Z = 0", "--drop", Drop},
    {"--center", nullptr, "Move the middle of the box to X = Y = 0", "--center", Center},
};

bool IsFinite(const Box& box) {
  const Point size = box.Size();
  return std::isfinite(size[0]) && std::isfinite(size[1]) && std::isfinite(size[2]);
}

// The input is right, what was asked of it is not.
[[noreturn]] void FailTooFar(const std::string& path) {
  FailUsage(path, "the transformation takes the part beyond the numbers that a mesh can hold (3.4e38)",
            "use smaller numbers with --scale, --translate and --matrix");
}

ExitCode Run(Context& context, const Options& options) {
  MeshWork work = ReadForWork(context, options);
  InputMesh& input = work.input;
  CTL& mesh = *input.mesh;
  const LengthUnits in{input.units, context.units()};
  Matrix4 matrix;
  int steps = 0;
  std::map<const CLI::Option*, size_t> used;
  for (const CLI::Option* given : options.app->parse_order()) {
    for (const StepOption& step : kSteps) {
      if (given != options.app->get_option(step.name)) continue;
      const std::string text = given->results()[used[given]++];
      try {
        matrix = Compose(step.step(text, mesh, matrix, in), matrix);
      } catch (const std::invalid_argument& error) {
        FailUsage("", std::string(step.name) + ": " + error.what(),
                  std::string("for example ") + step.example);
      }
      ++steps;
    }
  }
  if (steps == 0)
    context.Warn(Message(Code::kTransformNothing, "", "no transformation was given; the mesh is copied"));
  const double factor = work.factor();
  if (work.units != input.units) matrix = Compose(Matrix4::Scaling(factor, factor, factor), matrix);
  if (!ApplyToMesh(mesh, matrix)) {
    FailTooFar(options.input);
  }
  input.units = work.units;
  if (!IsFinite(input.box())) FailTooFar(options.input);
  ConvertUnits(input, work.units);  // scaled already: says so
  WriteWork(context, options, work);
  Json rows = Json::array();
  for (const auto& row : matrix.m) rows.push_back(NumbersToJson(row));
  context.State({{"matrix", rows}});
  DescribeMesh(context.data, input);
  context.Tell(R"({output}: {facets:+facet}, {size_mm:x3} mm ({size_in:x4} in)
  box {box.min:4f} to {box.max:4f} {unit}
)");
  return ExitCode::kDone;
}

}  // namespace

void AddTransform(CommandTree& tree) {
  Command& command = tree.Add(
      "transform", "Move, turn, scale or mirror a mesh",
      "The transformations are applied in the order in which they are given, each as often as it is "
      "given; turns are in degrees, counter-clockwise seen from the positive end of the axis. They make "
      "one matrix, which is applied once. A CTL file keeps its unit; an STL file is written in --units.",
      {"trqprep transform bracket.stl --rotate-x 90 --drop --center -o standing.stl",
       "trqprep transform spur_gear.stl --scale 1.02 --translate 10mm,0,0 -o gear.ctl"});
  auto& options = command.Runs(Run);
  AddMeshFiles(command, options);
  for (const StepOption& step : kSteps) command.Step(step.name, step.type ? step.type : "", step.help);
  AddMeshFormat(command, options);
  options.app = &command.app;
}

}  // namespace trqprep
