// Utilisation of published strips: of what is the best known, and of what a public library makes of them.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "benchmarks/nest_peer.h"
#include "trq/core/elementary.h"
#include "trqprep/nesting.h"

namespace {

using trqprep::nesting::Job;
using trqprep::nesting::Limits;
using trqprep::nesting::Part;
using trqprep::nesting::Result;
using trqprep::nesting::Ring;

constexpr const char* kUsage =
    "nest_strips [FOLDER] [--seconds S | --steps N] [--threads N] [--seeds N] [--only NAME] [--peer] [--json FILE]\n"
    "FOLDER, without one the configured TRQ_NESTING, holds an instance a file (JSON: items with shape, demand\n"
    "and allowed_orientations, strip_height) and README.md with a table of the best known, in percent.\n"
    "Utilisation is the area of all copies by strip height times length used. A row is the median of the seeds\n"
    "of what a run reaches when the clock (10 s) or its steps end it. --peer gives all a gap of 1 % of the strip\n"
    "height and compares with the library. Faults are those that the check finds; with any the status is 1.\n";

Job ReadInstance(const std::filesystem::path& path) {
  std::ifstream file(path);
  const nlohmann::json instance = nlohmann::json::parse(file);
  Job job;
  job.clearance = 0;
  job.container.strip = true;
  job.container.width = instance.at("strip_height");
  for (const auto& item : instance.at("items")) {
    Part part;
    part.copies = item.at("demand");
    part.turns.clear();
    for (const double degrees : item.at("allowed_orientations")) {
      const auto [sine, cosine] = trq::core::SineCosineOf(degrees);
      part.turns.push_back({sine, cosine});
    }
    Ring ring;
    for (const auto& corner : item.at("shape").at("data")) ring.push_back({corner.at(0), corner.at(1)});
    part.outline = {{ring, {}}};
    job.parts.push_back(part);
  }
  return job;
}

/// Rows "| name | percent | ..." of the table.
std::map<std::string, double> ReadBestKnown(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::map<std::string, double> best;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string bar, name;
    double percent = 0;
    if (words >> bar >> name && bar == "|" && words >> bar >> percent) best[name] = percent / 100;
  }
  return best;
}

struct Options {
  std::filesystem::path folder = TRQ_NESTING;
  Limits limits;
  int seeds = 3;
  std::string only, json;
  bool peer = false;
};

bool Parse(int argc, char** argv, Options& options) {
  options.limits.steps = ~std::uint64_t{0} / 4;
  options.limits.threads = 2;
  options.limits.wall_seconds = 10;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--peer") {
      options.peer = true;
      continue;
    }
    if (option[0] != '-') {
      options.folder = option;
      continue;
    }
    if (++i == argc) return false;
    if (option == "--steps") {
      options.limits.steps = std::strtoull(argv[i], nullptr, 10);
      options.limits.wall_seconds = 0;
    } else if (option == "--seconds") {
      options.limits.wall_seconds = std::atof(argv[i]);
    } else if (option == "--threads") {
      options.limits.threads = std::atoi(argv[i]);
    } else if (option == "--seeds") {
      options.seeds = std::max(1, std::atoi(argv[i]));
    } else if (option == "--only") {
      options.only = argv[i];
    } else if (option == "--json") {
      options.json = argv[i];
    } else {
      return false;
    }
  }
  return std::filesystem::is_directory(options.folder);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, options)) {
    std::cerr << kUsage;
    return 2;
  }
  const auto best_known = ReadBestKnown(options.folder / "README.md");
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(options.folder)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  nlohmann::json rows = nlohmann::json::array();
  double sum = 0, least = 1e9;
  int faults = 0;
  std::printf("%-12s %8s %8s %8s %10s %8s %8s\n", "instance", "use %", options.peer ? "peer %" : "best %",
              "ratio", "Msteps", "cpu s", "wall s");
  for (const auto& path : files) {
    const std::string name = path.stem().string();
    if (!options.only.empty() && name != options.only) continue;
    Job job = ReadInstance(path);
    if (options.peer) job.gap = 0.01 * job.container.width;
    double area = 0;
    for (const Part& part : job.parts) area += trqprep::nesting::AreaOf(part.outline) * part.copies;
    std::vector<double> uses;
    std::uint64_t steps = 0;
    const std::clock_t cpu = std::clock();
    const auto wall = std::chrono::steady_clock::now();
    for (int seed = 1; seed <= options.seeds; ++seed) {
      job.seed = static_cast<std::uint64_t>(seed);
      const Result result = trqprep::nesting::Nest(job, options.limits);
      uses.push_back(area / (job.container.width * result.length));
      steps += result.steps;
      faults += static_cast<int>(
          CheckPlacements(job, result.placements, result.missing, 1e-6 * job.container.width).size());
    }
    const double cpu_seconds = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC / options.seeds;
    const double wall_seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wall).count() / options.seeds;
    std::sort(uses.begin(), uses.end());
    const double use = uses[uses.size() / 2];
    double other = best_known.count(name) ? best_known.at(name) : 0;
    if (options.peer) {
      const double length = PeerLength(job);
      other = length > 0 ? area / (job.container.width * length) : 0;
    }
    const double million_steps = static_cast<double>(steps) / options.seeds / 1e6;
    const double ratio = other > 0 ? use / other : 0;
    std::printf("%-12s %8.3f %8.3f %8.4f %10.0f %8.2f %8.2f\n", name.c_str(), 100 * use, 100 * other, ratio,
                million_steps, cpu_seconds, wall_seconds);
    std::fflush(stdout);
    rows.push_back({{"instance", name},
                    {"utilisation", uses},
                    {"median", use},
                    {options.peer ? "peer" : "best_known", other},
                    {"ratio", ratio},
                    {"million_steps", million_steps},
                    {"cpu_seconds", cpu_seconds},
                    {"wall_seconds", wall_seconds}});
    if (other == 0) continue;  // nothing to compare with
    sum += ratio;
    least = std::min(least, ratio);
  }
  const auto compared =
      std::count_if(rows.begin(), rows.end(), [](const auto& row) { return row["ratio"] > 0; });
  const double mean = compared > 0 ? sum / static_cast<double>(compared) : 0;
  if (compared == 0) least = 0;
  std::printf("mean %.4f least %.4f of %ld, faults %d\n", mean, least, static_cast<long>(compared), faults);
  if (!options.json.empty()) {
    const nlohmann::json all = {{"mean", mean}, {"least", least}, {"faults", faults}, {"instances", rows}};
    std::ofstream(options.json) << all.dump(2) << '\n';
  }
  return faults == 0 ? 0 : 1;
}
