# Settings that every target of the project compiles with.
# What stands in a file for each system ends in its name; this tells the files of the others.
if(WIN32)
  set(trq_other_systems "_posix(_test)?\\.(cpp|h)$")
else()
  set(trq_other_systems "_windows(_test)?\\.(cpp|h)$")
endif()
find_package(Threads REQUIRED)
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("#include <cfloat>
static_assert(FLT_EVAL_METHOD == 0, \"\");
int main() {}" TRQ_ARITHMETIC_OF_ITS_TYPES)
if(NOT TRQ_ARITHMETIC_OF_ITS_TYPES)
  message(FATAL_ERROR "This compiler keeps floats and doubles in wider registers, as the x87 does: results would be rounded "
                      "elsewhere than the interface says. On 32-bit x86 add -msse2 -mfpmath=sse to CMAKE_CXX_FLAGS.")
endif()
add_library(trq_settings INTERFACE)
target_compile_options(trq_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align -Wno-unused-parameter
  # Results are rounded where the interface says; a fused multiply-add would round elsewhere.
  -ffp-contract=off
  # Nobody asks errno about square roots; loops of them become vector code.
  -fno-math-errno
  # g++ 12 at -O2 and above packs neighbouring statements into vectors and there takes double -> float -> double for
  # no change at all: the rounding to float is lost. Loops still become vector code. Clang keeps every rounding.
  $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Positions in files have 64 bits there too.
  target_compile_definitions(trq_settings INTERFACE _FILE_OFFSET_BITS=64)
endif()
if(WIN32)
  # The system's header puts no min and max beside std's, nor services that nobody uses.
  target_compile_definitions(trq_settings INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN)
endif()
if(TRQ_WARNINGS_AS_ERRORS)
  target_compile_options(trq_settings INTERFACE -Werror)
endif()
if(TRQ_SANITIZE)
  target_compile_options(trq_settings INTERFACE -fsanitize=${TRQ_SANITIZE} -fno-sanitize-recover=all
                                                -fno-omit-frame-pointer)
  target_link_options(trq_settings INTERFACE -fsanitize=${TRQ_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # Instrumented code makes g++ see uninitialised parts of every std::variant; the sanitizers themselves see better.
    target_compile_options(trq_settings INTERFACE -Wno-maybe-uninitialized)
  endif()
  # An index outside a container ends the program even where it stays inside the allocation, and so does what an
  # assertion says in headers of others, whatever the build type.
  target_compile_definitions(trq_settings INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(trq_settings INTERFACE -UNDEBUG)
endif()
if(TRQ_BUILD_FUZZERS)
  # Coverage feedback in the library's objects; the fuzzer itself comes with each harness.
  target_compile_options(trq_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # The style tables are proved at compile time, in more steps than clang grants unasked.
  target_compile_options(trq_settings INTERFACE -fconstexpr-steps=50000000)
endif()
# Instrumented and optimised, prep and tool take twice as long to compile and their tests run no faster.
set(trq_glue_options)
if(TRQ_SANITIZE AND NOT TRQ_BUILD_FUZZERS)
  set(trq_glue_options -O0)
endif()

# trq_precompile(TARGET HEADER...): precompiles headers for a target where that was asked for. Every source still
# includes what it needs: builds with a compiler cache do without.
function(trq_precompile target)
  if(TRQ_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
# What most files of prep and tool include.
set(trq_glue_headers <fmt/format.h> <algorithm> <array> <filesystem> <fstream> <functional> <map> <memory> <optional>
                     <set> <string> <variant> <vector>)
