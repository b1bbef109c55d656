#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>

#include "prep/report/packed.h"
#include "prep/report/sheets.h"

namespace trqprep {
namespace {

// Beyond so many points of contours, layers are left out evenly.
constexpr std::uint64_t kMostLayerPoints = 1000000;
constexpr std::size_t kMostPlaces = 200;  // of a finding
constexpr std::size_t kMostNamed = 2000;  // pieces whose names are sought

Json BoxToJson(const Box& box) {
  return {{"min", NumbersToJson(box.min)}, {"size", NumbersToJson(box.Size())}};
}

// What each of the meshes may have so that they have `most` together: small ones keep all their facets.
std::vector<std::int64_t> Shares(const std::vector<std::int64_t>& facets, std::int64_t most) {
  std::vector<std::size_t> order(facets.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return facets[a] < facets[b]; });
  std::vector<std::int64_t> shares(facets.size(), 0);
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::int64_t fair = most / std::int64_t(order.size() - i);
    shares[order[i]] = std::max<std::int64_t>(1, std::min(facets[order[i]], fair));
    most = std::max<std::int64_t>(0, most - shares[order[i]]);
  }
  return shares;
}

// True when the text holds the name, and not as a part of a longer one.
bool Names(const std::string& text, const std::string& name) {
  const auto goes_on = [&](std::size_t at) {
    return at < text.size() &&
           (std::isalnum(static_cast<unsigned char>(text[at])) || text[at] == '-' || text[at] == '_');
  };
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
    if (!(at > 0 && goes_on(at - 1)) && !goes_on(at + name.size())) return true;
  }
  return false;
}

}  // namespace

bool HasMeshes(const ReportSubject& subject) {
  return std::any_of(subject.parts.begin(), subject.parts.end(),
                     [](const ReportPart& part) { return part.mesh != nullptr; });
}

bool HasLayers(const ReportSubject& subject) {
  return std::any_of(subject.pieces.begin(), subject.pieces.end(),
                     [](const ReportPiece& piece) { return piece.layers != nullptr; });
}

std::vector<FindingPlace> PlacesOfFindings(const ReportSubject& subject) {
  std::map<std::string, std::size_t> piece_named;
  std::map<std::string, std::vector<std::size_t>> pieces_of_file;
  for (std::size_t i = 0; i < subject.pieces.size(); ++i) {
    const ReportPiece& piece = subject.pieces[i];
    piece_named.emplace(piece.name, i);
    pieces_of_file[subject.parts[piece.part].file].push_back(i);
  }
  std::vector<FindingPlace> places;
  for (const ReportFinding& finding : subject.findings) {
    FindingPlace place;
    std::set<std::size_t> named;
    if (const auto of = pieces_of_file.find(finding.file); of != pieces_of_file.end()) {
      named.insert(of->second.begin(), of->second.end());
    }
    const bool of_part = !named.empty();
    if (const auto name = TextFromJson(finding.where["piece"])) {
      if (const auto one = piece_named.find(*name); one != piece_named.end()) named.insert(one->second);
    } else if (!of_part) {
      // Findings about pieces name them, and findings about a piece's own file are called after it.
      for (std::size_t i = 0; i < std::min(subject.pieces.size(), kMostNamed); ++i) {
        if (Names(finding.text, subject.pieces[i].name)) named.insert(i);
      }
      const std::size_t slash = finding.file.rfind('/'), dot = finding.file.rfind('.');
      if (slash != std::string::npos && dot != std::string::npos && dot > slash) {
        const auto one = piece_named.find(finding.file.substr(slash + 1, dot - slash - 1));
        if (one != piece_named.end()) named.insert(one->second);
      }
    }
    place.pieces.assign(named.begin(), named.end());

    const auto add = [&](const Point& point) {
      if (!of_part) {
        if (place.points.size() < kMostPlaces) place.points.push_back(point);
        return;
      }
      for (const std::size_t piece : place.pieces) {
        if (place.points.size() >= kMostPlaces) return;
        place.points.push_back(subject.pieces[piece].matrix.Apply(point));
      }
    };
    const auto add_list = [&](const Json& list) {
      if (!list.is_array() || list.size() != 3) return;
      Point point;
      for (std::size_t k = 0; k < 3; ++k) {
        if (!list[k].is_number()) return;
        point[k] = list[k].get<double>();
      }
      add(point);
    };
    add_list(finding.where["centre"]);
    for (const Json& entry : finding.where["places"]) {
      add_list(entry["point"]);
      if (entry["x"].is_number() && entry["y"].is_number() && entry["z"].is_number()) {
        add({entry["x"].get<double>(), entry["y"].get<double>(), entry["z"].get<double>()});
      }
    }
    places.push_back(std::move(place));
  }
  return places;
}

