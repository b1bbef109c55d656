/// Styles as JSON documents: any text is refused or read; what was read settles when written and read again,
/// and its style file is read as a style.
#include "fuzz/fuzz_tool.h"
#include "trqprep/stored_style.h"
#include "trqprep/style_document.h"

namespace {

using trqprep::Json;
using trqprep::StyleDocument;
using trqprep::StyleKind;

void Run(StyleKind kind, const Json& json) {
  StyleDocument style = trqprep::NewStyle(kind);
  if (!fuzz::Accepts([&] { trqprep::StyleFromJson("style.json", json, style); })) return;
  std::string texts[3];
  for (std::string& text : texts) {
    text = trqprep::JsonDocument(trqprep::StyleToJson(style));
    style = trqprep::NewStyle(kind);
    const auto read = [&] { trqprep::StyleFromJson("again.json", trqprep::ParseJson(text), style); };
    fuzz::Demand(fuzz::Accepts(read), "a style document just written is refused");
  }
  fuzz::Demand(texts[1] == texts[2], "style documents differ after the first turn");
  trqprep::StyleToTidyCsv(style);
  const float version = style.FindWord("file_version")->number.AsFloat();
  if (version != 3.01f) return;  // 'import' refuses it
  // What no file can hold is refused by 'import'; everything else has to come back.
  if (!trqprep::LostInFile(style).empty()) return;
  const std::string bytes = trqprep::StyleBytes(style);
  const auto file = trqprep::ExamineStyle("style", bytes, kind);
  fuzz::Demand(file && file->complete && file->crc_valid(), "a style file just made is not read");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Json json;
  try {
    json = trqprep::ParseJson({reinterpret_cast<const char*>(data), size});
  } catch (const trqprep::JsonMistake&) {
    return 0;
  }
  for (const StyleKind kind : {StyleKind::kBuild, StyleKind::kRecoat}) Run(kind, json);
  return 0;
}
