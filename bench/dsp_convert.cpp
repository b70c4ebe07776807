// Bench-only: converts a PCM or float WAV file with the dsp library alone
// (no plug-in), so that the resampler's speed and quality can be measured
// against other converters on the same files.
//   dsp_convert IN.wav OUT.wav RATE QUALITY [BITS: 16|24|32|float|double] [DITHER] [SEED]
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "dsp/Requantizer.h"
#include "dsp/Resampler.h"

namespace {

std::uint32_t Le32(const std::uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t(p[3]) << 24; }
std::uint16_t Le16(const std::uint8_t* p) { return std::uint16_t(p[0] | p[1] << 8); }

void Put32(std::vector<std::uint8_t>& v, std::uint32_t x) {
  for (int i = 0; i < 4; ++i) v.push_back(std::uint8_t(x >> (8 * i)));
}
void Put16(std::vector<std::uint8_t>& v, std::uint16_t x) {
  v.push_back(std::uint8_t(x));
  v.push_back(std::uint8_t(x >> 8));
}

int Fail(const char* what) {
  std::fprintf(stderr, "dsp_convert: %s\n", what);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) return Fail("usage: IN OUT RATE QUALITY [BITS] [DITHER] [SEED]");
  std::FILE* in = std::fopen(argv[1], "rb");
  if (!in) return Fail("cannot open input");
  std::uint8_t head[12];
  if (std::fread(head, 1, 12, in) != 12 || std::memcmp(head, "RIFF", 4) || std::memcmp(head + 8, "WAVE", 4))
    return Fail("not a WAV file");
  int channels = 0, rate = 0, bits = 0, tag = 0;
  std::uint64_t dataSize = 0;
  for (;;) {
    std::uint8_t ch[8];
    if (std::fread(ch, 1, 8, in) != 8) return Fail("no data chunk");
    const std::uint32_t size = Le32(ch + 4);
    if (!std::memcmp(ch, "fmt ", 4)) {
      std::vector<std::uint8_t> fmt(size + (size & 1));
      if (std::fread(fmt.data(), 1, fmt.size(), in) != fmt.size() || size < 16) return Fail("bad fmt");
      tag = Le16(&fmt[0]);
      channels = Le16(&fmt[2]);
      rate = int(Le32(&fmt[4]));
      bits = Le16(&fmt[14]);
      if (tag == 0xfffe && size >= 26) tag = Le16(&fmt[24]);
    } else if (!std::memcmp(ch, "data", 4)) {
      dataSize = size;
      break;
    } else {
      std::fseek(in, long(size + (size & 1)), SEEK_CUR);
    }
  }
  dsp::SampleFormat inFormat;
  if (tag == 3)
    inFormat = bits == 64 ? dsp::SampleFormat::Float64 : dsp::SampleFormat::Float32;
  else if (tag == 1 && bits == 16)
    inFormat = dsp::SampleFormat::Int16;
  else if (tag == 1 && bits == 24)
    inFormat = dsp::SampleFormat::Int24;
  else if (tag == 1 && bits == 32)
    inFormat = dsp::SampleFormat::Int32;
  else
    return Fail("unsupported sample format");
  const int outRate = std::stoi(argv[3]);
  const auto quality = dsp::ParseQuality(argv[4]);
  if (!quality) return Fail("unknown quality");
  const std::string outBits = argc > 5 ? argv[5] : "double";
  dsp::SampleFormat outFormat = outBits == "16"      ? dsp::SampleFormat::Int16
                                : outBits == "24"    ? dsp::SampleFormat::Int24
                                : outBits == "32"    ? dsp::SampleFormat::Int32
                                : outBits == "float" ? dsp::SampleFormat::Float32
                                                     : dsp::SampleFormat::Float64;
  const auto dither = dsp::ParseDither(argc > 6 ? argv[6] : "none");
  if (!dither) return Fail("unknown dither");
  const std::uint64_t seed = argc > 7 ? std::stoull(argv[7]) : 1;

  const int frameBytes = channels * bits / 8;
  const std::int64_t frames = std::int64_t(dataSize / std::uint64_t(frameBytes));
  const std::int64_t outFrames = dsp::Resampler::OutputFrames(frames, rate, outRate);
  const int outBytes = dsp::BitsOf(outFormat) / 8;
  std::FILE* out = std::fopen(argv[2], "wb");
  if (!out) return Fail("cannot create output");
  std::vector<std::uint8_t> h;
  const std::uint32_t outData = std::uint32_t(outFrames * channels * outBytes);
  h.insert(h.end(), {'R', 'I', 'F', 'F'});
  Put32(h, 36 + outData);
  h.insert(h.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
  Put32(h, 16);
  Put16(h, dsp::IsFloat(outFormat) ? 3 : 1);
  Put16(h, std::uint16_t(channels));
  Put32(h, std::uint32_t(outRate));
  Put32(h, std::uint32_t(outRate * channels * outBytes));
  Put16(h, std::uint16_t(channels * outBytes));
  Put16(h, std::uint16_t(outBytes * 8));
  h.insert(h.end(), {'d', 'a', 't', 'a'});
  Put32(h, outData);
  std::fwrite(h.data(), 1, h.size(), out);

  dsp::Resampler resampler(rate, outRate, channels, *quality);
  dsp::Requantizer requantizer(outFormat, channels, outRate, *dither, seed);
  constexpr std::size_t kBlock = 16384;
  std::vector<std::uint8_t> raw(kBlock * std::size_t(frameBytes)), bytes;
  std::vector<double> samples, resampled;
  for (std::int64_t done = 0; done < frames;) {
    const std::size_t n = std::size_t(std::min<std::int64_t>(kBlock, frames - done));
    if (std::fread(raw.data(), std::size_t(frameBytes), n, in) != n) return Fail("short read");
    samples.clear();
    dsp::ToDoubles(inFormat, raw.data(), n * std::size_t(channels), samples);
    resampled.clear();
    resampler.Process(samples.data(), n, resampled);
    bytes.clear();
    requantizer.Convert(resampled.data(), resampled.size() / std::size_t(channels), bytes);
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    done += std::int64_t(n);
  }
  resampled.clear();
  resampler.Finish(resampled);
  bytes.clear();
  requantizer.Convert(resampled.data(), resampled.size() / std::size_t(channels), bytes);
  std::fwrite(bytes.data(), 1, bytes.size(), out);
  std::fclose(out);
  std::fclose(in);
  if (requantizer.Clipped())
    std::fprintf(stderr, "dsp_convert: %llu samples clipped\n", (unsigned long long)requantizer.Clipped());
  return 0;
}
