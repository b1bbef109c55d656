/// STL import: any bytes end in a documented code, and what was imported can be written and read again. As
/// text they are lexed as the literal form does it.
#include <cstring>

#include "fuzz/fuzz_support.h"
#include "geometry/stl_text.h"
#include "tests/geometry/literal_stl_import.h"

namespace {

void DemandLiteralLexing(const uint8_t* data, size_t size) {
  const fuzz::Stream literal_stream = fuzz::StreamOf(data, size, true);
  const fuzz::Stream stream = fuzz::StreamOf(data, size, true);
  if (!literal_stream || !stream) return;
  const literal::AsciiFacets expected = literal::ReadAscii(literal_stream.get());
  TriangleBAG bag;
  trq::core::FileSource source(stream.get());
  trq::core::StlReport report;
  fuzz::Demand(trq::detail::ReadAsciiFacets(source, bag, report) == expected.is_stl,
               "text is taken otherwise");
  fuzz::Demand(static_cast<std::size_t>(bag.num()) == expected.facets.size(),
               "other facets are found in the text");
  for (int i = 0; i < bag.num(); ++i) {
    for (std::size_t k = 0; k < 9; ++k) {
      const float number = expected.facets[static_cast<std::size_t>(i)][k];
      const int32_t bits = bag[i].corner[k / 3][static_cast<int>(k % 3)];
      fuzz::Demand(std::memcmp(&bits, &number, sizeof bits) == 0, "a number of the text is read otherwise");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Silence();
  DemandLiteralLexing(data, size);
  for (const bool known_length : {true, false}) {
    const fuzz::Stream stream = fuzz::StreamOf(data, size, known_length);
    if (!stream) continue;
    CTL mesh;
    int accept_partial = size % 2;
    const int code = mesh.LoadSTLFile(stream.get(), trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0);
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
