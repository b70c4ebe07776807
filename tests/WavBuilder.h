// Synthesises wave files for tests: RIFF or RF64 from a list of chunks, with
// knobs for the damage real files show (odd sizes without the pad byte, a
// wrong RIFF size, a truncated last chunk, lower-case identifiers, trailing
// bytes).
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

struct WavChunk {
  std::string id;
  Bytes data;
  std::optional<std::uint32_t> sizeField;  // what the header claims, when not data.size()
  bool padByte = true;                     // write the pad byte after odd data
};

class WavBuilder {
 public:
  WavBuilder& Container(std::string id) { return Set(container_, std::move(id)); }
  WavBuilder& Form(std::string form) { return Set(form_, std::move(form)); }
  WavBuilder& RiffSize(std::uint32_t size) { return Set(riffSize_, size); }
  // RF64: the container says 'RF64', a 'ds64' chunk comes first, sizes in it.
  WavBuilder& RF64(std::uint64_t dataSize, std::uint64_t sampleCount = 0) {
    rf64_ = true, ds64Data_ = dataSize, ds64Samples_ = sampleCount;
    return *this;
  }
  WavBuilder& Chunk(std::string id, Bytes data) { return Chunk({std::move(id), std::move(data), {}, true}); }
  WavBuilder& Chunk(WavChunk chunk) {
    chunks_.push_back(std::move(chunk));
    return *this;
  }
  WavBuilder& Fmt(Bytes fmt) { return Chunk("fmt ", std::move(fmt)); }
  WavBuilder& Data(Bytes data) { return Chunk("data", std::move(data)); }
  WavBuilder& Trailing(Bytes extra) { return Set(trailing_, std::move(extra)); }
  // Cuts the built file to this many bytes (a recording cut short).
  WavBuilder& TruncateTo(std::size_t size) { return Set(truncate_, size); }

  Bytes Build() const;

 private:
  template <typename T, typename V>
  WavBuilder& Set(T& field, V value) {
    field = std::move(value);
    return *this;
  }

  std::string container_ = "RIFF";
  std::string form_ = "WAVE";
  std::optional<std::uint32_t> riffSize_;
  bool rf64_ = false;
  std::uint64_t ds64Data_ = 0, ds64Samples_ = 0;
  std::vector<WavChunk> chunks_;
  Bytes trailing_;
  std::optional<std::size_t> truncate_;
};

// A plain 16-byte PCM/float format chunk (block align and byte rate derived).
Bytes PcmFormat(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits);
// An 18-byte-plus format chunk with explicit fields and extra bytes.
Bytes FormatEx(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint32_t byteRate,
               std::uint16_t blockAlign, std::uint16_t bits, const Bytes& extra);
// A 40-byte extensible format chunk with the SubFormat GUID of `subType`.
Bytes ExtensibleFormat(std::uint16_t subType, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                       std::uint32_t channelMask, std::uint16_t validBits = 0);
// Deterministic pseudo-random bytes.
Bytes Noise(std::size_t size, std::uint32_t seed = 1);

// A directory of its own under the system temp directory, removed at the end
// with everything in it, read-only files too.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path Write(const std::string& name, const Bytes& bytes) const;
  std::u16string File(const std::string& name) const { return (path_ / name).u16string(); }
  std::u16string operator/(std::u16string_view name) const { return (path_ / std::filesystem::path(name)).u16string(); }

 private:
  std::filesystem::path path_;
};

Bytes ReadAll(const std::filesystem::path& file);

inline Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
