/// Vents-and-drains side files: any text is rewritten, and what was rewritten settles.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/fuzz_support.h"
#include "trq/setup.h"

namespace {

std::string Read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const fuzz::ScratchFolder folder;  // side files are renamed while they are rewritten
  fuzz::Silence();
  const std::filesystem::path side_file = folder.path() / "part.V_D";
  {
    std::ofstream file(side_file, std::ios::binary);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  MODEL model;
  model.ComponentInfo.text = (folder.path() / "part.stl").string();
  std::string files[3];
  for (std::string& file : files) {
    fuzz::Demand(model.TranslateVDFile(0, 0, 0) == 1, "a side file cannot be rewritten");
    file = Read(side_file);
  }
  fuzz::Demand(files[1] == files[2], "side files differ after the first turn");
  model.MoveVDFileLast(size % 2);
  model.InvMoveVDFileLast(size % 2);
  fuzz::Demand(model.CopyVDFileFrom((folder.path() / "part.ctl").string(), 1, 2, 3) == 1, "cannot be copied");
  return 0;
}
