/// The packed triangle block of CTL files: the bits of BYTE_PACKER, made and read without touching the mesh.
///
/// The block is one stream of bits, `bits` to an integer, most significant first, in 32-bit words filled from
/// their most significant bit. Eight triangles are 32 integers, and 32 integers of b bits fill exactly b
/// words: every group of eight triangles begins at a word of its own. So a group can be worked on with the
/// number of bits known to the compiler, all positions and masks being constants, and a mesh can be streamed
/// in blocks of whole groups.
#pragma once

#include <cstddef>
#include <cstdint>

#include "trq/foundation.h"

namespace trq::detail {

constexpr size_t kPackedGroup = 8;  ///< triangles

/// Bits an integer of a mesh of `vertex_count` vertices takes: the width of vertex_count - 1; 0 for 1 and
/// less.
int PackedBits(int32_t vertex_count);

/// Words that `integers` integers of `bits` bits take: one more than they fill.
uint64_t PackedWords(int bits, uint64_t integers);

/// Packs triangles all of whose integers fit into `bits` bits (below 32) and returns the number of words
/// written, PackedWords(bits, 4 * count). After whole groups the last word is empty: a stream goes on in its
/// place.
size_t PackTriangles(const R_INT4* triangles, size_t count, int bits, uint32_t* words);

/// Unpacks `count` triangles from words that begin a group. Reads the words that they fill, no more.
void UnpackTriangles(const uint32_t* words, size_t count, int bits, R_INT4* triangles);

}  // namespace trq::detail
