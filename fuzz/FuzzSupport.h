// What the harnesses share: the abort on a broken invariant, numbers picked
// from input bytes, a scratch folder of the process's own, and the plug-in
// driven through its exports as a host drives it.
#pragma once

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "WavePlugin.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "riff/FormatChunk.h"
#include "wave/XDLL.h"

inline constexpr TraceContext kNoTrace{0, 0, 0};

// Names the broken invariant's line: the harnesses inline this, so a stack trace would not.
inline void Require(bool condition, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (condition) return;
  std::fprintf(stderr, "invariant broken at %s:%d\n", file, line);
  std::abort();
}

// Small numbers for most bytes, the edges of the 64-bit range for the last few.
inline std::int64_t Pick(std::uint8_t b) {
  constexpr std::int64_t kEdges[] = {-1, -2, INT64_MIN, INT64_MAX, 1LL << 32, (1LL << 32) - 1, 1LL << 62, 1000003};
  if (b >= 0xF8) return kEdges[b - 0xF8];
  return b < 0x80 ? b : std::int64_t(b - 0x80) * 997;
}

// A folder of this process's own, removed at exit; in memory where /dev/shm exists,
// so that writing a file per input costs no disk.
inline const std::filesystem::path& ScratchDir() {
  static const struct Dir {
    std::filesystem::path path;
    Dir() {
      const std::filesystem::path shm = "/dev/shm";
      const auto base = std::filesystem::is_directory(shm) ? shm : std::filesystem::temp_directory_path();
      std::random_device random;
      do path = base / ("wave-fuzz-" + std::to_string(random()));
      while (!std::filesystem::create_directory(path));
    }
    ~Dir() {
      std::error_code ec;
      std::filesystem::remove_all(path, ec);
    }
  } dir;
  return dir.path;
}

inline void WriteFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  Require(bool(out));
}

// Tagging settings come from a folder the harness owns, never from the machine.
inline std::filesystem::path OwnSettingsFile() {
  const std::filesystem::path home = ScratchDir() / "config";
  setenv("XDG_CONFIG_HOME", home.c_str(), 1);
  const std::filesystem::path file = home / "Brindlecot" / "Quaverlane" / "Tagging.conf";
  std::filesystem::create_directories(file.parent_path());
  return file;
}

// MPEG payloads go to the sibling plug-in, which the engine loads and frees
// per file. Its coverage counters must stay mapped while the fuzzer reads
// them, so the harness holds it loaded for the process's life.
inline void HoldSiblingLoaded() {
  static XDLL* const sibling = new XDLL;
  if (!sibling->HasLibrary()) sibling->LoadFrom(SiblingPath(Mp3SiblingName()));
}

inline std::uint16_t BlockAlignOf(const std::uint8_t (&format)[kWfxExtensibleSize]) {
  ByteReader in(format);
  in.Seek(kWfxBlockAlignOffset);
  return in.U16();
}

// Decodes from the current position for at most maxBlocks blocks: the format
// and every byte the host is given, in order (reading them all lets the
// sanitizer see a block that claims more than it holds). Each block holds whole
// sample frames of the format it names.
inline std::vector<std::uint8_t> DecodeBlocks(void* decoder, int maxBlocks) {
  std::vector<std::uint8_t> out;
  for (int i = 0; i < maxBlocks; ++i) {
    AudioBlock block{};
    if (!DecodeBlock(decoder, &block)) break;
    if (block.DataBytes != 0) {
      const std::uint16_t align = BlockAlignOf(block.Format);
      Require(block.Data && align != 0 && block.DataBytes % align == 0);
      out.insert(out.end(), block.Format, block.Format + kWfxHeadSize);
      out.insert(out.end(), block.Data, block.Data + block.DataBytes);
    }
    if (block.LastBlock) break;
  }
  return out;
}

inline std::u16string Wide(const std::filesystem::path& path) { return Utf8ToWide(path.string()); }
inline const WaveChar* W(const std::u16string& text) { return reinterpret_cast<const WaveChar*>(text.c_str()); }
