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
  NoteNameDecides(context, file);
  if (!file.complete) {
    Fail(ExitCode::kInput, StyleIsShort(file).Hint("copy the file again from where it came"));
  }
  context.Tell("{file}: {kind}, {layout} layout, {file_size:+byte}\n  name      {style_name}\n", data);
  if (data.contains("machine")) context.Tell("  machine   {machine} ({machine_type})\n", data);
  if (data.contains("length_units")) context.Tell("  units     {length_units}\n", data);
  for (const auto& [list, count] : std::as_const(data)["sweep_counts"].items()) {
    context.Tell("  {list|<9} {count:+sweep}\n", {{"list", list}, {"count", count}});
  }
  if (file.has_crc) {
    context.Tell(
        file.crc_valid() ? "  CRC       {crc}, valid\n" : "  CRC       {crc}, does not match the content\n",
        data);
    if (!file.crc_valid() || !file.ends_right) {
      context.Warn(
          StyleIsDamaged(file).Hint(fmt::format("'trqprep {} verify' tells more", StyleCommand(file.kind))));
    }
  }
}

}  // namespace trqprep
