/// What pictures show: scenes of meshes, slice contours and build folders, and the places of findings in
/// them.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "trqprep/contour_file.h"
#include "trqprep/held_folder.h"
#include "trqprep/json_text.h"
#include "trqprep/mesh_input.h"
#include "trqprep/observer.h"
#include "trqprep/render.h"

namespace trqprep {

/// A scene with the files that its objects look at. Its lengths are in the unit of what was added first.
class FileScene {
 public:
  const Scene& scene() const { return scene_; }
  std::optional<Units> units() const { return units_; }
  /// Facets of all meshes, layers of all contours, and pieces of all builds.
  std::size_t facets() const;
  std::size_t layers() const;
  std::size_t pieces() const { return pieces_; }

  /// A mesh where its coordinates put it. Its facets must be finite (RequireFinite).
  void AddMesh(InputMesh input);
  /// All layers, or one (from 0).
  void AddContours(ContourFile file, std::optional<std::size_t> layer = std::nullopt);
  /// The pieces of a build folder at their places, on its plate in its vat; several builds stand in a row.
  /// Exit 3 where the folder is no build or a file of it cannot be read. Copies of a part have one colour.
  void AddBuild(Observer& observer, const HeldFolder& folder);
  /// False when there is no input and no part of that name; paths are taken as given.
  bool Colour(const std::string& name, trqprep::Colour colour);

  /// Says what the rules of meshes, layers (of 0.1 mm, thicker in parts above 250 mm) and neighbours
  /// find, and marks the places with the number of the message among those of the observer. Takes the time of
  /// the checks.
  void MarkProblems(Observer& observer, Units bare, bool follow_links);
  /// Numbers of messages that have a mark.
  const std::vector<std::size_t>& marked() const { return marked_; }

 private:
  SceneObject& Add(Units units, std::size_t colour, std::vector<std::string> names);
  void Mark(std::size_t index, std::size_t number, const Message& message);
  void MarkLayers(Observer& observer, std::size_t index, Units bare, bool follow_links);
  void MarkNeighbours(Observer& observer, std::size_t index);
  void SayAndMark(Observer& observer, std::size_t object, const std::vector<Message>& messages);

  struct Source {
    std::optional<InputMesh> mesh;
    std::unique_ptr<ContourFile> contours;
    std::vector<std::string> names;  ///< by which it is coloured
    std::string part;                ///< of a piece
    std::string name;                ///< of a piece's file in the folder
    std::size_t build = 0;           ///< of a piece, its number among the builds, from 1
    bool first_of_part = true;
  };
  struct Build {
    HeldFolder folder;
    Json document;
    double factor = 1;
    double move = 0;
  };

  Scene scene_;
  std::optional<Units> units_;
  std::vector<Source> sources_;  // one an object
  std::vector<Build> builds_;
  std::size_t parts_ = 0;
  std::size_t pieces_ = 0;
  double next_x_ = 0;  // where the next build stands
  std::vector<std::size_t> marked_;
};

/// Axes of "iso", "top", "front", "left" or "az:el": degrees around Z from the front, to the right above 0,
/// and above the plate, -90 to 90. Nothing for any other text.
std::optional<ViewAxes> AxesOfView(const std::string& view);

/// Of "#rrggbb".
std::optional<Colour> ColourOf(const std::string& text);

}  // namespace trqprep
