/// Slice-contour files: any bytes end in a documented code; what was read settles when written and read
/// again.
#include "fuzz/fuzz_support.h"
#include "trq/slice_contours.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::MemoryFile input(data, size);
  slc contours(input.path());
  const int code = contours.loadSlc();
  fuzz::Demand(code <= 0 && code >= -17, "a code that no document names");
  if (code != 0) return 0;
  slc copy(nullptr);
  contours.copy(&copy);
  for (int axis = -1; axis <= 2; ++axis) {
    slc mirrored(nullptr);
    COMPONENT_INFO source, target;
    contours.mirror(&mirrored, axis, axis & 1, 0.5f, &source, &target);
  }
  std::string files[3];
  std::unique_ptr<slc> read[2];
  slc* from = &contours;
  for (int turn = 0; turn < 3; ++turn) {
    const fuzz::MemoryFile file;
    const int written = from->SaveSLCModel(file.path());
    // A table whose count byte is 128 or more is read as empty, and an empty table is not written.
    fuzz::Demand(written == 0 || written == -7, "contours that were read cannot be written");
    if (written != 0) return 0;
    files[turn] = file.Bytes();
    if (turn == 2) break;
    read[turn] = std::make_unique<slc>(file.path());
    const int again = read[turn]->loadSlc();
    fuzz::Demand(again == 0, "an SLC file just written cannot be read");
    from = read[turn].get();
  }
  fuzz::Demand(files[1] == files[2], "SLC files differ after the first turn");
  return 0;
}
