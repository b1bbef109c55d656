/// Recoat style files of both layouts.
#include "fuzz/fuzz_style.h"
#include "trq/recoat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::RunStyle<KVRECOATSTYLE>(data, size, &KVRECOATSTYLE::readRecoatStyle, &KVRECOATSTYLE::writeRecoatStyle,
                                &KVRECOATSTYLE::writeAsciiRecoatStyle);
  return 0;
}
