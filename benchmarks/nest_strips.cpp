// Utilisation of published strips against the best known: nest_strips [FOLDER] [--steps N | --seconds S]
// [--threads N]
// [--seeds N] [--only NAME]. FOLDER, without one the configured TRQ_NESTING, holds an instance a file (JSON:
// items with shape, demand and allowed_orientations, strip_height) and README.md with a table of the best
// known. Prints a row an instance: the median of the seeds.
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

#include "prep/meshes/sine_cosine.h"
#include "trqprep/nesting.h"

namespace {

using trqprep::nesting::Job;
using trqprep::nesting::Limits;
using trqprep::nesting::Part;
using trqprep::nesting::Result;
using trqprep::nesting::Ring;

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
      const auto [sine, cosine] = trqprep::SineCosineOf(degrees);
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

}  // namespace

int main(int argc, char** argv) {
  const bool given = argc > 1 && argv[1][0] != '-';
  const std::filesystem::path folder = given ? argv[1] : TRQ_NESTING;
  if (folder.empty() || !std::filesystem::is_directory(folder)) {
    std::cerr << "nest_strips FOLDER [--steps N | --seconds S] [--threads N] [--seeds N] [--only NAME]\n";
    return 2;
  }
  Limits limits;
  limits.steps = ~std::uint64_t{0} / 4;
  limits.threads = 2;
  limits.wall_seconds = 10;
  int seeds = 3;
  std::string only;
  for (int i = given ? 2 : 1; i + 1 < argc; i += 2) {
    const std::string option = argv[i];
    if (option == "--steps") limits.steps = std::strtoull(argv[i + 1], nullptr, 10), limits.wall_seconds = 0;
    if (option == "--seconds") limits.wall_seconds = std::atof(argv[i + 1]);
    if (option == "--threads") limits.threads = std::atoi(argv[i + 1]);
    if (option == "--seeds") seeds = std::atoi(argv[i + 1]);
    if (option == "--only") only = argv[i + 1];
  }
  const auto best_known = ReadBestKnown(folder / "README.md");
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  double sum = 0, least = 1e9;
  int count = 0, faults = 0;
  std::printf("%-12s %8s %8s %8s %10s %8s %8s\n", "instance", "use %", "best %", "ratio", "Msteps", "cpu s",
              "wall s");
  for (const auto& path : files) {
    const std::string name = path.stem().string();
    if (!only.empty() && name != only) continue;
    Job job = ReadInstance(path);
    double area = 0;
    for (const Part& part : job.parts) area += trqprep::nesting::AreaOf(part.outline) * part.copies;
    std::vector<double> uses;
    std::uint64_t steps = 0;
    const std::clock_t cpu = std::clock();
    const auto wall = std::chrono::steady_clock::now();
    for (int seed = 1; seed <= seeds; ++seed) {
      job.seed = static_cast<std::uint64_t>(seed);
      const Result result = trqprep::nesting::Nest(job, limits);
      uses.push_back(area / (job.container.width * result.length));
      steps += result.steps;
      faults += static_cast<int>(trqprep::nesting::CheckPlacements(job, result.placements, result.missing,
                                                                   1e-6 * job.container.width)
                                     .size());
    }
    const double cpu_seconds = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC / seeds;
    const std::chrono::duration<double> wall_seconds = (std::chrono::steady_clock::now() - wall) / seeds;
    std::sort(uses.begin(), uses.end());
    const double use = uses[uses.size() / 2];
    const double best = best_known.count(name) ? best_known.at(name) : 1;
    std::printf("%-12s %8.3f %8.3f %8.4f %10.0f %8.2f %8.2f\n", name.c_str(), 100 * use, 100 * best,
                use / best, static_cast<double>(steps) / seeds / 1e6, cpu_seconds, wall_seconds.count());
    std::fflush(stdout);
    sum += use / best;
    least = std::min(least, use / best);
    ++count;
  }
  std::printf("mean %.4f least %.4f faults %d\n", sum / std::max(count, 1), least, faults);
  return faults == 0 ? 0 : 1;
}
