#include "trqprep/check_rules.h"

#include <algorithm>
#include <stdexcept>

namespace trqprep {

const std::vector<CheckRule>& CheckRules() {
  static const std::vector<CheckRule> rules = {
      {"STL-SHORT", Severity::kError, "a binary STL file holds fewer facets than it announces",
       "The 32-bit count behind the header of a binary STL file says how many facets follow; the file "
       "ends before them. It was cut while being copied or written. Copy or export it again. "
       "--accept-partial uses the facets that are present, which leaves a hole in the part."},
      {"STL-EMPTY", Severity::kError, "a file without facets",
       "The file is empty or holds no facet, so there is nothing to build. Export the part again."},
      {"UNITS-DOUBT", Severity::kWarning, "the part may be in the other unit",
       "STL files do not say what unit they are in. A part whose largest side is below 2 mm, or that "
       "would still fit the vat if it were 25.4 times larger, was probably drawn in inches and read as "
       "millimetres. Compare the size that is printed in both units, and say --units in, or --to-units "
       "when converting."},
      {"OPEN-EDGES", Severity::kWarning, "the surface has holes",
       "An edge that belongs to one facet only is the rim of a hole. Slicing an open surface gives open "
       "contours, and it is not known what is inside. Repair the part where it was drawn, or export it "
       "with a finer tolerance."},
      {"NON-MANIFOLD", Severity::kWarning, "edges that do not join exactly two facets in opposite directions",
       "An edge with more than two facets, or with two facets that wind the same way, makes inside and "
       "outside ambiguous. Bodies that touch along an edge do this, and facets with turned normals."},
      {"INVERTED", Severity::kWarning, "a closed surface is turned inside out",
       "The facets of a closed surface wind clockwise seen from outside, so its volume is negative, and "
       "it does not lie inside another surface as a cavity would. The part would cure everywhere but "
       "where it should. Turn its facets where it was drawn."},
      {"DEGENERATE", Severity::kWarning, "facets without area",
       "Facets with two equal corners or three corners on a line have no normal and cure nothing. A few "
       "of them do no harm; many of them hint at an export that was too coarse for the part's size. "
       "Converting drops nothing; simplify drops those with equal corners."},
      {"TOO-BIG-FOR-VAT", Severity::kError, "the part does not fit the vat",
       "The part is larger than the vat in Z, or larger than it in X and Y however it is turned about Z. "
       "Turn the part with `transform`, scale it, or choose a machine with a larger vat."},
      {"OVERLAP", Severity::kError, "two pieces overlap seen from above",
       "The projections of two placed pieces to the XY plane share more than a contact of 0.001 mm, so "
       "they would be built into one another. Facet is tested against facet; boxes are only the quick "
       "first test, so parts may nest. Place fewer copies, or choose more --rotations or another --seed."},
      {"NO-STYLE", Severity::kWarning, "a part without build style",
       "Nothing says how the part is to be cured. A build without styles is a placement only. Name a "
       "style for all parts with --style F.sty, or for one with part.stl,style=F.sty."},
      {"Z-GAP", Severity::kError, "a height without style",
       "Between the end of one style and the start of the next, or between a stack of styles and the "
       "ends of what it has to cover, layers have no style to be built by. Give a style without a band, "
       "which covers everything, or extend a band."},
      {"Z-OVERLAP", Severity::kError, "a height with two styles",
       "Two styles of one stack cover the same layers, so it is not known which applies. Bands added on "
       "the command line never overlap; a folder edited by hand may."},
      {"STYLE-CRC", Severity::kError, "a style file fails its checksum",
       "The last four bytes of a style file are the CRC-32 of all before them, and they differ: the file "
       "was cut, damaged or edited. Fetch a good copy. If the contents are known to be right, `style "
       "set` or `style upgrade` write a file with a fresh checksum."},
      {"STYLE-RANGE", Severity::kWarning, "a parameter outside what its record allows",
       "The value is below the minimum or above the maximum that the record states, or is not among its "
       "two or more allowed values. Older programs store such values without complaint. `style set` "
       "refuses them."},
      {"STYLE-UNITS-MIX", Severity::kWarning, "a style that seems to be in another unit than the build",
       "The units text of a recoat style differs from the build's units, or a layer thickness is above "
       "0.02 in an inch build or below 0.02 (and not 0) in a millimetre build. Build style files do not "
       "say what unit they are in. `style units --from in --to mm` converts one."},
      {"MACHINE-MISMATCH", Severity::kWarning, "a style made for another machine",
       "The machine type in the style file differs from the build's. Files of the 206 layout carry no "
       "machine type for build styles and are not tested."},
      {"LAYER-MISMATCH", Severity::kWarning, "build and recoat style disagree about the layer thickness",
       "Over the same Z the thicknesses of the build style and of the recoat style differ by more than "
       "0.000001. A thickness of 0 is unknown and matches everything."},
      {"SWEEP-COUNT", Severity::kError, "a recoat style's sweep count and list disagree",
       "The number of sweeps in a recoat file is the maximum of its count record. Where a count record's "
       "value or maximum differs from its list's length while either is above 0, the machine and the "
       "file disagree about how often the blade passes. `recoat sweeps` keeps them true."},
      {"SEALED-VOID", Severity::kWarning, "a cavity that resin cannot leave",
       "A closed inner surface needs a vent near its top and a drain near its bottom, or it stays full "
       "of liquid resin. A point of the side file counts for a cavity when it lies within the cavity's "
       "extent in X and Y: above its middle as a vent, below as a drain. `vents find` lists places, "
       "`vents add` makes one."},
      {"VD-STALE", Severity::kWarning, "a vent or drain that is no longer on the part",
       "A point of the vents-and-drains side file lies farther than 0.1 mm from the mesh: the part was "
       "changed or moved without its side file. `vents list` shows the points, `vents move` and `vents "
       "remove` mend them."},
  };
  return rules;
}

const CheckRule* FindCheckRule(const std::string& code) {
  const auto found = std::find_if(CheckRules().begin(), CheckRules().end(),
                                  [&](const CheckRule& rule) { return rule.code == code; });
  return found == CheckRules().end() ? nullptr : &*found;
}

Message Finding(const std::string& code, const std::string& file, const std::string& text) {
  const CheckRule* rule = FindCheckRule(code);
  if (!rule) throw std::logic_error("no rule " + code);
  return Message(code, file, text).As(rule->severity);
}

bool HoldsError(const std::vector<Message>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Message& finding) { return finding.severity == Severity::kError; });
}

}  // namespace trqprep
