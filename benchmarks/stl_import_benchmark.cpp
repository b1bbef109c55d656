// STL import beside what it cannot do without (reading the file in blocks and storing its corners; parsing
// its numbers alone) and beside the literal chain walk.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <charconv>
#include <functional>
#include <memory>

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

void Report(benchmark::State& state, std::size_t facets, double peak_bytes) {
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(facets));
  state.counters["ns_per_facet"] =
      benchmark::Counter(static_cast<double>(facets) * static_cast<double>(state.iterations()) * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  if (peak_bytes > 0) state.counters["bytes_per_facet"] = peak_bytes / static_cast<double>(facets);
}

using Job = std::function<void(const bench::TemporaryFile&)>;

void ParseAndStore(const bench::TemporaryFile& file) {
  const Stream stream(file);
  benchmark::DoNotOptimize(StoreCorners(stream.f));
}

void Import(const bench::TemporaryFile& file) {
  const Stream stream(file);
  CTL mesh;
  int accept_partial = 0;
  if (mesh.read_stl(stream.f, units::kMillimetre, &accept_partial, 0, 1e-4f, 0) != 0) std::abort();
}

void ImportWithNormals(const bench::TemporaryFile& file) {
  const Stream stream(file);
  CTL mesh;
  int accept_partial = 0;
  if (mesh.LoadSTLFile(stream.f, units::kMillimetre, &accept_partial, 0, 0, 0) != 0) std::abort();
}

void ImportLiterally(const bench::TemporaryFile& file) {
  const Stream stream(file);
  const std::vector<PbVec3f> corners = StoreCorners(stream.f);
  benchmark::DoNotOptimize(literal::Merge(corners, 1e-4f, static_cast<int>(corners.size() / 3)));
}

/// The nine numbers of each facet by from_chars, their places in the text known beforehand.
class NumbersAlone {
 public:
  explicit NumbersAlone(const std::string& text) {
    for (std::size_t at = 0; (at = text.find("vertex", at)) != std::string::npos;) {
      std::size_t end = text.find('\n', at);
      std::size_t p = at + 6;
      while (p < end) {
        while (text[p] == ' ') ++p;
        const std::size_t stop = std::min(text.find(' ', p), end);
        starts_.push_back(p);
        ends_.push_back(stop);
        p = stop;
      }
      at = end;
    }
  }
  /// Reads the file in one go, then parses.
  void Run(const bench::TemporaryFile& file, std::size_t size) const {
    const Stream stream(file);
    std::string text(size, '\0');
    if (std::fread(text.data(), 1, size, stream.f) != size) std::abort();
    std::vector<float> numbers(starts_.size());
    for (std::size_t i = 0; i < starts_.size(); ++i)
      std::from_chars(text.data() + starts_[i], text.data() + ends_[i], numbers[i]);
    benchmark::DoNotOptimize(numbers.data());
  }

 private:
  std::vector<std::size_t> starts_, ends_;
};

void AsciiImport(const bench::TemporaryFile& file) {
  const Stream stream(file);
  CTL mesh;
  if (mesh.ascii_read(stream.f, units::kMillimetre, 1e-4f, 0, 0) != 0) std::abort();
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
    std::size_t size = 0;
    std::unique_ptr<NumbersAlone> numbers;
  };
  File& Get(const std::string& name, const std::function<bench::Corners()>& make, bool ascii) {
    if (name_ == name) return *file_;
    file_.reset();
    file_ = std::make_unique<File>(name);
    name_ = name;
    const bench::Corners corners = make();
    const std::string bytes = ascii ? bench::AsciiBytes(corners) : bench::BinaryBytes(corners);
    bench::WriteBytes(file_->file, bytes);
    file_->facets = corners.size() / 3;
    file_->size = bytes.size();
    if (ascii) file_->numbers = std::make_unique<NumbersAlone>(bytes);
    return *file_;
  }

 private:
  std::string name_;
  std::unique_ptr<File> file_;
};

Files files;

void Add(const std::string& mesh, const std::function<bench::Corners()>& make, const char* job_name,
         const Job& job, bool measure_memory = true) {
  benchmark::RegisterBenchmark((std::string(job_name) + "/" + mesh).c_str(),
                               [=](benchmark::State& state) {
                                 const Files::File& file = files.Get(mesh, make, false);
                                 malloc_trim(0);
                                 const double peak =
                                     measure_memory ? bench::PeakBytes([&] { job(file.file); }) : 0;
                                 for (auto _ : state) job(file.file);
                                 Report(state, file.facets, peak);
                               })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

void AddAscii(const char* job_name, const std::function<void(const Files::File&)>& job) {
  const int kFacets = 200000;
  benchmark::RegisterBenchmark((std::string(job_name) + "/ascii-200k").c_str(),
                               [=](benchmark::State& state) {
                                 const Files::File& file = files.Get(
                                     "ascii-200k", [=] { return bench::Sphere(kFacets); }, true);
                                 malloc_trim(0);
                                 const double peak = bench::PeakBytes([&] { job(file); });
                                 for (auto _ : state) job(file);
                                 Report(state, file.facets, peak);
                               })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

[[maybe_unused]] const bool registered = [] {
  constexpr int kMillion = 1000000;
  const std::pair<const char*, std::function<bench::Corners()>> kMeshes[] = {
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
    Add(name, make, "parse_store", ParseAndStore);
    Add(name, make, "import", Import);
    Add(name, make, "import_with_normals", ImportWithNormals);
    // On a small plate the chains grow with the mesh: the literal form takes minutes on a million facets.
    const std::string mesh = name;
    if (mesh != "sphere-5M" && mesh != "small-plate-1M" && mesh != "plate-1M")
      Add(name, make, "literal", ImportLiterally, false);
  }
  AddAscii("from_chars_alone", [](const Files::File& file) { file.numbers->Run(file.file, file.size); });
  AddAscii("import", [](const Files::File& file) { AsciiImport(file.file); });
  AddAscii("literal", [](const Files::File& file) { AsciiImportLiterally(file.file); });
  return true;
}();

}  // namespace
