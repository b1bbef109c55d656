/// Legacy recoat style files.
#include "fuzz/fuzz_support.h"
#include "trq/recoat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::MemoryFile input(data, size);
  RECOATSTYLE style(input.path());
  const int kind = style.isStyleFileBinary();
  fuzz::Demand(kind == (size < 4 ? -1 : 0), "a file of four bytes or more is text or binary");
  const int code = style.binaryReadStyle();
  fuzz::Demand(code == 0 || code == -1 || code == -2, "a code that no document names");
  if (code != 0) return 0;
  std::string files[3];
  RECOATSTYLE from(style);
  for (int turn = 0; turn < 3; ++turn) {
    const fuzz::MemoryFile file;
    fuzz::Demand(from.binaryWriteStyle(file.path()) == 0, "a style that was read cannot be written");
    files[turn] = file.Bytes();
    RECOATSTYLE read("the same path every turn");
    read.FullPathName = file.path();
    fuzz::Demand(read.binaryReadStyle() == 0, "a legacy file just written cannot be read");
    read.FullPathName = "the same path every turn";
    from.copyRecoatStyle(&read);
  }
  fuzz::Demand(files[1] == files[2], "legacy files differ after the first turn");
  const fuzz::MemoryFile text;
  fuzz::Demand(from.writeRecoatStyle(text.path()) == 0, "a style that was read cannot be written as text");
  return 0;
}
