// Every bound on a number read from a file, or handed over by a host, that
// sizes memory or work: none of them is reached by a real file, and each one
// is traced when a hostile one reaches it.
#pragma once

#include <cstddef>
#include <cstdint>

// Top-level chunks of one file. Real files have a handful; an editor's file
// a few hundred at most.
inline constexpr std::size_t kMaxChunkRecords = 65536;
// A 'fmt ' chunk beyond this is damage, not a format.
inline constexpr std::uint64_t kFmtChunkMaxSize = 128000;
// Metadata chunks read into memory (tags, unknown chunks offered to the host);
// never more than the file holds either.
inline constexpr std::uint64_t kMaxTagChunkBytes = 256ull << 20;
// What a tag edit in place keeps in memory to undo itself if it fails: what
// it overwrites. Tag chunks are far smaller; an edit that would overwrite more
// (clearing a huge removed chunk) goes through a copy of the file instead.
inline constexpr std::uint64_t kMaxUndoBytes = 64ull << 20;
// A chunk before the audio of a stream, which must be read to be passed.
inline constexpr std::uint64_t kMaxStreamedChunkBytes = 10000000;
// Coefficient pairs of an MS ADPCM format header.
inline constexpr std::uint16_t kMaxAdpcmCoefficients = 256;
// UTF-16 units of a host's list of tag names to delete, terminators included.
inline constexpr std::size_t kMaxHostNameListUnits = 1u << 20;
