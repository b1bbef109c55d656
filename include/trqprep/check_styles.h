/// The rules of build and recoat styles, and of stacks of them by Z.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "trqprep/message.h"
#include "trqprep/quantities.h"
#include "trqprep/stored_style.h"

namespace trqprep {

/// What a style file is to fit.
struct StyleSurroundings {
  Units units = Units::kMillimetre;
  std::optional<int> machine;  ///< not tested when not known
  bool of_build = false;       ///< of a build or job, where another unit is an error
};

/// STYLE-CRC, STYLE-RANGE, STYLE-THICKNESS, STYLE-UNITS-MIX, MACHINE-MISMATCH and SWEEP-COUNT of a style
/// file.
std::vector<Message> CheckStyle(const StyleFile& file, const StyleSurroundings& surroundings);

/// STYLE-RANGE and STYLE-THICKNESS of the values that the style would have in place of those of the file.
std::vector<Message> CheckStyleValues(const StyleFile& file, const StyleDocument& style);

constexpr Code kStyleDamage = Code::kStyleCrc;
/// STYLE-CRC with that text.
Message StyleDamage(const std::string& file, const std::string& text);

/// One style of a stack.
struct StyleBand {
  double start = 0;
  double end = 0;
  double thickness = 0;  ///< of its layers; 0 is unknown
  std::string file;
};

/// How far ends of styles may lie apart and still meet.
double StackTolerance(Units units);

/// Z-GAP and Z-OVERLAP of a stack that is to cover bottom to top; NO-STYLE when there is none. `file` and
/// `subject` ("part gear", "the build") go to the findings.
std::vector<Message> CheckStack(const std::vector<StyleBand>& stack, double bottom, double top, Units units,
                                const std::string& file, const std::string& subject);

/// LAYER-MISMATCH: one finding for each pair of a build and a recoat style over the same Z.
std::vector<Message> CheckThickness(const std::vector<StyleBand>& build, const std::vector<StyleBand>& recoat,
                                    Units units, const std::string& file, const std::string& subject);

}  // namespace trqprep
