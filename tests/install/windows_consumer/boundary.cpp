// What crosses the boundary of the DLL: a setting of the class, texts, streams, exceptions and random
// numbers. The installed headers come after the system's macros min and max; those of the C++ library do not
// bear them.
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <windows.h>
#undef max
#undef min
#define max(a, b) (((a) > (b)) ? (a) : (b))
#define min(a, b) (((a) < (b)) ? (a) : (b))

#include "trq/core/file.h"
#include "trq/core/stl.h"
#include "trq/placement.h"
#include "trq/setup.h"

namespace {

int failures = 0;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::printf("%s\n", what);
  ++failures;
}

void Tolerance() {
  const PbVec2f a(0, 0), b(0.5f, 0.5f);
  Expect(PbVec2f::tolerance == 1e-5f && !(a == b), "the tolerance is 1e-5 at first");
  PbVec2f::tolerance = 1;
  const float read = PbVec2f::tolerance;
  Expect(read == 1 && (a == b), "an assigned tolerance counts inside of the DLL");
  float first = 0;
  std::thread([&first] { first = PbVec2f::tolerance; }).join();
  Expect(first == 1e-5f, "each thread has its own");
  PbVec2f::tolerance *= 0.25f;
  Expect(PbVec2f::tolerance == 0.25f && !(a == b), "it can be multiplied");
}

/// Fails where the DLL calls it.
class NoMemory : public trq::core::ByteSource {
 public:
  std::size_t Read(void*, std::size_t) override { throw std::bad_alloc(); }
  std::optional<std::uint64_t> Remaining() override { return std::nullopt; }
  std::optional<std::uint64_t> Position() override { return std::nullopt; }
  bool Seek(std::uint64_t) override { return false; }
  bool failed() const override { return false; }
};

void Exceptions() {
  bool caught = false;
  try {
    NoMemory source;
    trq::core::StlReport report;
    static_cast<void>(trq::core::ReadStl(source, {}, &report));
  } catch (const std::bad_alloc&) {
    caught = true;
  }
  Expect(caught && std::uncaught_exceptions() == 0, "std::bad_alloc passes through the DLL");
}

void TextsAndStreams() {
  CString text;
  text.Format("%zu %s", std::size_t{5000000000}, std::string(300, 'x').c_str());
  Expect(text.str() == "5000000000 " + std::string(300, 'x'), "texts of any length are formatted");
  std::string directory = CErrorObject::GetRootDirectory();
  Expect(!directory.empty() && (directory.back() == '\\' || directory.back() == '/'),
         "the program's folder is known");
  trq::core::FileHandle file = trq::core::OpenFile("stream \xC3\xA4\xE6\x97\xA5.bin", "wb+");
  Expect(file != nullptr, "a name is UTF-8");
  trq::core::FileSink sink(file.get());
  Expect(sink.Write("a\nb", 3) && std::fputs("\n", file.get()) >= 0, "both sides write one stream");
  Expect(trq::core::Position(file.get()) == 4 && trq::core::CloseChecked(std::move(file)),
         "lines end as they were written");
  trq::MeshArray<int> numbers;
  numbers.grow(3);
  Expect(numbers.size() >= 3, "arrays grow in templates");
}

}  // namespace

int main() {
  Tolerance();
  Exceptions();
  TextsAndStreams();
  trq::SeededRandom random(1);
  Expect(random.Next() == 1804289383, "random numbers are those of every system");
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
