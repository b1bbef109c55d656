/// Makes broken files out of good ones: mutants that know where a format keeps its counts, numbers and
/// records. The same format, seeds, number and index give the same bytes everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mutants {

enum class Layout { kStl, kCtl, kSlc, kStyle, kLegacyRecoatStyle, kText };

/// Something in a file that a mutation aims at.
struct Field {
  enum class Kind { kCount, kFloat, kByte };
  std::size_t at;
  Kind kind;
};

/// Where a file of this layout has its fields, as far as its bytes can be followed. Texts have none.
std::vector<Field> FieldsOf(Layout layout, const std::string& bytes);

/// Mutant number `index` of the seeds. With `with_crc` the checksum at the end is made anew in half of them.
std::string Mutant(Layout layout, bool with_crc, const std::vector<std::string>& seeds, uint64_t seed,
                   uint64_t index);

}  // namespace mutants
