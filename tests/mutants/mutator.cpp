#include "tests/mutants/mutator.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "trq/foundation.h"

namespace mutants {
namespace {

/// The generator of Steele, Lea and Flood (splitmix64): small, and the same on every machine.
class Random {
 public:
  explicit Random(uint64_t state) : state_(state) {}
  uint64_t Next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return z ^ z >> 31;
  }
  /// 0 .. bound - 1; 0 when there is nothing to choose from.
  std::size_t Below(std::size_t bound) { return bound == 0 ? 0 : static_cast<std::size_t>(Next() % bound); }
  bool OneIn(std::size_t n) { return Below(n) == 0; }
  template <class Items>
  const auto& Pick(const Items& items) {
    return std::begin(items)[static_cast<std::ptrdiff_t>(Below(std::size(items)))];
  }

 private:
  uint64_t state_;
};

constexpr std::size_t kStlHead = 84, kStlRecord = 50;
constexpr std::size_t kCtlHead = 256;
constexpr std::size_t kSlcReserved = 256, kSlcEntry = 16;
constexpr std::size_t kStyleRecord = 23;
constexpr std::size_t kLegacyNumbers = 1109, kLegacyCounts = 1193, kLegacySweeps = 1209;

uint32_t WordAt(const std::string& bytes, std::size_t at) {
  uint32_t word = 0;
  if (at + 4 <= bytes.size()) std::memcpy(&word, bytes.data() + at, 4);
  return word;
}

void SetWord(std::string& bytes, std::size_t at, const void* word) {
  if (at + 4 <= bytes.size()) std::memcpy(bytes.data() + at, word, 4);
}

void AddFloats(std::vector<Field>& fields, std::size_t from, std::size_t to) {
  for (std::size_t at = from; at + 4 <= to; at += 4) fields.push_back({at, Field::Kind::kFloat});
}

void AddStlFields(std::vector<Field>& fields, const std::string& bytes) {
  fields.push_back({kStlHead - 4, Field::Kind::kCount});
  for (std::size_t at = kStlHead; at + kStlRecord <= bytes.size(); at += kStlRecord) {
    AddFloats(fields, at, at + 48);
    fields.push_back({at + 48, Field::Kind::kByte});
  }
}

void AddCtlFields(std::vector<Field>& fields, const std::string& bytes) {
  for (const std::size_t at : {0, 4, 72, 76, 160, 164}) fields.push_back({at, Field::Kind::kCount});
  AddFloats(fields, 8, 72);
  const std::size_t vertices = std::min<std::size_t>(WordAt(bytes, 0), (bytes.size() - kCtlHead) / 12);
  AddFloats(fields, kCtlHead, kCtlHead + 12 * vertices);
  for (std::size_t at = kCtlHead + 12 * vertices; at < bytes.size(); ++at)
    fields.push_back({at, Field::Kind::kByte});
}

void AddSlcFields(std::vector<Field>& fields, const std::string& bytes) {
  std::size_t at = bytes.find('\x1A');
  if (at == std::string::npos) return;
  fields.push_back({at, Field::Kind::kByte});
  at += 1 + kSlcReserved;
  if (at >= bytes.size()) return;
  fields.push_back({at, Field::Kind::kByte});
  const std::size_t table = kSlcEntry * static_cast<unsigned char>(bytes[at]);
  AddFloats(fields, at + 1, at + 1 + table);
  at += 1 + table;
  while (at + 8 <= bytes.size()) {
    fields.push_back({at, Field::Kind::kFloat});
    fields.push_back({at + 4, Field::Kind::kCount});
    const uint32_t boundaries = WordAt(bytes, at + 4);
    at += 8;
    for (uint32_t i = 0; i < boundaries && at + 8 <= bytes.size(); ++i) {
      fields.push_back({at, Field::Kind::kCount});
      fields.push_back({at + 4, Field::Kind::kCount});
      const std::size_t points =
          std::min<std::size_t>(8 * std::size_t{WordAt(bytes, at)}, bytes.size() - at - 8);
      AddFloats(fields, at + 8, at + 8 + points);
      at += 8 + points;
    }
  }
}

/// Records are told by their three flags of 0 or 1 and a small count of values.
bool LooksLikeRecord(const std::string& bytes, std::size_t at) {
  if (at + kStyleRecord > bytes.size()) return false;
  for (std::size_t i = 8; i < 11; ++i) {
    if (static_cast<unsigned char>(bytes[at + i]) > 1) return false;
  }
  return WordAt(bytes, at + 19) < 64 &&
         (WordAt(bytes, at) | WordAt(bytes, at + 11) | WordAt(bytes, at + 15)) != 0;
}

void AddStyleFields(std::vector<Field>& fields, const std::string& bytes) {
  AddFloats(fields, 0, 8);  // version and user level, in either order
  for (std::size_t at = 8; at + kStyleRecord <= bytes.size();) {
    if (!LooksLikeRecord(bytes, at)) {
      ++at;
      continue;
    }
    for (const std::size_t offset : {0, 4, 11, 15}) fields.push_back({at + offset, Field::Kind::kFloat});
    for (const std::size_t offset : {8, 9, 10}) fields.push_back({at + offset, Field::Kind::kByte});
    fields.push_back({at + 19, Field::Kind::kCount});
    at += kStyleRecord + 4 * std::size_t{WordAt(bytes, at + 19)};
  }
}

void AddLegacyFields(std::vector<Field>& fields, const std::string& bytes) {
  fields.push_back({0, Field::Kind::kFloat});
  AddFloats(fields, kLegacyNumbers, kLegacyCounts);
  for (std::size_t at = kLegacyCounts; at < kLegacySweeps; at += 4)
    fields.push_back({at, Field::Kind::kCount});
  AddFloats(fields, kLegacySweeps, bytes.size());
}

/// A text file has words where others have fields.
bool IsText(Layout layout, const std::string& bytes) {
  return layout == Layout::kText || (layout == Layout::kStl && bytes.find('\0') == std::string::npos);
}

float OddFloat(Random& random) {
  using Limits = std::numeric_limits<float>;
  const float odd[] = {Limits::quiet_NaN(),
                       -Limits::quiet_NaN(),
                       Limits::infinity(),
                       -Limits::infinity(),
                       Limits::max(),
                       Limits::lowest(),
                       Limits::denorm_min(),
                       Limits::min(),
                       -0.0f,
                       0.0f,
                       1e-4f,
                       -1e30f,
                       1e30f,
                       16777216.0f,
                       2147483648.0f,
                       -2147483904.0f};
  return random.Pick(odd);
}

void EditCount(Random& random, std::string& bytes, std::size_t at) {
  const uint32_t held = WordAt(bytes, at);
  const uint32_t counts[] = {0,
                             1,
                             held - 1,
                             held + 1,
                             2 * held,
                             held / 2,
                             0x7FFFFFFF,
                             0x80000000,
                             0xFFFFFFFF,
                             0xFFFFFFFE,
                             65536,
                             0x10000000,
                             0x40000001,
                             static_cast<uint32_t>(bytes.size()),
                             static_cast<uint32_t>(random.Next())};
  SetWord(bytes, at, &random.Pick(counts));
}

/// Chooses among the fields of one kind; false when there is none.
bool PickField(Random& random, const std::vector<Field>& fields, Field::Kind kind, Field& picked) {
  std::vector<Field> candidates;
  std::copy_if(fields.begin(), fields.end(), std::back_inserter(candidates),
               [&](const Field& f) { return f.kind == kind; });
  if (candidates.empty()) return false;
  picked = random.Pick(candidates);
  return true;
}

void ReplaceWord(Random& random, std::string& text) {
  static const char* const kWords[] = {"nan",
                                       "-nan",
                                       "inf",
                                       "-inf",
                                       "1e999",
                                       "-1e999",
                                       "1e-999",
                                       "0x1p3",
                                       "1e",
                                       ".",
                                       "-",
                                       "+",
                                       "",
                                       "3.4028235e38",
                                       "1.4e-45",
                                       "-0",
                                       "solid",
                                       "facet",
                                       "outer",
                                       "endsolid",
                                       "00000000000000000000000000000000000000000000001",
                                       "9.99999999999999999999999999e-5"};
  constexpr char kSpace[] = " \t\r\n";
  if (text.empty()) return;
  const std::size_t begin = text.find_first_not_of(kSpace, random.Below(text.size()));
  if (begin == std::string::npos) return;
  const std::size_t end = std::min(text.find_first_of(kSpace, begin), text.size());
  text.replace(begin, end - begin, random.Pick(kWords));
}

void Flip(Random& random, std::string& bytes) {
  if (bytes.empty()) return;
  for (std::size_t left = 1 + random.Below(8); left > 0; --left)
    bytes[random.Below(bytes.size())] ^= static_cast<char>(1u << random.Below(8));
}

/// Another seed's bytes from some place on, or a piece of the file twice or not at all.
void Splice(Random& random, std::string& bytes, const std::string& other, const std::vector<Field>& fields) {
  const auto place = [&](const std::string& in) {
    const std::size_t at =
        fields.empty() || random.OneIn(3) ? random.Below(in.size() + 1) : random.Pick(fields).at;
    return std::min(at, in.size());
  };
  const std::size_t from = place(bytes);
  switch (random.Below(3)) {
    case 0: {
      const std::size_t to = random.OneIn(2) ? from : place(other);
      bytes = bytes.substr(0, from) + other.substr(std::min(to, other.size()));
      break;
    }
    case 1:
      bytes.insert(place(bytes), bytes.substr(from, 1 + random.Below(200)));
      break;
    default:
      bytes.erase(from, 1 + random.Below(200));
  }
}

void AddJunk(Random& random, std::string& bytes) {
  for (std::size_t left = 1 + random.Below(200); left > 0; --left) bytes += static_cast<char>(random.Next());
}

void Mutate(Random& random, Layout layout, std::string& bytes, const std::string& other) {
  const bool text = IsText(layout, bytes);
  const std::vector<Field> fields = FieldsOf(layout, bytes);
  Field field{};
  switch (random.Below(7)) {
    case 0:
      bytes.resize(!fields.empty() && random.OneIn(2) ? std::min(random.Pick(fields).at, bytes.size())
                                                      : random.Below(bytes.size() + 1));
      break;
    case 1:
      Flip(random, bytes);
      break;
    case 2:
      if (PickField(random, fields, Field::Kind::kCount, field)) {
        EditCount(random, bytes, field.at);
      } else {
        ReplaceWord(random, bytes);
      }
      break;
    case 3:
    case 4:
      if (text) {
        ReplaceWord(random, bytes);
      } else if (PickField(random, fields, Field::Kind::kFloat, field)) {
        const float odd = OddFloat(random);
        SetWord(bytes, field.at, &odd);
      }
      break;
    case 5:
      Splice(random, bytes, other, fields);
      break;
    default:
      if (random.OneIn(2)) {
        AddJunk(random, bytes);
      } else if (PickField(random, fields, Field::Kind::kByte, field)) {
        bytes[field.at] = static_cast<char>(random.Next());
      }
  }
}

}  // namespace

