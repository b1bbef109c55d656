// What `info` says about style files.
#include "file_kinds.h"
#include "trqprep/stored_style.h"

namespace trqprep {
namespace {

// The surest sign, the end of the layout, takes the whole file; the version words come first, in the head.
std::optional<StyleFile> Examine(const FileHead& file) {
  if (file.is_folder || !ExamineStyleHead(file.head)) return std::nullopt;
  return ExamineStyle(file.path, ReadWholeFile(file.path), std::nullopt);
}

bool IsOfKind(const FileHead& file, StyleKind kind) {
  const std::optional<StyleFile> style = Examine(file);
  return style && style->kind == kind;
}

}  // namespace

bool IsBuildStyle(const FileHead& file) { return IsOfKind(file, StyleKind::kBuild); }
bool IsRecoatStyle(const FileHead& file) { return IsOfKind(file, StyleKind::kRecoat); }

void DescribeStyleFile(Context& context, const FileHead& head, Json& data) {
  const StyleFile file = Examine(head).value();
  DescribeStyle(file, data);
  if (!file.complete) {
    Fail(ExitCode::kInput, StyleIsShort(file).Hint("copy the file again from where it came"));
  }
  context.Print("{}: {}, {} layout, {} bytes\n", OneLine(head.path), StyleKindName(file.kind),
                StyleLayoutName(file.layout), head.size);
  context.Print("  name      {}\n", OneLine(file.style.FindText("style_name")->text));
  if (data.contains("machine")) {
    context.Print("  machine   {} ({})\n", data["machine"].get<std::string>(),
                  data["machine_type"].get<int>());
  }
  if (data.contains("length_units")) {
    context.Print("  units     {}\n", OneLine(file.style.FindText("units")->text));
  }
  for (int list = 0; list < kSweepLists && file.kind == StyleKind::kRecoat; ++list) {
    context.Print("  {:<9} {} sweeps\n", SweepListName(list),
                  file.style.sweeps[static_cast<std::size_t>(list)].size());
  }
  if (file.has_crc) {
    context.Print("  CRC       {:08x}, {}\n", file.stored_crc,
                  file.crc_valid() ? "valid" : "does not match the content");
    if (!file.crc_valid() || !file.ends_right) {
      context.Warn(
          StyleIsDamaged(file).Hint(fmt::format("'trqprep {} verify' tells more", StyleCommand(file.kind))));
    }
  }
  if (file.kind_from_name) {
    context.Note(Message(
        Code::kStyleNameDecides, head.path,
        fmt::format("could be either kind of style; taken as a {} by its name", StyleKindName(file.kind))));
  }
}

}  // namespace trqprep
