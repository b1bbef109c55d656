/// The vents and drains of a model, in memory and in the side file.
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/number_text.h"
#include "host/file_services.h"
#include "trq/setup.h"

using namespace trq::detail;
using trq::host::SystemPath;

namespace {

using Numbers = std::array<float, 7>;

/// What happens to the point of a vent or drain.
class PointMove {
 public:
  /// Adds (dx, dy, dz).
  PointMove(float dx, float dy, float dz) : offset_{dx, dy, dz}, through_matrix_(false) {}
  /// The latest move of a component, or its inverse.
  PointMove(const COMPONENT_INFO& component, int mm_to_inch, bool inverse)
      : through_matrix_(true), scale_(mm_to_inch == 1 ? 25.4 : 1.0) {
    float current[4][4], previous[4][4], previous_inverse[4][4], move[4][4];
    std::memcpy(current, component.placement(), sizeof current);
    std::memcpy(previous, component.record.previous_matrix.data(), sizeof previous);
    const MATRICES matrices;
    matrices.TransMatInverse(previous_inverse, previous);
    matrices.matmult(move, current, previous_inverse);
    if (inverse) {
      matrices.TransMatInverse(matrix_, move);
    } else {
      matrices.EquateMatrices(matrix_, move);
    }
  }

  void Apply(float point[3]) const {
    if (!through_matrix_) {
      for (int k = 0; k < 3; ++k) point[k] = static_cast<float>(static_cast<double>(point[k]) + offset_[k]);
      return;
    }
    float in[4][1] = {{}, {}, {}, {1}};
    float out[4][1];
    for (int k = 0; k < 3; ++k) in[k][0] = static_cast<float>(point[k] / scale_);
    slc::MatVecMult(out, matrix_, in);
    for (int k = 0; k < 3; ++k) point[k] = static_cast<float>(out[k][0] * scale_);
  }

  /// A turn about X or Y takes vents and drains off the top and bottom of the part.
  bool Tilts() const { return through_matrix_ && matrix_[2][2] < 0.99; }

 private:
  float offset_[3] = {};
  bool through_matrix_;
  double scale_ = 1;
  float matrix_[4][4] = {};
};

std::string SideFileName(const CString& model_file) {
  const int period = model_file.ReverseFind('.');
  return (period >= 0 ? model_file.Left(period) : model_file).str() + ".V_D";
}

/// Reads the next number as "%f" does in the "C" locale (no hexadecimal ones); false when there is none.
bool TakeNumber(std::string_view& rest, float& number) {
  constexpr std::string_view kSpace = " \t\n\v\f\r";
  rest.remove_prefix(std::min(rest.find_first_not_of(kSpace), rest.size()));
  if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (error == std::errc::invalid_argument) return false;
  if (error == std::errc::result_out_of_range) {
    // Too small for a float is zero, too large infinite; a double tells which.
    double wide = std::numeric_limits<double>::infinity();
    const bool in_double = std::from_chars(rest.data(), end, wide).ec == std::errc();
    const bool tiny =
        in_double ? wide > -1 && wide < 1
                  : std::string_view(rest.data(), end - rest.data()).find("e-") != std::string_view::npos;
    number = tiny ? 0.0f : std::numeric_limits<float>::infinity();
    if (rest[0] == '-') number = -number;
  }
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  return true;
}

std::optional<Numbers> ParseLine(std::string_view line) {
  Numbers numbers;
  for (float& number : numbers) {
    if (!TakeNumber(line, number)) return std::nullopt;
  }
  return numbers;
}

std::string LineOf(const Numbers& numbers) {
  std::string line;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) line += i % 3 == 0 ? "  " : " ";
    AppendComputed(line, numbers[i]);
  }
  return line += '\n';
}

/// The side file's lines with every point moved; nothing when the file cannot be read to its end. Lines of
/// more than 518 characters are dropped like all others that are not seven numbers.
std::optional<std::string> MovedLines(std::FILE* file, const PointMove& move) {
  std::string text;
  char line[520];  // with its line feed and the end
  while (std::fgets(line, sizeof line, file)) {
    if (std::strlen(line) == sizeof line - 1 && line[sizeof line - 2] != '\n') {
      for (int c; (c = std::fgetc(file)) != EOF && c != '\n';) continue;
      continue;
    }
    if (std::optional<Numbers> numbers = ParseLine(line)) {
      move.Apply(numbers->data());
      text += LineOf(*numbers);
    }
  }
  if (std::ferror(file)) return std::nullopt;
  return text;
}

