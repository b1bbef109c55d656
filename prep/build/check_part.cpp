#include "trqprep/check_part.h"

#include <fmt/format.h>

#include "trqprep/check_mesh.h"
#include "trqprep/mesh_slices.h"
#include "trqprep/plate.h"
#include "trqprep/vat_fit.h"

namespace trqprep {
namespace {

constexpr int64_t kTurns = 24;
constexpr Length kLayerThickness{0.1, Units::kMillimetre};

void CheckPlace(Observer& observer, const InputMesh& input, const PartCheck& check) {
  const std::string& path = input.path;
  const Job& job = check.job;
  const double lowest = input.box().min[2] * UnitsFactor(input.units, job.units);
  if (const auto finding = FloorFinding(path, lowest, job)) observer.Say(*finding);
  if (!check.of_build && job.floor == Floor::kKeep && lowest < -ContactIn(job.units)) {
    observer.Error(Message(Code::kOutsideVat, path,
                           fmt::format("reaches {} {} below Z = 0", Plain(-lowest, 4), UnitsName(job.units)))
                       .Hint("without --floor keep parts are moved up to Z = 0"));
  }
  // Where the build would put it: what stands too high is too large as well.
  const double factor = UnitsFactor(input.units, Units::kMillimetre);
  const bool put_down = job.drop || IsLifted(lowest, job.units, job.floor);
  const Matrix4 prepare = Compose(Matrix4::Translation(0, 0, put_down ? -input.box().min[2] * factor : 0),
                                  Matrix4::Scaling(factor, factor, factor));
  const Point excess = VatExcess(*input.mesh, prepare, check.vat_mm, Turns().All(kTurns), true);
  if (const auto message = TooBigForVat(path, path, excess, check.vat_mm, Units::kMillimetre, kTurns)) {
    observer.Say(*message);
  }
}

// Layers of a mesh as it lies in its file.
void CheckItsLayers(Observer& observer, const InputMesh& input, const PartCheck& check,
                    const VentsFile& vents) {
  const Box box = input.box();
  const double thickness = check.thickness.value_or(kLayerThickness).In(input.units, check.bare);
  SlicingRequest request;
  request.bands = {{box.min[2], box.max[2], float(thickness)}};
  request.how = UsualSliceOptions(input.units);
  const MeshSlices slices = SliceWhole(observer, input.mesh->view(), box, input.units, request, input.path);
  for (const Message& finding : CheckLayers(observer, StackOf(slices.contours), *check.layers, input.units,
                                            check.bare, vents, input.path)
                                    .messages) {
    observer.Say(finding);
  }
}

}  // namespace

void CheckPart(Observer& observer, const InputMesh& input, const PartCheck& check,
               const std::function<VentsFile()>& vents_of_part) {
  WarnOfUnits(observer, input, &check.vat_mm);
  CheckPlace(observer, input, check);
  const VentsFile vents = vents_of_part();
  for (const Message& finding : CheckMesh(input, vents)) {
    // TRAPPED tells of it.
    if (!check.layers || finding.code != Code::kSealedVoid) observer.Say(finding);
  }
  if (check.layers && !check.of_build) CheckItsLayers(observer, input, check, vents);
}

}  // namespace trqprep
