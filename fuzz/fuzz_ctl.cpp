/// CTL files: any bytes are refused with a message or read; what was read settles when written and read
/// again.
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Silence();
  for (const bool known_length : {true, false}) {
    const fuzz::Stream stream = fuzz::StreamOf(data, size, known_length);
    if (!stream) continue;
    CTL mesh;
    try {
      const int facets = mesh.fp_read(stream.get());
      fuzz::Demand(facets == mesh.num_triangles() && facets >= 1, "the answer is not the facet count");
    } catch (const char*) {
      continue;
    }
    fuzz::UseMesh(mesh);
    fuzz::DemandCtlSettles(mesh);
  }
  return 0;
}
