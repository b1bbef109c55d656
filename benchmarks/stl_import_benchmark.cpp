// STL import beside what it cannot do without (reading the file in blocks and storing its corners; parsing
// its numbers alone), beside the literal chain walk, and beside public libraries where they are installed.
#include <benchmark/benchmark.h>
#include <malloc.h>

#if TRQ_HAS_ADMESH
#include <admesh/stl.h>
#endif
#if TRQ_HAS_ASSIMP
#include <assimp/cimport.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#endif

#include <charconv>
#include <functional>
#include <memory>

#include "benchmarks/fresh_memory.h"
#include "benchmarks/peak_memory.h"
#include "benchmarks/stl_meshes.h"
#include "tests/geometry/literal_stl_import.h"
#include "trq/geometry.h"

namespace {

constexpr std::size_t kRecordsAtOnce = 1310;

struct Stream {
  explicit Stream(const bench::TemporaryFile& file) : f(std::fopen(file.path(), "rb")) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { std::fclose(f); }
  std::FILE* f;
};

std::vector<PbVec3f> StoreCorners(std::FILE* f) {
  unsigned char head[84];
  if (std::fread(head, 1, sizeof head, f) < sizeof head) return {};
  uint32_t count;
  std::memcpy(&count, head + 80, sizeof count);
  std::vector<PbVec3f> corners(std::size_t{3} * count);
  std::vector<unsigned char> block(50 * kRecordsAtOnce);
  for (std::size_t done = 0; done < count;) {
    const std::size_t got = std::fread(block.data(), 50, kRecordsAtOnce, f);
    for (std::size_t i = 0; i < got; ++i) std::memcpy(&corners[3 * (done + i)], &block[50 * i + 12], 36);
    if (got == 0) break;
    done += got;
  }
  return corners;
}

void Report(benchmark::State& state, std::size_t facets) {
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(facets));
  state.counters["ns_per_facet"] =
      benchmark::Counter(static_cast<double>(facets) * static_cast<double>(state.iterations()) * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void ParseAndStore(const bench::TemporaryFile& file) {
  const Stream stream(file);
  benchmark::DoNotOptimize(StoreCorners(stream.f));
}

void Import(const bench::TemporaryFile& file) {
  const Stream stream(file);
  CTL mesh;
  int accept_partial = 0;
  if (mesh.read_stl(stream.f, trq::units::kMillimetre, &accept_partial, 0, 1e-4f, 0) != 0) std::abort();
}

void ImportWithNormals(const bench::TemporaryFile& file) {
  const Stream stream(file);
  CTL mesh;
  int accept_partial = 0;
  if (mesh.LoadSTLFile(stream.f, trq::units::kMillimetre, &accept_partial, 0, 0, 0) != 0) std::abort();
}

void ImportLiterally(const bench::TemporaryFile& file) {
  const Stream stream(file);
  const std::vector<PbVec3f> corners = StoreCorners(stream.f);
  benchmark::DoNotOptimize(literal::Merge(corners, 1e-4f, static_cast<int>(corners.size() / 3)));
}

#if TRQ_HAS_ADMESH
/// Reading, and what its own shared vertices need: neighbours by exact edges. No repairs.
void ImportByAdmesh(const bench::TemporaryFile& file) {
  stl_file stl;
  std::vector<char> path(file.path(), file.path() + std::strlen(file.path()) + 1);  // it takes a plain char*
  stl_open(&stl, path.data());
  stl_check_facets_exact(&stl);
  stl_generate_shared_vertices(&stl);
  if (stl_get_error(&stl) != 0 || stl.stats.shared_vertices == 0) std::abort();
  stl_close(&stl);
}
#endif

#if TRQ_HAS_ASSIMP
void ImportByAssimp(const bench::TemporaryFile& file) {
  const aiScene* const scene = aiImportFile(file.path(), aiProcess_JoinIdenticalVertices);
  if (!scene || scene->mNumMeshes != 1) std::abort();
  aiReleaseImport(scene);
}
#endif

/// The nine numbers of each facet, a blank behind each, by from_chars: nothing is read, skipped or merged.
class NumbersAlone {
 public:
  explicit NumbersAlone(const std::string& text) {
    for (std::size_t at = 0; (at = text.find("vertex", at)) != std::string::npos;) {
      const std::size_t end = text.find('\n', at);
      at = text.find_first_of("-0123456789", at);
      text_.append(text, at, end - at);
      text_ += ' ';
      count_ += 3;
    }
  }
  void Run() const {
    std::vector<float> numbers(count_);
    const char* p = text_.data();
    const char* const end = p + text_.size();
    for (float& number : numbers) p = std::from_chars(p, end, number).ptr + 1;
    benchmark::DoNotOptimize(numbers.data());
  }

 private:
  std::string text_;
  std::size_t count_ = 0;
};

void AsciiImport(const bench::TemporaryFile& file) {
  const Stream stream(file);
  CTL mesh;
  if (mesh.ascii_read(stream.f, trq::units::kMillimetre, 1e-4f, 0, 0) != 0) std::abort();
}

void AsciiImportLiterally(const bench::TemporaryFile& file) {
  const Stream stream(file);
  const literal::AsciiFacets text = literal::ReadAscii(stream.f);
  std::vector<PbVec3f> corners;
  for (const auto& facet : text.facets) {
    for (std::size_t k = 0; k < 9; k += 3) corners.emplace_back(&facet[k]);
  }
  benchmark::DoNotOptimize(literal::Merge(corners, 1e-4f, static_cast<int>(corners.size() / 3)));
}

/// The file is made when a benchmark of it runs first, and kept until another is needed.
class Files {
 public:
  struct File {
    explicit File(const std::string& name) : file(name) {}
    bench::TemporaryFile file;
    std::size_t facets = 0;
    std::unique_ptr<NumbersAlone> numbers;
  };
  File& Get(const std::string& name, const std::function<bench::Corners()>& make) {
    if (name_ == name) return *file_;
    file_.reset();
    const bool ascii = name.rfind("ascii", 0) == 0;
    file_ = std::make_unique<File>(name + ".stl");
    name_ = name;
    const bench::Corners corners = make();
    const std::string bytes = ascii ? bench::AsciiBytes(corners) : bench::BinaryBytes(corners);
    bench::WriteBytes(file_->file, bytes);
    file_->facets = corners.size() / 3;
    if (ascii) file_->numbers = std::make_unique<NumbersAlone>(bytes);
    return *file_;
  }

 private:
  std::string name_;
  std::unique_ptr<File> file_;
};

Files files;

using FileJob = std::function<void(const Files::File&)>;
using Make = std::function<bench::Corners()>;

void Add(const std::string& mesh, const Make& make, const char* job_name, const FileJob& job) {
  benchmark::RegisterBenchmark((std::string(job_name) + "/" + mesh).c_str(), [=](benchmark::State& state) {
    const Files::File& file = files.Get(mesh, make);
    malloc_trim(0);
    for (auto _ : state) job(file);
    Report(state, file.facets);
  })->Unit(benchmark::kMillisecond);
}

void AddMemory(const std::string& mesh, const Make& make) {
  benchmark::RegisterBenchmark(("memory/" + mesh).c_str(),
                               [=](benchmark::State& state) {
                                 const Files::File& file = files.Get(mesh, make);
                                 malloc_trim(0);
                                 double peak = 0;
                                 for (auto _ : state) peak = bench::PeakBytes([&] { Import(file.file); });
                                 state.counters["bytes_per_facet"] = peak / static_cast<double>(file.facets);
                               })
      ->Iterations(1)
      ->Unit(benchmark::kMillisecond);
}

FileJob OnPath(void (*job)(const bench::TemporaryFile&)) {
  return [job](const Files::File& file) { job(file.file); };
}

[[maybe_unused]] const bool registered = [] {
  // Large arrays are asked of the system each time, as in a process that has just begun. Otherwise what ran
  // before decides who gets memory that is at hand already.
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
  constexpr int kMillion = 1000000;
  const std::pair<const char*, Make> kMeshes[] = {
      {"sphere-100k", [] { return bench::Sphere(kMillion / 10); }},
      {"sphere-1M", [] { return bench::Sphere(kMillion); }},
      {"sphere-5M", [] { return bench::Sphere(5 * kMillion); }},
      {"plate-1M", [] { return bench::Plate(kMillion, 500); }},
      {"small-plate-1M", [] { return bench::Plate(kMillion, 20); }},
      {"gyroid-1M", [] { return bench::Gyroid(kMillion); }},
      {"shuffled-1M", [] { return bench::Shuffled(bench::Sphere(kMillion)); }},
      {"jittered-1M", [] { return bench::Jittered(bench::Sphere(kMillion), 2e-5f); }},
      {"jittered-shuffled-1M",
       [] { return bench::Shuffled(bench::Jittered(bench::Sphere(kMillion), 2e-5f)); }},
      {"small-plate-100k", [] { return bench::Plate(kMillion / 10, 20); }},
  };
  for (const auto& [name, make] : kMeshes) {
    Add(name, make, "parse_store", OnPath(ParseAndStore));
    Add(name, make, "import", OnPath(Import));
    Add(name, make, "import_with_normals", OnPath(ImportWithNormals));
    Add(name, make, "literal", OnPath(ImportLiterally));
    AddMemory(name, make);
#if TRQ_HAS_ADMESH
    Add(name, make, "admesh", OnPath(ImportByAdmesh));
#endif
#if TRQ_HAS_ASSIMP
    Add(name, make, "assimp", OnPath(ImportByAssimp));
#endif
  }
  const char* const kText = "ascii-1M";
  const Make make = [] { return bench::Sphere(kMillion); };
  Add(kText, make, "from_chars_alone", [](const Files::File& file) { file.numbers->Run(); });
  Add(kText, make, "import", OnPath(AsciiImport));
  Add(kText, make, "literal", OnPath(AsciiImportLiterally));
#if TRQ_HAS_ASSIMP
  Add(kText, make, "assimp", OnPath(ImportByAssimp));
#endif
  return true;
}();

}  // namespace
