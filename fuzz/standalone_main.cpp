/// Runs a harness over files and folders, so that it is a regression test with any compiler.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>

#include "fuzz/fuzz_support.h"

namespace {

int Run(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::cerr << "cannot read " << path << '\n';
    std::exit(1);
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (!std::filesystem::is_directory(path)) {
      runs += Run(path);
      continue;
    }
    std::set<std::filesystem::path> files;  // in the same order everywhere
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) files.insert(entry.path());
    }
    for (const auto& file : files) runs += Run(file);
  }
  std::cerr << runs << " inputs, no finding\n";
  return runs > 0 ? 0 : 1;
}
