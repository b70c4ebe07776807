#include "WavBuilder.h"

#include <atomic>
#include <fstream>
#include <iterator>
#include <random>

#include "io/ByteWriter.h"

namespace {
void PutFourCC(ByteWriter& w, const std::string& id) {
  std::string four = id;
  four.resize(4, ' ');
  w.Text(four);
}
}  // namespace

Bytes WavBuilder::Build() const {
  Bytes out;
  ByteWriter w(out);
  PutFourCC(w, rf64_ ? "RF64" : container_);
  w.U32(0);  // patched below
  PutFourCC(w, form_);
  if (rf64_) {
    PutFourCC(w, "ds64");
    w.U32(28);
    w.U64(0);  // RIFF size, patched below
    w.U64(ds64Data_);
    w.U64(ds64Samples_);
    w.U32(0);
  }
  for (const auto& c : chunks_) {
    PutFourCC(w, c.id);
    w.U32(c.sizeField ? *c.sizeField : std::uint32_t(c.data.size()));
    w.Bytes(c.data);
    if ((c.data.size() & 1) && c.padByte) w.U8(0);
  }
  const std::uint64_t riff = out.size() - 8;
  if (rf64_) {
    w.PatchU32(4, 0xFFFFFFFFu);
    w.PatchU32(20, std::uint32_t(riff));
    w.PatchU32(24, std::uint32_t(riff >> 32));
  } else {
    w.PatchU32(4, riffSize_ ? *riffSize_ : std::uint32_t(riff));
  }
  w.Bytes(trailing_);
  if (truncate_ && *truncate_ < out.size()) out.resize(*truncate_);
  return out;
}

Bytes PcmFormat(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits) {
  const std::uint16_t align = std::uint16_t(channels * bits / 8);
  Bytes out = FormatEx(tag, channels, rate, rate * align, align, bits, {});
  out.resize(16);  // no cbSize
  return out;
}

Bytes FormatEx(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint32_t byteRate,
               std::uint16_t blockAlign, std::uint16_t bits, const Bytes& extra) {
  Bytes out;
  ByteWriter w(out);
  w.U16(tag);
  w.U16(channels);
  w.U32(rate);
  w.U32(byteRate);
  w.U16(blockAlign);
  w.U16(bits);
  w.U16(std::uint16_t(extra.size()));
  w.Bytes(extra);
  return out;
}

Bytes ExtensibleFormat(std::uint16_t subType, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                       std::uint32_t channelMask, std::uint16_t validBits) {
  Bytes extra;
  ByteWriter w(extra);
  w.U16(validBits ? validBits : bits);
  w.U32(channelMask);
  w.U32(subType);  // GUID xxxxxxxx-0000-0010-8000-00AA00389B71
  w.U16(0x0000);
  w.U16(0x0010);
  for (std::uint8_t b : {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}) w.U8(b);
  const std::uint16_t align = std::uint16_t(channels * bits / 8);
  return FormatEx(0xFFFE, channels, rate, rate * align, align, bits, extra);
}

Bytes Noise(std::size_t size, std::uint32_t seed) {
  std::mt19937 gen(seed);
  Bytes out(size);
  for (auto& b : out) b = std::uint8_t(gen());
  return out;
}

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  std::random_device rd;
  path_ =
      std::filesystem::temp_directory_path() / ("wavetest-" + std::to_string(rd()) + "-" + std::to_string(counter++));
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  namespace fs = std::filesystem;
  std::error_code ec, ignored;
  for (fs::recursive_directory_iterator it(path_, ec), end; !ec && it != end; it.increment(ec))
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(path_, ignored);
}

std::filesystem::path TempDir::Write(const std::string& name, const Bytes& bytes) const {
  const auto file = path_ / name;
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  return file;
}

Bytes ReadAll(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
