/// What to build: the parts with their copies, the vat, and how to search. `place` and `build` share it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "context.h"
#include "quantities.h"

namespace trqprep {

/// One part as asked for: `gear.stl` or `gear.stl,copies=6,rotate-z=15`.
struct PartRequest {
  std::string path;  ///< as given
  std::int64_t copies = 1;
  double rotate_z = 0;  ///< degrees, before the placement turns it
};

/// Reads a part argument. An argument that names an existing file is that file, commas and all; otherwise the
/// longest beginning that names one is the file. Exit 2 for a key or value that is none.
PartRequest ParsePart(const std::string& text);

struct Job {
  std::vector<PartRequest> parts;
  Units units = Units::kMillimetre;  ///< of the plate and everything said about it
  std::array<Length, 3> vat{Length{250, Units::kMillimetre}, Length{250, Units::kMillimetre},
                            Length{250, Units::kMillimetre}};
  std::int64_t rotations = 24;
  std::int64_t seed = 1;
  bool drop = false;

  std::array<double, 3> VatIn(Units wanted) const;
};

/// The options of a job on the command line, and where their values go.
class JobOptions {
 public:
  /// Adds the arguments and options to a command.
  explicit JobOptions(Command& command);
  /// The job as given; parts in command-line order.
  Job Get(const Context& context) const;

 private:
  CLI::App& app_;
  CLI::Option* arguments_ = nullptr;
  CLI::Option* part_options_ = nullptr;
  std::vector<std::string> argument_values_;
  std::vector<std::string> part_values_;
  Job job_;
};

}  // namespace trqprep
