/// fuzz_run FORMAT PATH...: runs a harness over no bytes at all, then over files and folders, so that it is a
/// regression test with any compiler. The build defines FUZZ_FORMATS as FORMAT(name) for each harness of the
/// program.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>

#define FORMAT(name) extern "C" int fuzz_one_##name(const uint8_t*, size_t);
FUZZ_FORMATS
#undef FORMAT

namespace {

struct Format {
  const char* name;
  int (*run)(const uint8_t*, size_t);
};

#define FORMAT(name) {#name, fuzz_one_##name},
constexpr Format kFormats[] = {FUZZ_FORMATS};
#undef FORMAT

int Run(const Format& format, const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::cerr << "cannot read " << path << '\n';
    std::exit(1);
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  format.run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const Format* format = nullptr;
  for (const Format& f : kFormats) {
    if (argc > 1 && std::strcmp(f.name, argv[1]) == 0) format = &f;
  }
  if (!format) {
    std::cerr << "usage: fuzz_run FORMAT PATH...\n";
    return 2;
  }
  const uint8_t nothing = 0;
  format->run(&nothing, 0);
  int runs = 0;
  for (int i = 2; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    if (!std::filesystem::is_directory(path)) {
      runs += Run(*format, path);
      continue;
    }
    std::set<std::filesystem::path> files;  // in the same order everywhere
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) files.insert(entry.path());
    }
    for (const auto& file : files) runs += Run(*format, file);
  }
  std::cerr << runs << " inputs, no finding\n";
  return runs > 0 ? 0 : 1;
}
