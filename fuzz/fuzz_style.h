/// The harness of build and recoat style files, in whatever layout the bytes announce.
#pragma once

#include "fuzz/fuzz_support.h"
#include "trq/styles.h"

namespace fuzz {

/// Reads the bytes as a style; a style that was read is used, written, and must settle. `checked_load` and
/// `export_text` are the style's own file operations.
template <class Style>
void RunStyle(const uint8_t* data, std::size_t size, int (Style::*checked_load)(CString),
              int (Style::*checked_save)(CString), int (Style::*export_text)(CString)) {
  Silence();
  const MemoryFile input(data, size);
  {
    Style style;
    const int code = (style.*checked_load)(input.path());
    Demand(code == 0 || code == -4, "a checked load answers 0 or -4");
  }
  {
    Style header;
    const int code = header.binaryReadStyleHeader(input.path());
    Demand(code == 0 || code == -2 || code == -5, "a code that no document names");
  }
  Style style;
  const Stream stream = StreamOf(data, size, true);
  style.setStyleFilePtr(stream.get());
  const int code = style.binaryReadStyle();
  style.setStyleFilePtr(nullptr);
  Demand(code == 0 || code == -2 || code == -5, "a code that no document names");
  if (code != 0) return;

  const MemoryFile text;
  Demand((style.*export_text)(text.path()) == 0, "a style that was read cannot be exported");
  style.CommaSeparated = true;
  Demand((style.*export_text)(text.path()) == 0, "a style that was read cannot be exported");
  Style converted(style);
  converted.ConvertAllValuesToMM();
  converted.ConvertAllValuesToINCH();
  converted.EquatelAllDefaultsToCurrentValue();
  converted.ConvertTo205Version(0);

  for (const float version : {3.01f, 2.06f}) {
    std::string files[3];
    Style from(style);
    for (int turn = 0; turn < 3; ++turn) {
      from.FileVersion = version;
      const MemoryFile file;
      Demand((from.*checked_save)(file.path()) == 0, "a style that was read cannot be written");
      files[turn] = file.Bytes();
      Style read;
      Demand((read.*checked_load)(file.path()) == 0, "a style file just written is refused");
      from = read;
    }
    Demand(files[1] == files[2], "style files differ after the first turn");
  }
}

}  // namespace fuzz
