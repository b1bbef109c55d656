/// The vents and drains of a model, in memory and in the side file.
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "foundation/bounded_read.h"
#include "host/file_services.h"
#include "trq/core/side_file.h"
#include "trq/setup.h"

using namespace trq::detail;
using trq::core::PointMove;
using namespace trq::host;

namespace {

PointMove LatestMove(const COMPONENT_INFO& component, int mm_to_inch, bool inverse) {
  float after[4][4], before[4][4];
  std::memcpy(after, component.placement(), sizeof after);
  std::memcpy(before, component.record.previous_matrix.data(), sizeof before);
  return PointMove(after, before, mm_to_inch, inverse);
}

std::string SideFileName(const CString& model_file) {
  const int period = model_file.ReverseFind('.');
  return (period >= 0 ? model_file.Left(period) : model_file).str() + ".V_D";
}

/// The side file's lines with every point moved; nothing when the file cannot be read to its end.
std::optional<std::string> MovedLines(std::FILE* file, const PointMove& move) {
  trq::core::FileSource source(file);
  std::vector<char> text;
  ReadItems(source, std::numeric_limits<uint64_t>::max(), text);
  if (source.failed()) return std::nullopt;
  return trq::core::MoveSideText({text.data(), text.size()}, move);
}

bool WriteAndClose(FileHandle file, const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  return CloseChecked(std::move(file)) && written;
}

/// Rewrites the side file; its previous content stays under ".bak" until the new one is complete.
bool RewriteSideFile(const SystemPath& name, const PointMove& move) {
  const SystemPath backup = name + ".bak";
  if (!FileExists(name) || !RenameFile(name, backup)) return false;
  FileHandle to(OpenFile(name, "wb"));
  FileHandle from(OpenFile(backup, "rb"));
  if (!to || !from) return false;
  const std::optional<std::string> text = MovedLines(from.get(), move);
  from.reset();  // Windows deletes no file that is open
  if (!text || !WriteAndClose(std::move(to), *text)) return false;
  DeleteFileNamed(backup);
  return true;
}

int MoveSideFile(const COMPONENT_INFO& component, int mm_to_inch, bool inverse) {
  const SystemPath name = SideFileName(component.text);  // resolved once: every step means one file
  if (!FileExists(name)) return 0;
  const PointMove move = LatestMove(component, mm_to_inch, inverse);
  if (!move.Tilts()) return RewriteSideFile(name, move) ? 1 : 0;
  AfxMessageBox((inverse ? "You are undoing rotation " : "You are rotating ") + component.text +
                " about X and/or Y axis.\nVents and Drains file for this part will be deleted.");
  return DeleteFileNamed(name) ? 1 : 0;
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
  MovePlaced(vents_and_drains, LatestMove(ComponentInfo, mm_to_inch, false));
  return 1;
}

int MODEL::InvMoveVDLast(int mm_to_inch) {
  MovePlaced(vents_and_drains, LatestMove(ComponentInfo, mm_to_inch, true));
  return 1;
}

int MODEL::TranslateVDFile(float dx, float dy, float dz) {
  return RewriteSideFile(SideFileName(ComponentInfo.text), PointMove(dx, dy, dz)) ? 1 : 0;
}

int MODEL::DeleteVDFile() {
  const std::string given = SideFileName(ComponentInfo.text);
  const SystemPath name = given;
  if (!FileExists(name)) return 0;
  const std::string question =
      "It is recommanded to delete the Vents and Drains file while rotating a part. \n"
      "Do you want to delete " +
      given + "?";
  if (AfxMessageBox(question.c_str(), trq::message_box::kYesNoButtons) != trq::message_box::kYes) return 1;
  DeleteFileNamed(name);
  return 0;
}

int MODEL::CopyVDFileFrom(CString source_model, float dx, float dy, float dz) {
  const SystemPath source = SideFileName(source_model);
  if (!FileExists(source)) return 0;
  // Read whole before the target is opened: both may be the same file.
  FileHandle from(OpenFile(source, "rb"));
  if (!from) return 1;
  const std::optional<std::string> text = MovedLines(from.get(), PointMove(dx, dy, dz));
  from.reset();
  // Kept: the answer is 1 also when the copy cannot be made.
  if (!text) return 1;
  if (FileHandle to{OpenFile(SideFileName(ComponentInfo.text), "wb")}) WriteAndClose(std::move(to), *text);
  return 1;
}

int MODEL::MoveVDFileLast(int mm_to_inch) { return MoveSideFile(ComponentInfo, mm_to_inch, false); }
int MODEL::InvMoveVDFileLast(int mm_to_inch) { return MoveSideFile(ComponentInfo, mm_to_inch, true); }