std::vector<Field> FieldsOf(Layout layout, const std::string& bytes) {
  std::vector<Field> fields;
  if (IsText(layout, bytes)) return fields;
  if (layout == Layout::kStl) AddStlFields(fields, bytes);
  if (layout == Layout::kCtl && bytes.size() >= kCtlHead) AddCtlFields(fields, bytes);
  if (layout == Layout::kSlc) AddSlcFields(fields, bytes);
  if (layout == Layout::kStyle) AddStyleFields(fields, bytes);
  if (layout == Layout::kLegacyRecoatStyle) AddLegacyFields(fields, bytes);
  const auto beyond = [&](const Field& f) { return f.at >= bytes.size(); };
  fields.erase(std::remove_if(fields.begin(), fields.end(), beyond), fields.end());
  return fields;
}

std::string Mutant(Layout layout, bool with_crc, const std::vector<std::string>& seeds, uint64_t seed,
                   uint64_t index) {
  Random random(seed * 0x100000001B3u + index);
  std::string bytes = random.Pick(seeds);
  const std::string& other = random.Pick(seeds);
  for (std::size_t left = 1 + random.Below(4); left > 0; --left) Mutate(random, layout, bytes, other);
  if (with_crc && index % 2 == 0 && bytes.size() >= 4) {
    const uint32_t crc = CCRC::calcCRC(bytes.data(), bytes.size() - 4);
    SetWord(bytes, bytes.size() - 4, &crc);
  }
  return bytes;
}

}  // namespace mutants
