/// Build style files of both layouts.
#include "fuzz/fuzz_style.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::RunStyle<KVBUILDSTYLE>(data, size, &KVBUILDSTYLE::readBuildStyle, &KVBUILDSTYLE::writeBuildStyle,
                               &KVBUILDSTYLE::writeAsciiBuildStyle);
  return 0;
}
