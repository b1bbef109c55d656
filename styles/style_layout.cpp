#include "styles/style_layout.h"
#include "foundation/host_order.h"

#include <algorithm>
#include <iterator>

namespace trq::core {

Result<std::vector<StyleFilePiece>> CutStyleFile(Span<const StyleLayoutItem> layout, Bytes bytes) {
  using Kind = StyleLayoutItem::Kind;
  std::vector<StyleFilePiece> pieces;
  std::vector<int32_t> sweeps;  // of each list, as the count records say
  size_t offset = 0;
  const auto number_at = [&bytes](size_t at) { return int32_t(detail::LoadLittle32(bytes.data() + at)); };
  const auto add = [&](Kind kind, std::string name, size_t size) {
    const bool is_record = kind != Kind::kWord && kind != Kind::kText && kind != Kind::kBytes;
    if (size > bytes.size() - offset) return false;
    if (is_record) {
      const auto allowed = size_t(std::max(number_at(offset + StyleRecordBytes::kCount), 0));
      size += 4 * allowed;
      if (size > bytes.size() - offset) return false;
    }
    pieces.push_back({kind, std::move(name), offset, size});
    offset += size;
    return true;
  };
  for (const StyleLayoutItem& item : layout) {
    bool whole = true;
    if (item.kind == Kind::kSweeps) {
      for (int32_t i = 0; whole && i < sweeps[item.index]; ++i) {
        const std::string name = std::string(item.name) + "[" + std::to_string(i + 1) + "] ";
        whole = add(Kind::kRecord, name + "gap", StyleRecordBytes::kSize) &&
                add(Kind::kRecord, name + "velocity", StyleRecordBytes::kSize);
      }
    } else {
      whole = add(item.kind, item.name, item.size);
      if (whole && item.kind == Kind::kCount) {
        sweeps.push_back(number_at(pieces.back().offset + StyleRecordBytes::kMaximum));
      }
    }
    if (!whole) {
      Error error{ErrorCode::kCutShort, {}, {}, 0};
      error.place.item = uint64_t(&item - layout.begin());
      error.place.byte = offset;
      return error;
    }
  }
  return pieces;
}

}  // namespace trq::core
