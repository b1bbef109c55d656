/// STL import: any bytes end in a documented code, and what was imported can be written and read again.
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Silence();
  for (const bool known_length : {true, false}) {
    const fuzz::Stream stream = fuzz::StreamOf(data, size, known_length);
    if (!stream) continue;
    CTL mesh;
    int accept_partial = size % 2;
    const int code = mesh.LoadSTLFile(stream.get(), units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
    fuzz::Demand(code <= 1 && code >= -4, "a code that no document names");
    if (code != 0) continue;
    fuzz::UseMesh(mesh);
    fuzz::DemandCtlSettles(mesh);
    float unit[4][4];
    set_unit_matrix(unit);
    const fuzz::MemoryFile binary, text;
    fuzz::Demand(mesh.SaveCTLasBinarySTL(binary.path(), unit, 1, 1) == 0, "binary STL cannot be written");
    fuzz::Demand(mesh.SaveCTLasAsciiSTL(text.path(), unit, 1) == 0, "ASCII STL cannot be written");
    mesh.crcSTLFile(binary.path());
    fuzz::Demand(mesh.crcValidateSTLFile(binary.path()), "a stamp just made does not validate");
    for (const bool as_binary : {true, false}) fuzz::DemandStlSettles(mesh, as_binary);
  }
  return 0;
}