bool WriteAndClose(FileHandle file, const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  return CloseChecked(std::move(file)) && written;
}

/// Rewrites the side file; its previous content stays under ".bak" until the new one is complete.
bool RewriteSideFile(const SystemPath& name, const PointMove& move) {
  const SystemPath backup = name + ".bak";
  if (!trq::host::FileExists(name) || !trq::host::RenameFile(name, backup)) return false;
  FileHandle to(trq::host::OpenFile(name, "wb"));
  const FileHandle from(trq::host::OpenFile(backup, "rb"));
  if (!to || !from) return false;
  const std::optional<std::string> text = MovedLines(from.get(), move);
  if (!text || !WriteAndClose(std::move(to), *text)) return false;
  trq::host::DeleteFileNamed(backup);
  return true;
}

int MoveSideFile(const COMPONENT_INFO& component, int mm_to_inch, bool inverse) {
  const SystemPath name = SideFileName(component.text);  // resolved once: every step means one file
  if (!trq::host::FileExists(name)) return 0;
  const PointMove move(component, mm_to_inch, inverse);
  if (!move.Tilts()) return RewriteSideFile(name, move) ? 1 : 0;
  AfxMessageBox((inverse ? "You are undoing rotation " : "You are rotating ") + component.text +
                " about X and/or Y axis.\nVents and Drains file for this part will be deleted.");
  return trq::host::DeleteFileNamed(name) ? 1 : 0;
}

void MovePlaced(CVentsAndDrains& placed, const PointMove& move) {
  for (auto* list : {&placed.vents, &placed.drains}) {
    for (VentOrDrain& item : *list) move.Apply(item.point);
  }
}

}  // namespace

int MODEL::TranslateVD(float dx, float dy, float dz) {
  MovePlaced(vents_and_drains, PointMove(dx, dy, dz));
  return 1;
}

int MODEL::DeleteVD() {
  vents_and_drains.ClearAll();
  return 1;
}

int MODEL::MoveVDLast(int mm_to_inch) {
  MovePlaced(vents_and_drains, PointMove(ComponentInfo, mm_to_inch, false));
  return 1;
}

int MODEL::InvMoveVDLast(int mm_to_inch) {
  MovePlaced(vents_and_drains, PointMove(ComponentInfo, mm_to_inch, true));
  return 1;
}

int MODEL::TranslateVDFile(float dx, float dy, float dz) {
  return RewriteSideFile(SideFileName(ComponentInfo.text), PointMove(dx, dy, dz)) ? 1 : 0;
}

int MODEL::DeleteVDFile() {
  const std::string given = SideFileName(ComponentInfo.text);
  const SystemPath name = given;
  if (!trq::host::FileExists(name)) return 0;
  const std::string question =
      "It is recommanded to delete the Vents and Drains file while rotating a part. \n"
      "Do you want to delete " +
      given + "?";
  if (AfxMessageBox(question.c_str(), trq::message_box::kYesNoButtons) != trq::message_box::kYes) return 1;
  trq::host::DeleteFileNamed(name);
  return 0;
}

int MODEL::CopyVDFileFrom(CString source_model, float dx, float dy, float dz) {
  const SystemPath source = SideFileName(source_model);
  if (!trq::host::FileExists(source)) return 0;
  // Read whole before the target is opened: both may be the same file.
  FileHandle from(trq::host::OpenFile(source, "rb"));
  if (!from) return 1;
  const std::optional<std::string> text = MovedLines(from.get(), PointMove(dx, dy, dz));
  from.reset();
  // Kept: the answer is 1 also when the copy cannot be made.
  if (!text) return 1;
  if (FileHandle to{trq::host::OpenFile(SideFileName(ComponentInfo.text), "wb")})
    WriteAndClose(std::move(to), *text);
  return 1;
}

int MODEL::MoveVDFileLast(int mm_to_inch) { return MoveSideFile(ComponentInfo, mm_to_inch, false); }
int MODEL::InvMoveVDFileLast(int mm_to_inch) { return MoveSideFile(ComponentInfo, mm_to_inch, true); }
