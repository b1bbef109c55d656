#include "geometry/ctl_packing.h"

#include <array>
#include <cstring>
#include <utility>

namespace trq::detail {
namespace {

using GroupIntegers = std::make_index_sequence<32>;
constexpr int kMostBits = 31;

// Integer I of a group: its bits go into one word or into two. No integer waits for the one before.
template <int kBits, size_t I>
inline void PackOne(const R_INT4* group, uint32_t* words) {
  constexpr size_t kWord = I * kBits / 32;
  constexpr size_t kEnd = I * kBits % 32 + kBits;  // counted from the word's first bit
  const uint32_t item = uint32_t(group[I / 4][I % 4]);
  if constexpr (kEnd <= 32) {
    words[kWord] |= item << (32 - kEnd);
  } else {
    words[kWord] |= item >> (kEnd - 32);
    words[kWord + 1] |= item << (64 - kEnd);
  }
}

template <int kBits, size_t I>
inline void UnpackOne(const uint32_t* words, R_INT4* group) {
  constexpr size_t kWord = I * kBits / 32;
  constexpr size_t kEnd = I * kBits % 32 + kBits;  // counted from the word's first bit
  constexpr uint32_t kMask = (uint32_t{1} << kBits) - 1;
  uint32_t item;
  if constexpr (kEnd <= 32) {
    item = words[kWord] >> (32 - kEnd);
  } else {
    item = uint32_t((uint64_t{words[kWord]} << 32 | words[kWord + 1]) >> (64 - kEnd));
  }
  group[I / 4][I % 4] = int32_t(item & kMask);
}

template <int kBits, size_t... I>
void PackGroups(const R_INT4* triangles, size_t groups, uint32_t* words, std::index_sequence<I...>) {
  for (; groups > 0; --groups, triangles += kPackedGroup, words += kBits) {
    uint32_t packed[kBits] = {};
    (PackOne<kBits, I>(triangles, packed), ...);
    std::memcpy(words, packed, sizeof packed);
  }
}

template <int kBits, size_t... I>
void UnpackGroups(const uint32_t* words, size_t groups, R_INT4* triangles, std::index_sequence<I...>) {
  for (; groups > 0; --groups, triangles += kPackedGroup, words += kBits) {
    (UnpackOne<kBits, I>(words, triangles), ...);
  }
}

struct Codec {
  void (*pack)(const R_INT4*, size_t, uint32_t*, GroupIntegers);
  void (*unpack)(const uint32_t*, size_t, R_INT4*, GroupIntegers);
};

// Entry b - 1 works with b bits.
template <int... B>
constexpr std::array<Codec, kMostBits> CodecsOf(std::integer_sequence<int, B...>) {
  return {Codec{PackGroups<B + 1>, UnpackGroups<B + 1>}...};
}

constexpr std::array<Codec, kMostBits> kCodecs = CodecsOf(std::make_integer_sequence<int, kMostBits>());

}  // namespace

int PackedBits(int32_t vertex_count) { return BYTE_PACKER::bits_per_item(vertex_count); }

uint64_t PackedWords(int bits, uint64_t integers) { return uint64_t(bits) * integers / 32 + 1; }

size_t PackTriangles(const R_INT4* triangles, size_t count, int bits, uint32_t* words) {
  const size_t groups = count / kPackedGroup;
  if (bits > 0) kCodecs[size_t(bits - 1)].pack(triangles, groups, words, {});
  uint32_t* next = words + groups * size_t(bits);
  // What is left of a group, held in a number of which fewer than 32 bits wait between two integers.
  uint64_t held = 0;
  int waiting = 0;
  for (size_t i = groups * kPackedGroup; i < count; ++i) {
    for (int k = 0; k < 4; ++k) {
      held = held << bits | uint32_t(triangles[i][k]);
      waiting += bits;
      if (waiting >= 32) {
        waiting -= 32;
        *next++ = uint32_t(held >> waiting);
      }
    }
  }
  *next++ = waiting == 0 ? 0 : uint32_t(held << (32 - waiting));
  return size_t(next - words);
}

void UnpackTriangles(const uint32_t* words, size_t count, int bits, R_INT4* triangles) {
  const size_t groups = count / kPackedGroup;
  size_t done = 0;
  if (bits > 0) {
    kCodecs[size_t(bits - 1)].unpack(words, groups, triangles, {});
    done = groups * kPackedGroup;
    words += groups * size_t(bits);
  }
  const uint64_t mask = (uint64_t{1} << bits) - 1;
  uint64_t held = 0;
  int waiting = 0;
  for (; done < count; ++done) {
    for (int k = 0; k < 4; ++k) {
      if (waiting < bits) {
        held = held << 32 | *words++;
        waiting += 32;
      }
      waiting -= bits;
      triangles[done][k] = int32_t(held >> waiting & mask);
    }
  }
}

}  // namespace trq::detail