PageScene MakeScene(const ReportSubject& subject, const std::string& id, std::int64_t facets) {
  PageScene scene;
  Json& json = scene.json;
  json = {{"id", id}, {"units", UnitsName(subject.units)}};
  json["vat"] = subject.vat ? NumbersToJson(*subject.vat) : Json();
  Box box;
  for (const ReportPiece& piece : subject.pieces) box.Add(piece.box);
  if (box.Empty()) box.Add(Point{0, 0, 0});
  json["box"] = BoxToJson(box);

  // Each file's mesh once.
  std::map<std::string, std::size_t> mesh_of_file;
  std::vector<const CTL*> meshes;
  std::vector<std::int64_t> counts;
  for (const ReportPart& part : subject.parts) {
    if (!part.mesh) continue;
    if (!mesh_of_file.emplace(part.file, meshes.size()).second) continue;
    meshes.push_back(part.mesh.get());
    counts.push_back(part.mesh->num_triangles());
    scene.all_facets += std::size_t(part.mesh->num_triangles());
  }
  const std::vector<std::int64_t> shares =
      facets == kAllReportFacets ? std::vector<std::int64_t>(counts.size(), 0) : Shares(counts, facets);
  json["meshes"] = Json::array();
  for (std::size_t i = 0; i < meshes.size(); ++i) {
    const PackedMesh mesh = PackMesh(*meshes[i], shares[i]);
    scene.facets += mesh.facets;
    const std::string block = fmt::format("{}-mesh-{}", id, i + 1);
    json["meshes"].push_back({{"block", block},
                              {"vertices", mesh.vertices},
                              {"facets", mesh.facets},
                              {"min", NumbersToJson(mesh.min)},
                              {"size", NumbersToJson(mesh.size)}});
    scene.blocks.Add("<script type=\"text/plain\" id=\"{}\">{}</script>\n", block, mesh.text);
  }

  std::uint64_t points = 0;
  for (const ReportPiece& piece : subject.pieces) {
    if (piece.layers) points += PointCount(*piece.layers);
  }
  scene.layer_step = std::size_t(points / kMostLayerPoints + 1);
  json["pieces"] = Json::array();
  for (const ReportPiece& piece : subject.pieces) {
    Json entry;
    const auto mesh = mesh_of_file.find(subject.parts[piece.part].file);
    entry["mesh"] = mesh == mesh_of_file.end() ? Json() : Json(mesh->second);
    entry["matrix"] = Json::array();
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t column = 0; column < 4; ++column) {
        entry["matrix"].push_back(NumberToJson(piece.matrix.m[row][column]));
      }
    }
    if (piece.layers) {
      const PackedContours layers = PackContours(*piece.layers, scene.layer_step);
      const std::string block = fmt::format("{}-layers-{}", id, json["pieces"].size() + 1);
      entry["layers"] = {{"block", block},
                         {"count", layers.layers},
                         {"min", NumbersToJson(layers.min)},
                         {"size", NumbersToJson(layers.size)}};
      scene.blocks.Add("<script type=\"text/plain\" id=\"{}\">{}</script>\n", block, layers.text);
    }
    json["pieces"].push_back(std::move(entry));
  }

  json["findings"] = Json::array();
  for (const FindingPlace& place : PlacesOfFindings(subject)) {
    Json list = Json::array();
    for (const Point& point : place.points) list.push_back(NumbersToJson(point));
    json["findings"].push_back({{"pieces", place.pieces}, {"points", std::move(list)}});
  }
  return scene;
}

}  // namespace trqprep
