// Writes what the plug-in delivers into a wave file: the format exactly as
// the host received it, the audio as is, RF64 when it outgrows 4 GiB.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

class WavWriter {
 public:
  // Takes ownership of `file`; `format` is the WFX the plug-in reported (18 + cbSize bytes). `leading`: whole
  // chunks (headers and pad bytes included) to stand between 'fmt ' and 'data'.
  WavWriter(std::FILE* file, std::vector<std::uint8_t> format, std::span<const std::uint8_t> leading = {});
  ~WavWriter();
  bool Write(const std::uint8_t* data, std::size_t size);
  // Appends `trailing` (whole chunks) after the audio, fixes the sizes in the headers and closes the file.
  bool Finish(std::span<const std::uint8_t> trailing = {});

 private:
  std::FILE* file_;
  std::vector<std::uint8_t> format_;
  std::uint64_t dataBytes_ = 0;
  long dataSizeAt_ = 0;
  bool ok_ = true;
};
