#include "trqprep/check_layers.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace trqprep {
namespace {

constexpr size_t kPlacesInText = 3;
constexpr size_t kPlacesInJson = 100;

class Reporter {
 public:
  Reporter(const LayerStack& stack, Units units, const VentsFile& vents, const std::string& file)
      : stack_(stack), units_(units), vents_(vents), file_(file) {}

  void Places(Code code, const std::vector<LayerPlace>& places, const char* one, const char* many,
              const char* hint) {
    const auto text = [&](const LayerPlace& place) {
      return fmt::format("{} with {} {}2", At(place.layer, place.x, place.y), Plain(place.area, 3), unit());
    };
    const auto facts = [&](const LayerPlace& place) {
      Json json = PlaceToJson(place.layer, place.x, place.y);
      json["area"] = NumberToJson(place.area);
      return json;
    };
    Say(code, places, one, many, hint, text, facts);
    for (const LayerPlace& place : places)
      report.marks.push_back({place.layer, place.layer, place.x, place.y, RowOf(code).text});
  }

  void Pockets(Code code, const std::vector<ResinPocket>& pockets, const char* one, const char* many,
               const char* hint) {
    const auto text = [&](const ResinPocket& pocket) {
      std::string end =
          fmt::format("to layer {}, {} ml", Last(pocket) + 1, Plain(Millilitres(pocket.volume), 3));
      if (pocket.opening) {
        const VentEntry& entry = vents_.entries[*pocket.opening];
        const std::string kind = entry.kind();
        end += fmt::format(", freed by {}entry {}", kind == "unknown" ? "" : "the " + kind + " of ",
                           *pocket.opening + 1);
      }
      return At(pocket.begin, pocket.x, pocket.y) + " " + end;
    };
    const auto facts = [&](const ResinPocket& pocket) {
      Json json = PlaceToJson(pocket.begin, pocket.x, pocket.y);
      json["last_layer"] = Last(pocket) + 1;
      json["volume"] = NumberToJson(pocket.volume);
      if (pocket.opening) json["entry"] = *pocket.opening + 1;
      return json;
    };
    Say(code, pockets, one, many, hint, text, facts);
    for (const ResinPocket& pocket : pockets) {
      report.marks.push_back({pocket.begin, Last(pocket), pocket.x, pocket.y, RowOf(code).text});
    }
  }

  void Start(const LayerPlace& start) {
    Json json = PlaceToJson(start.layer, start.x, start.y);
    json["area"] = NumberToJson(start.area);
    report.messages.push_back(
        Message(Code::kStartsAt, file_,
                fmt::format("the part begins in layer {} with {} {}2", At(start.layer, start.x, start.y),
                            Plain(start.area, 3), unit()))
            .As(Severity::kNote)
            .At({{"places", Json::array({std::move(json)})}}));
  }

  LayerReport report;

 private:
  const char* unit() const { return UnitsName(units_); }
  double Millilitres(double volume) const {
    const double factor = UnitsFactor(units_, Units::kMillimetre);
    return volume * factor * factor * factor / 1000;
  }
  // The last layer that holds the resin.
  size_t Last(const ResinPocket& pocket) const {
    return std::min(std::max(pocket.end, pocket.begin + 1), stack_.bottoms.size()) - 1;
  }
  std::string At(size_t layer, double x, double y) const {
    return fmt::format("{} (Z {}) at X {} Y {}", layer + 1, Plain(stack_.bottoms[layer], 4), Plain(x, 3),
                       Plain(y, 3));
  }
  Json PlaceToJson(size_t layer, double x, double y) const {
    return {{"layer", layer + 1},
            {"x", NumberToJson(x)},
            {"y", NumberToJson(y)},
            {"z", NumberToJson(float(stack_.bottoms[layer]))}};
  }
  template <class Place, class Text, class Facts>
  void Say(Code code, const std::vector<Place>& places, const char* one, const char* many, const char* hint,
           const Text& text, const Facts& facts) {
    if (places.empty()) return;
    std::string said = Counted(int64_t(places.size()), one, many) + ": layer";
    Json all = Json::array();
    for (size_t i = 0; i < std::min(places.size(), kPlacesInJson); ++i) {
      if (i < kPlacesInText) said += (i == 0 ? " " : "; ") + text(places[i]);
      all.push_back(facts(places[i]));
    }
    if (places.size() > kPlacesInText) said += " and elsewhere";
    report.messages.push_back(Message(code, file_, said)
                                  .As(Severity::kWarning)
                                  .Hint(hint)
                                  .At({{"count", places.size()}, {"places", std::move(all)}}));
  }

  const LayerStack& stack_;
  Units units_;
  const VentsFile& vents_;
  std::string file_;
};

}  // namespace

LayerReport CheckLayers(Observer& observer, const LayerStack& stack, const LayerCheck& check, Units units,
                        Units bare, const VentsFile& vents, const std::string& file) {
  const auto length = [&](const std::optional<Length>& given, double otherwise) {
    return given ? given->In(units, bare) : otherwise * UnitsFactor(Units::kMillimetre, units);
  };
  LayerFindingOptions options;
  if (check.overhang) options.overhang = check.overhang->In(units, bare);
  options.opening_radius = length(check.vent_radius, 1);
  options.pitch = length(check.pitch, 0.1);
  const double factor = UnitsFactor(Units::kMillimetre, units);
  options.least_area = factor * factor;
  options.solid_platform = check.solid_platform;
  for (const VentEntry& entry : vents.entries) options.openings.push_back(entry.point());
  options.progress = [&](double share) { observer.Progress("looking at layers of " + file, share); };
  const LayerFindings found = FindInLayers(stack, options);

  Reporter reporter(stack, units, vents, file);
  if (found.beyond_bound) {
    reporter.report.messages.push_back(
        Message(Code::kLayersBound, file, "the layers are too large and too many to be looked at")
            .As(Severity::kWarning)
            .Hint("is its unit right? A larger --thickness and --overhang take less time"));
  }
  if (found.start) reporter.Start(*found.start);
  reporter.Places(Code::kIsland, found.islands, "area begins in the air", "areas begin in the air",
                  "give it a support, or turn the part");
  reporter.Places(Code::kUnsupported, found.unsupported, "area hangs over", "areas hang over",
                  "give it a support, or turn the part");
  reporter.Pockets(Code::kCup, found.cups, "cup holds resin", "cups hold resin",
                   "turn the part, or let the resin out with `trqprep vents add`");
  reporter.Pockets(Code::kTrapped, found.trapped, "space holds resin that cannot leave",
                   "spaces hold resin that cannot leave", "let the resin out with `trqprep vents add`");
  return std::move(reporter.report);
}

}  // namespace trqprep
