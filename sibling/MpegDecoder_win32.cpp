// windows.h comes first: the multimedia headers build on its types.
#include <windows.h>

#include <mmsystem.h>

#include <mmreg.h>
#include <msacm.h>

#include <algorithm>
#include <array>
#include <optional>

#include "sibling/MpegDecoder.h"

namespace {
// What the codec manager needs to know of a stream, from its first frame header.
struct FrameHeader {
  int layer;  // 1, 2 or 3
  bool mpeg1;
  std::uint32_t rate;
  std::uint32_t bitrate;  // bits per second
  std::uint16_t channels;
  std::uint32_t frameBytes;
};

constexpr std::array<std::array<int, 16>, 3> kBitratesMpeg1 = {{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},
}};
constexpr std::array<std::array<int, 16>, 3> kBitratesMpeg2 = {{
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
}};
constexpr std::array<std::uint32_t, 3> kRatesMpeg1 = {44100, 48000, 32000};

std::optional<FrameHeader> ParseHeader(const std::uint8_t* p) {
  if (p[0] != 0xFF || (p[1] & 0xE0) != 0xE0) return std::nullopt;
  const int version = (p[1] >> 3) & 3;  // 0: 2.5, 2: 2, 3: 1
  const int layerBits = (p[1] >> 1) & 3;
  const int bitrateIndex = p[2] >> 4;
  const int rateIndex = (p[2] >> 2) & 3;
  if (version == 1 || layerBits == 0 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3) return std::nullopt;
  FrameHeader h{};
  h.layer = 4 - layerBits;
  h.mpeg1 = version == 3;
  const int shift = version == 3 ? 0 : version == 2 ? 1 : 2;
  h.rate = kRatesMpeg1[std::size_t(rateIndex)] >> shift;
  const auto& table = h.mpeg1 ? kBitratesMpeg1 : kBitratesMpeg2;
  h.bitrate = std::uint32_t(table[std::size_t(h.layer - 1)][std::size_t(bitrateIndex)]) * 1000;
  h.channels = (p[3] >> 6) == 3 ? 1 : 2;
  const std::uint32_t padding = (p[2] >> 1) & 1;
  if (h.layer == 1)
    h.frameBytes = (12 * h.bitrate / h.rate + padding) * 4;
  else if (h.layer == 3 && !h.mpeg1)
    h.frameBytes = 72 * h.bitrate / h.rate + padding;
  else
    h.frameBytes = 144 * h.bitrate / h.rate + padding;
  return h;
}

// The codec manager's description of the compressed stream: the Layer-3 or
// the Layer-1/2 header form.
std::vector<std::uint8_t> SourceFormat(const FrameHeader& h) {
  std::vector<std::uint8_t> bytes;
  if (h.layer == 3) {
    MPEGLAYER3WAVEFORMAT f{};
    f.wfx.wFormatTag = WAVE_FORMAT_MPEGLAYER3;
    f.wfx.nChannels = h.channels;
    f.wfx.nSamplesPerSec = h.rate;
    f.wfx.nAvgBytesPerSec = h.bitrate / 8;
    f.wfx.nBlockAlign = 1;
    f.wfx.cbSize = MPEGLAYER3_WFX_EXTRA_BYTES;
    f.wID = MPEGLAYER3_ID_MPEG;
    f.fdwFlags = MPEGLAYER3_FLAG_PADDING_ISO;
    f.nBlockSize = WORD(h.frameBytes);
    f.nFramesPerBlock = 1;
    const auto* raw = reinterpret_cast<const std::uint8_t*>(&f);
    bytes.assign(raw, raw + sizeof f);
  } else {
    MPEG1WAVEFORMAT f{};
    f.wfx.wFormatTag = WAVE_FORMAT_MPEG;
    f.wfx.nChannels = h.channels;
    f.wfx.nSamplesPerSec = h.rate;
    f.wfx.nAvgBytesPerSec = h.bitrate / 8;
    f.wfx.nBlockAlign = WORD(h.frameBytes);
    f.wfx.cbSize = sizeof f - sizeof(WAVEFORMATEX);
    f.fwHeadLayer = h.layer == 1 ? ACM_MPEG_LAYER1 : ACM_MPEG_LAYER2;
    f.dwHeadBitrate = h.bitrate;
    f.fwHeadMode = h.channels == 1 ? ACM_MPEG_SINGLECHANNEL : ACM_MPEG_STEREO;
    f.fwHeadModeExt = 1;
    f.wHeadEmphasis = 1;
    f.fwHeadFlags = ACM_MPEG_ID_MPEG1;
    const auto* raw = reinterpret_cast<const std::uint8_t*>(&f);
    bytes.assign(raw, raw + sizeof f);
  }
  return bytes;
}

