/// What turns a placement into a build: the platform with its recoat styles, and a model a part with its
/// build styles by Z, both as the library keeps them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "trq/core/mesh.h"
#include "trq/core/style_stack.h"
#include "trq/recoat.h"
#include "trq/styles.h"
#include "trqprep/check_styles.h"
#include "trqprep/layer_plan.h"
#include "trqprep/plate.h"

namespace trqprep {

/// A style file of the build: as read, upgraded to the 301 layout.
struct BuildStyleFile {
  std::string given;  ///< its path
  StyleFile file;     ///< as read
  std::string name;   ///< in the build folder: "styles/Fine.sty"
  std::string bytes;  ///< the upgraded file with its checksum
  std::string csv;
  std::string damage;    ///< text of its STYLE-CRC finding; empty when there is none
  std::string upgraded;  ///< layout of the original when that was an older one; empty otherwise
  // The style of the file's kind, as `bytes` holds it; the other one is a new style.
  KVBUILDSTYLE build;
  KVRECOATSTYLE recoat;
  std::int32_t crc() const;
};

/// A build style of a part, as it stands in the stack.
struct StackedStyle {
  std::string file;  ///< in the build folder
  float start = 0;
  float end = 0;
  float thickness = 0;
  double spacing = 0;    ///< the argument of the Z correction
  int z_correction = 0;  ///< layers
};

/// A part's styles and what follows from the first of them.
struct PartSetup {
  double bottom = 0;
  double top = 0;
  std::vector<StackedStyle> stack;
  float first_layer_thickness = 0;
  float dp = 0;
  float ec = 0;
  float z_compensation = 0;  ///< height of the compensated layers
};

/// The styles by Z from `bottom` to `top`: the one without a band first, then the bands, clipped to what
/// there is. `load` says which style a request is; those whose band holds nothing go to `empty`.
std::vector<trq::core::StyleBand> StackRequests(const std::vector<StyleRequest>& requests, Units units,
                                                double bottom, double top,
                                                const std::function<std::size_t(const StyleRequest&)>& load,
                                                std::vector<std::size_t>* empty);
/// BAND-EMPTY, a warning; `subject` is what the band was for, "part gear".
Message BandIsEmpty(const std::string& file, const std::string& subject, Units units, double bottom,
                    double top);

/// The bands of thickness in which a part is built.
std::vector<LayerBand> LayerBandsOf(const PartSetup& part);

/// A finding, and the file of the build folder that it speaks of.
struct BuildFinding {
  Message message;
  std::string file;
};

struct BuildSetup {
  std::vector<BuildStyleFile> styles;
  std::vector<StackedStyle> recoat;
  std::vector<PartSetup> parts;                    ///< one a part of the plate
  std::vector<trq::core::AreaAndVolume> measures;  ///< of each piece, in the plate's unit
  std::vector<BuildFinding> findings;              ///< of parts, styles and stacks

  /// The style file that was asked for by `path`.
  const BuildStyleFile& FileFor(const std::string& path, StyleKind kind) const;

  struct Asked {
    std::string path;
    StyleKind kind;
    std::size_t style;
  };
  std::vector<Asked> asked;  ///< every path that was asked for, and the style that it is
};

/// "parts/gear.stl": the part's place in the build folder.
std::string PartFileName(const PlatePart& part);

/// Reads the styles of a placed plate, checks parts and styles, and stacks the styles. Exit 3 for a file that
/// is no style. Says what it finds.
/// A job that wants the machine of its styles gets the one that all of the 301 layout agree on; where they do
/// not agree, MACHINE-MISMATCH is an error and the wish stays.
std::unique_ptr<BuildSetup> SetUpBuild(Observer& observer, Plate& plate);

}  // namespace trqprep
