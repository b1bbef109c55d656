/// What build.json says.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "trqprep/build_folder.h"
#include "trqprep/check_styles.h"

namespace trqprep {

/// What build.json says of a folder; whatever it lacks or has malformed ends the command.
class Described {
 public:
  Described(const HeldFolder& folder, const Json& document) : folder_(folder), document_(document) {}

  [[noreturn]] void Invalid(const std::string& what) const {
    FailInput(Code::kBuildInvalid, folder_.PathOf(kBuildJson), what + " is missing or malformed",
              "build again");
  }
  const Json& At(const Json& entry, const char* key) const {
    if (!entry.is_object() || !entry.contains(key)) Invalid(key);
    return entry[key];
  }
  std::string TextAt(const Json& entry, const char* key) const {
    const std::optional<std::string> text = TextFromJson(At(entry, key));
    if (!text) Invalid(key);
    return *text;
  }
  /// A name of a file of the folder; `what` is said to be malformed when it is none.
  std::string NameAt(const Json& entry, const char* key, const char* what) const {
    std::string name = TextAt(entry, key);
    if (!FolderList().Add(name)) Invalid(what);
    return name;
  }
  double NumberAt(const Json& entry, const char* key) const {
    const Json& number = At(entry, key);
    if (!number.is_number()) Invalid(key);
    return number.get<double>();
  }
  const Json& ListAt(const Json& entry, const char* key) const {
    const Json& list = At(entry, key);
    if (!list.is_array()) Invalid(key);
    return list;
  }
  const Json& List(const char* key) const { return ListAt(document_, key); }
  Point PointAt(const Json& entry, const char* key) const {
    const Json& list = ListAt(entry, key);
    if (list.size() != 3) Invalid(key);
    Point point;
    for (size_t k = 0; k < 3; ++k) {
      if (!list[k].is_number()) Invalid(key);
      point[k] = list[k].get<double>();
    }
    return point;
  }
  Box BoxAt(const Json& entry, const char* key) const {
    return {PointAt(entry[key], "min"), PointAt(entry[key], "max")};
  }
  std::vector<StyleBand> BandsAt(const Json& entry, const char* key) const {
    std::vector<StyleBand> bands;
    for (const Json& band : ListAt(entry, key)) {
      bands.push_back({NumberAt(band, "start"), NumberAt(band, "end"), NumberAt(band, "layer_thickness"),
                       TextAt(band, "file")});
    }
    return bands;
  }
  Units UnitsOf() const {
    const std::optional<Units> units = UnitsFromName(TextAt(document_, "units"));
    if (!units) Invalid("units");
    return *units;
  }

 private:
  const HeldFolder& folder_;
  const Json& document_;
};

}  // namespace trqprep