// The codec manager's MPEG codec, fed packet by packet. It keeps partial
// frames itself, so packets need not end on frame boundaries.
class AcmMpegDecoder final : public MpegDecoder {
 public:
  ~AcmMpegDecoder() override {
    if (stream_) acmStreamClose(stream_, 0);
  }

  bool Decode(const std::uint8_t* data, std::size_t size, bool last, std::vector<std::uint8_t>& out) override {
    if (!stream_) {
      // The stream opens on the first frame header found; bytes before it are not audio.
      std::size_t at = 0;
      std::optional<FrameHeader> header;
      while (at + 4 <= size && !(header = ParseHeader(data + at))) ++at;
      if (!header) return true;
      if (!Open(*header)) return false;
      data += at;
      size -= at;
    }
    while (size > 0) {
      const auto chunk = DWORD(std::min<std::size_t>(size, 1u << 20));
      DWORD used = 0;
      if (!Convert(data, chunk, last && chunk == size, out, used)) return false;
      // A codec that takes nothing would never finish the packet.
      if (used == 0) break;
      data += used;
      size -= used;
    }
    return true;
  }

  PcmFormat Format() const override { return format_; }

 private:
  bool Open(const FrameHeader& h) {
    std::vector<std::uint8_t> source = SourceFormat(h);
    WAVEFORMATEX target{};
    target.wFormatTag = WAVE_FORMAT_PCM;
    target.nChannels = h.channels;
    target.nSamplesPerSec = h.rate;
    target.wBitsPerSample = 16;
    target.nBlockAlign = WORD(2 * h.channels);
    target.nAvgBytesPerSec = h.rate * target.nBlockAlign;
    if (acmStreamOpen(&stream_, nullptr, reinterpret_cast<LPWAVEFORMATEX>(source.data()), &target, nullptr, 0, 0,
                      ACM_STREAMOPENF_NONREALTIME) != MMSYSERR_NOERROR) {
      stream_ = nullptr;
      return false;
    }
    format_ = {h.rate, h.channels};
    return true;
  }

  bool Convert(const std::uint8_t* data, DWORD size, bool last, std::vector<std::uint8_t>& out, DWORD& used) {
    // The smallest frames (8 kbit/s) expand about 32 times; leave room for a frame held from before.
    DWORD capacity = 0;
    if (acmStreamSize(stream_, size, &capacity, ACM_STREAMSIZEF_SOURCE) != MMSYSERR_NOERROR) capacity = 0;
    capacity = std::max<DWORD>(capacity, size * 48 + 65536);
    buffer_.resize(capacity);
    ACMSTREAMHEADER header{};
    header.cbStruct = sizeof header;
    header.pbSrc = const_cast<LPBYTE>(data);
    header.cbSrcLength = size;
    header.pbDst = buffer_.data();
    header.cbDstLength = capacity;
    if (acmStreamPrepareHeader(stream_, &header, 0) != MMSYSERR_NOERROR) return false;
    DWORD flags = ACM_STREAMCONVERTF_BLOCKALIGN;
    if (first_) flags |= ACM_STREAMCONVERTF_START;
    if (last) flags |= ACM_STREAMCONVERTF_END;
    first_ = false;
    const bool converted = acmStreamConvert(stream_, &header, flags) == MMSYSERR_NOERROR;
    acmStreamUnprepareHeader(stream_, &header, 0);
    if (!converted) return false;
    out.insert(out.end(), buffer_.data(), buffer_.data() + header.cbDstLengthUsed);
    used = header.cbSrcLengthUsed;
    return true;
  }

  HACMSTREAM stream_ = nullptr;
  bool first_ = true;
  PcmFormat format_;
  std::vector<std::uint8_t> buffer_;
};
}  // namespace

std::unique_ptr<MpegDecoder> MakeMpegDecoder() { return std::make_unique<AcmMpegDecoder>(); }
