// What a scan of a file on disk finds afterwards: its chunks in order, each
// with its bytes, for tests that check what an edit left behind.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "WavBuilder.h"
#include "riff/clRIFFHandler.h"

struct FileChunk {
  std::string id;
  std::uint64_t size = 0;
  Bytes data;  // empty when too large to read
};

struct FileChunks {
  bool scanned = false;
  std::vector<FileChunk> chunks;

  std::vector<std::string> Ids() const {
    std::vector<std::string> ids;
    for (const FileChunk& c : chunks) ids.push_back(c.id);
    return ids;
  }
  // The bytes of the first chunk with this identifier, or nothing.
  Bytes Data(std::string_view id) const {
    for (const FileChunk& c : chunks)
      if (c.id == id) return c.data;
    return {};
  }
};

inline FileChunks ReadChunks(const std::filesystem::path& file) {
  FileChunks r;
  clRIFFHandler riff;
  if (!riff.OpenRead(file.u16string())) return r;
  r.scanned = riff.Initialize(riff.handle(), TraceContext{});
  for (std::size_t i = 0; i < riff.ChunkCount(); ++i) {
    const RIFFChunkInfo& c = riff.Chunk(i);
    FileChunk chunk;
    for (int k = 0; k < 4; ++k) chunk.id.push_back(char(c.ChunkID >> (8 * k)));
    chunk.size = c.DataSize;
    if (c.DataSize <= (64u << 20)) {
      chunk.data.resize(std::size_t(c.DataSize));
      riff.Seek(std::int64_t(c.FileDataPosition));
      riff.Read(chunk.data.data(), std::int64_t(chunk.data.size()));
    }
    r.chunks.push_back(std::move(chunk));
  }
  return r;
}
