/// mutants FORMAT COUNT SEED SEEDS [--only INDEX] [--write DIR]: runs COUNT mutants of the files in
/// SEEDS/FORMAT through the format's fuzz harness and prints how long the slowest took, in CPU time. --only
/// runs the one that was reported;
/// --write stores the mutants as files and runs nothing.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <unistd.h>

#include "tests/mutants/mutator.h"

// The harnesses of fuzz/, each under a name of its own.
extern "C" {
int fuzz_one_stl(const uint8_t*, size_t);
int fuzz_one_ctl(const uint8_t*, size_t);
int fuzz_one_slc(const uint8_t*, size_t);
int fuzz_one_build_style(const uint8_t*, size_t);
int fuzz_one_recoat_style(const uint8_t*, size_t);
int fuzz_one_legacy_recoat_style(const uint8_t*, size_t);
int fuzz_one_side_file(const uint8_t*, size_t);
// Of the sanitizers' runtime, where there is one.
void __sanitizer_set_death_callback(void (*)()) __attribute__((weak));
}

namespace {

using mutants::Layout;

struct Format {
  const char* name;
  const char* ending;
  Layout layout;
  bool with_crc;
  int (*run)(const uint8_t*, size_t);
};

constexpr Format kFormats[] = {
    {"stl", ".stl", Layout::kStl, false, fuzz_one_stl},
    {"ctl", ".ctl", Layout::kCtl, false, fuzz_one_ctl},
    {"slc", ".slc", Layout::kSlc, false, fuzz_one_slc},
    {"build_style", ".sty", Layout::kStyle, true, fuzz_one_build_style},
    {"recoat_style", ".rcs", Layout::kStyle, true, fuzz_one_recoat_style},
    {"legacy_recoat_style", ".rcs", Layout::kLegacyRecoatStyle, false, fuzz_one_legacy_recoat_style},
    {"side_file", ".V_D", Layout::kText, false, fuzz_one_side_file},
};

constexpr double kSlowSeconds = 2;
constexpr unsigned kHangSeconds = 120;  // of wall time: the machine may be busy

// What runs at the moment, for the last words of the program.
char running[80];
void NameRunning() { (void)!::write(STDERR_FILENO, running, std::strlen(running)); }
void NameRunningAndDie(int signal) {
  NameRunning();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

double CpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

std::vector<std::string> ReadSeeds(const std::filesystem::path& folder) {
  std::set<std::filesystem::path> names;  // in the same order everywhere
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path());
  std::vector<std::string> seeds;
  for (const auto& name : names) {
    std::ifstream file(name, std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return seeds;
}

int Usage() {
  std::fputs("usage: mutants FORMAT COUNT SEED SEEDS [--only INDEX] [--write DIR]\n", stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 7) return Usage();
  const Format* format = nullptr;
  for (const Format& f : kFormats) {
    if (std::strcmp(f.name, argv[1]) == 0) format = &f;
  }
  const bool only = argc == 7 && std::strcmp(argv[5], "--only") == 0;
  const bool store = argc == 7 && std::strcmp(argv[5], "--write") == 0;
  if (!format || (argc == 7 && !only && !store)) return Usage();
  const uint64_t count = std::strtoull(argv[2], nullptr, 10);
  const uint64_t seed = std::strtoull(argv[3], nullptr, 10);
  const std::vector<std::string> seeds = ReadSeeds(std::filesystem::path(argv[4]) / format->name);
  if (seeds.empty() || count == 0) return Usage();
  const uint64_t first = only ? std::strtoull(argv[6], nullptr, 10) : 0;
  const uint64_t end = only ? first + 1 : count;

  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGALRM})
    std::signal(signal, NameRunningAndDie);
  if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(NameRunning);

  const double start = CpuSeconds();
  double slowest = -1;
  uint64_t slowest_index = 0, slow = 0;
  for (uint64_t index = first; index < end; ++index) {
    const std::string bytes = mutants::Mutant(format->layout, format->with_crc, seeds, seed, index);
    if (store) {
      char name[80];
      std::snprintf(name, sizeof name, "%s_%06llu%s", format->name, static_cast<unsigned long long>(index),
                    format->ending);
      std::ofstream file(std::filesystem::path(argv[6]) / name, std::ios::binary);
      if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) return 1;
      continue;
    }
    std::snprintf(running, sizeof running, "\nmutants %s: --only %llu, seed %llu\n", format->name,
                  static_cast<unsigned long long>(index), static_cast<unsigned long long>(seed));
    ::alarm(kHangSeconds);
    const double before = CpuSeconds();
    format->run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    const double took = CpuSeconds() - before;
    slow += took > kSlowSeconds;
    if (took > slowest) {
      slowest = took;
      slowest_index = index;
    }
  }
  ::alarm(0);
  if (store) return 0;
  std::printf("%s: %llu mutants, %.1f CPU s, slowest %.3f s (number %llu), %llu over %.0f s\n", format->name,
              static_cast<unsigned long long>(end - first), CpuSeconds() - start, slowest,
              static_cast<unsigned long long>(slowest_index), static_cast<unsigned long long>(slow),
              kSlowSeconds);
  return 0;
}
