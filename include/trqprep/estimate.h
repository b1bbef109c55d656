/// How long layers take to draw and to recoat, and what of them is drawn: formulas on numbers and contours
/// (docs/estimate.md derives them).
///
/// Lengths are in millimetres, areas in mm2, speeds in mm/s, powers in mW, exposures in mJ/mm2 and times in
/// seconds, but where a function takes whatever unit its arguments share. Numbers are finite.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "trqprep/layer_findings.h"

namespace trqprep::estimate {

/// Exposures in mJ/cm2 times this are in mJ/mm2.
constexpr double kPerSquareMillimetre = 0.01;
/// A published comparison found the beam to move at 68.5 % of the speed of theory; drawing takes this much
/// longer then (1 / 0.685, rounded).
constexpr double kSlowest = 1.46;
/// Tops of layers within this distance are recoated once.
constexpr double kSameHeight = 1e-4;

/// What the working curve says of a resin (P. F. Jacobs, Rapid Prototyping & Manufacturing, 1992): it cures
/// to the depth dp ln(E / ec) where it gets the exposure E.
struct Resin {
  double dp = 0;  ///< penetration depth; above 0
  double ec = 0;  ///< critical exposure; above 0
};

/// The exposure that cures to a depth: ec e^(depth / dp).
double ExposureFor(double depth, const Resin& resin);

/// Speed of a Gaussian beam of 1/e2 half-width `half_width` along one line that is to cure to `depth`
/// (Jacobs 1992): its greatest exposure sqrt(2 / pi) power / (half_width speed) is that of the depth. Depths
/// below 0 are of lines that reach it together only. Requires: power and half_width above 0.
double ScanSpeed(double power, double half_width, const Resin& resin, double depth);

/// The half-width of the beam that cures a line of that width and depth (Jacobs 1992):
/// line_width / sqrt(2 depth / dp). Requires: all above 0.
double HalfWidthOf(double line_width, double depth, double dp);

/// How much more exposure the middle of a line gets from all lines `spacing` apart than from itself:
/// R = sum over all whole n of e^(-2 (n spacing / half_width)^2), at least 1 (our own rule). Requires: both
/// above 0.
double ExposureRatio(double spacing, double half_width);

/// The depth that a line by itself is to cure to, so that all lines `spacing` apart cure to `depth`:
/// depth - dp ln R. May be below 0.
double LineDepth(double depth, double spacing, double half_width, double dp);

/// Which faces of a layer are asked for.
struct FacesAsked {
  bool up = false;
  bool down = false;
};

/// What there is to draw in a layer. In the unit of the contours.
struct LayerMeasure {
  double area = 0;    ///< contours that run counter-clockwise less those that run clockwise
  double border = 0;  ///< length of the contours
  // Of what the layer above or below does not cover; 0 where it is not asked for.
  double up_area = 0;
  double down_area = 0;
  double up_border = 0;
  double down_border = 0;
};

/// What a pass of the beam draws on.
enum class Face { kLayer, kUp, kDown };
/// Contours, parallel lines that join layers, or parallel lines that close a skin.
enum class Stroke { kBorder, kHatch, kFill };

/// One pass over a face of every layer.
struct Pass {
  Face face = Face::kLayer;
  Stroke stroke = Stroke::kBorder;
  int number = 1;      ///< among those of its face and stroke
  double depth = 0;    ///< to which all of it cures, above 0
  double spacing = 0;  ///< of hatches and fills, above 0
};

/// How far the beam goes in a pass over what layers hold together: along the borders, or their area by the
/// spacing.
double LengthOf(const Pass& pass, const LayerMeasure& layers);

/// The depth of one line of the pass by itself: LineDepth for hatches and fills.
double LineDepthOf(const Pass& pass, double half_width, double dp);

/// A move over `distance` at up to `velocity`, from standing to standing; at an acceleration of 0 it gets
/// there at once. 0 for a distance of 0. Requires: velocity above 0, distance not below 0; any unit of length
/// that the three share.
double MoveTime(double distance, double velocity, double acceleration);

/// The heights in ascending order; one that lies within `tolerance` above the last that counts is that one.
std::vector<double> DistinctHeights(std::vector<double> heights, double tolerance);

/// Measures layers. `asked` has an entry a layer. Faces are measured in rows `pitch` apart, or farther where
/// a layer has too many of them; outlines of faces are what lies between neighbouring rows, and a face counts
/// for them where it is at least a pitch wide along X (our own rule). `progress`, where given, hears which
/// share of the layers is done; what it throws ends the work and is thrown on. Throws std::bad_alloc.
std::vector<LayerMeasure> MeasureLayers(const LayerStack& stack, const std::vector<FacesAsked>& asked,
                                        double pitch, const std::function<void(double)>& progress = {});

}  // namespace trqprep::estimate
