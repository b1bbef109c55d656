/// A build or recoat style as the style commands work with it: lists of records, words, texts and sweeps, the
/// same for both kinds. What differs between the kinds stands in style_adapter.h.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trq/core/style_layout.h"
#include "trq/styles.h"
#include "trqprep/json_text.h"

namespace trqprep {

enum class StyleKind { kBuild, kRecoat };
/// The command that works on styles of that kind: "style", "recoat".
const char* StyleCommand(StyleKind kind);
/// "build style", "recoat style".
const char* StyleKindName(StyleKind kind);

using trq::core::StyleLayout;
/// "301", "206", "legacy".
const char* StyleLayoutName(StyleLayout layout);

/// A 32-bit number of a record, bit for bit: a float or an int32_t.
class Number {
 public:
  Number() = default;
  Number(float value);
  Number(std::int32_t value);
  bool is_float() const { return is_float_; }
  /// The bits as a float or an int32_t, whichever the number is.
  template <class T>
  T As() const {
    T value;
    static_assert(sizeof value == sizeof bits_);
    std::memcpy(&value, &bits_, sizeof value);
    return value;
  }
  float AsFloat() const { return As<float>(); }
  std::int32_t AsInt() const { return As<std::int32_t>(); }
  /// The value; every number of a record fits a double.
  double Value() const;
  /// The shortest text that reads back to the same number.
  std::string Text() const;
  operator Json() const;
  /// The number of what the conversion made; nothing for anything else.
  static std::optional<Number> FromJson(const Json& json, bool is_float);
  bool operator==(const Number& other) const { return is_float_ == other.is_float_ && bits_ == other.bits_; }
  bool operator!=(const Number& other) const { return !(*this == other); }

 private:
  bool is_float_ = false;
  std::uint32_t bits_ = 0;
};

/// The contents of one parameter record.
struct RecordValues {
  Number value;
  Number default_value;
  Number display = 1;  ///< this flag and the next two: 1 or 0, and what files hold
  Number edit = 1;
  Number range = 1;
  Number minimum;
  Number maximum;
  std::vector<Number> allowed;

  /// False for the pair of bounds that marks a record without range.
  bool HasRange() const;
  /// Gives the record that pair.
  void RemoveRange();
};

/// What of a record differs: the name of the field and its two texts.
struct FieldDifference {
  const char* field;
  std::string before, after;
  Json before_json, after_json;
};
std::vector<FieldDifference> Compare(const RecordValues& before, const RecordValues& after);

struct StyleParameter {
  std::string name;
  bool named = true;
  trq::StyleQuantity quantity = trq::StyleQuantity::kNumber;
  trq::StyleRegion region = trq::StyleRegion::kGeneral;
  RecordValues record;
};

/// A number of a style outside its records.
struct StyleWord {
  std::string key;  ///< "user_level", "layout_word_1", ...
  Number number;
};

struct StyleText {
  std::string key;  ///< "style_name", "header_text_1", ...
  std::string text;
};

struct SweepValues {
  RecordValues gap, velocity;
};
/// A sweep of two blank records.
SweepValues NewSweep();

/// The three sweep lists of recoat styles, in file order.
inline constexpr std::size_t kSweepLists = 3;
/// "sweeps", "primary", "secondary".
const char* SweepListName(std::size_t list);
/// The record whose maximum counts the list's sweeps in files: "Num Sweeps", ...
const char* SweepCountName(std::size_t list);

struct StyleDocument {
  StyleKind kind = StyleKind::kBuild;
  StyleLayout layout = StyleLayout::k301;
  std::vector<StyleParameter> parameters;  ///< all of the kind, in member order
  std::vector<StyleWord> words;
  std::vector<StyleText> texts;
  std::array<std::vector<SweepValues>, kSweepLists> sweeps;

  StyleParameter* Find(std::string_view name);
  const StyleParameter* Find(std::string_view name) const;
  StyleWord* FindWord(std::string_view key);
  const StyleWord* FindWord(std::string_view key) const;
  StyleText* FindText(std::string_view key);
  const StyleText* FindText(std::string_view key) const;

  /// Makes the count record of a sweep list say how long the list is: its value, and its maximum, by which
  /// files count.
  void CountSweeps(std::size_t list);
};

/// One difference between two styles, by name.
struct StyleDifference {
  std::string name;
  std::vector<FieldDifference> fields;
};
/// All differences between two styles of one kind: parameters first, then words, texts and sweeps.
std::vector<StyleDifference> Compare(const StyleDocument& before, const StyleDocument& after);

/// A list of them, as `diff --json` says it.
Json DifferencesToJson(const std::vector<StyleDifference>& differences);

/// "length", "deg", "power", ... for the column "unit".
const char* StyleQuantityName(trq::StyleQuantity quantity);
/// "Small layer", "Support", ...
const char* StyleRegionName(trq::StyleRegion region);
/// "yes" / "no"
const char* YesNo(bool value);
/// "[50, 1200]", or "-" for a record without range.
std::string RangeText(const RecordValues& record);
/// "{1, 2, 3}", or "any"; of more than 100 values the first 100 and how many more there are.
std::string AllowedText(const RecordValues& record);

/// The machine type's name as the text exports have it, "TRQ-UNKNOWN" for a number without one.
std::string MachineName(std::int32_t type);
/// The number of a machine named by its display name (case does not matter) or its number.
std::optional<int> FindMachineByName(const std::string& text);
std::vector<std::string> MachineNames();
/// The same; MACHINE-UNKNOWN with exit 2 when there is none, where `others` may have been meant, too.
int MachineByName(const std::string& text, const std::vector<std::string>& others = {});

// --- as JSON ---------------------------------------------------------------------------------------------
Json ParameterToJson(const StyleParameter& parameter);
/// The complete style as the document that `import` reads.
Json StyleToJson(const StyleDocument& style);
/// Puts what the document says into `style`, a new style. Returns the names of the parameters that it does
/// not give. Whatever it cannot hold ends the command with exit 3.
std::vector<std::string> StyleFromJson(const std::string& path, const Json& json, StyleDocument& style);
/// The complete style as one table: a line a word, text, parameter and sweep record.
std::string StyleToTidyCsv(const StyleDocument& style);

}  // namespace trqprep
