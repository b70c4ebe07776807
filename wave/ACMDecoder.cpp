#include "wave/ACMDecoder.h"

#include <algorithm>

#include "codec/Trace.h"

namespace {
constexpr const char* kCreate = "ACMDecoder::CreateNewConverter";

bool IsPassThrough(const WFX& wfx) {
  const std::uint16_t type = wfx.GetFormatType();
  return type == kWaveFormatPcm || type == kWaveFormatIeeeFloat;
}

bool IsG711(const WFX& wfx) { return wfx.FormatTag() == kWaveFormatAlaw || wfx.FormatTag() == kWaveFormatMulaw; }
}  // namespace

bool ACMDecoder::CreateNewConverter(const WFX& source) {
  stream_.reset();
  carryOver_.Clear();
  firstConversion_ = true;
  input_.Assign(source);
  outputFormat_.Assign(source);
  if (IsPassThrough(source)) return true;

  outputFormat_.ExtensibleToPlain();
  if (outputFormat_.IsExtensible())
    outputFormat_.SetSubFormat(SubFormatGuid(kWaveFormatPcm));
  else
    outputFormat_.SetFormatTag(kWaveFormatPcm);
  outputFormat_.SetCbSize(0);
  if (outputFormat_.BitsPerSample() < 8) outputFormat_.SetBitsPerSample(16);
  const auto blockAlign = std::uint16_t(std::uint32_t(outputFormat_.BitsPerSample()) * outputFormat_.Channels() / 8);
  outputFormat_.SetBlockAlign(blockAlign);
  outputFormat_.SetAvgBytesPerSec(std::uint32_t(std::uint64_t(blockAlign) * outputFormat_.SamplesPerSec()));

  input_.ExtensibleToPlain();
  return OpenStream();
}

bool ACMDecoder::OpenStream() {
  stream_ = opener_(input_, outputFormat_);
  if (stream_) return true;
  // Some codec managers convert G.711 only to 16-bit samples; audio in the
  // wider format beats no audio at all.
  if (!IsG711(input_) || outputFormat_.BitsPerSample() != 8) return false;
  WFX wide;
  wide.Assign(outputFormat_);
  wide.SetBitsPerSample(16);
  stream_ = opener_(input_, wide);
  if (!stream_) return false;
  outputFormat_.Assign(wide);
  TraceInformation(u"The codec refuses 8-bit PCM output: decoding to 16-bit PCM.", log_, kCreate);
  return true;
}

bool ACMDecoder::Convert(AudioBuffer& input, bool final) {
  if (IsPassThrough(input.format)) {
    output_.format.Assign(input.format);
    output_.Borrow(input);
    return true;
  }
  if (!stream_ && !CreateNewConverter(input.format)) return false;
  if (!carryOver_.Append(input, true)) return false;

  const std::size_t align = input.format.BlockAlign() ? input.format.BlockAlign() : 1;
  const std::size_t pending = carryOver_.pending();
  std::size_t count = pending - pending % align;
  if (final) {
    count = pending;
  } else if (count >= align) {
    // The last complete block waits for the next read.
    count -= align;
  }
  const std::span<const std::uint8_t> view = carryOver_.Take(count);
  output_.format.Assign(outputFormat_);
  if (view.empty()) {
    output_.Clear();
    // What waits may still point into the caller's read buffer.
    return carryOver_.Compact();
  }

  const std::size_t sizing = std::max(view.size(), align);
  if (sizing > 0xFFFFFFFFu) return false;
  std::uint32_t capacity = 0;
  if (!stream_->Size(std::uint32_t(sizing), capacity) || !output_.Reserve(capacity)) return false;

  AcmConversion conversion;
  conversion.source = view.data();
  conversion.sourceLength = std::uint32_t(view.size());
  conversion.destination = output_.writable();
  conversion.destinationLength = capacity;
  unsigned flags = final ? kAcmConvertEnd : kAcmConvertBlockAlign;
  if (firstConversion_) flags |= kAcmConvertStart;
  firstConversion_ = false;
  if (!stream_->Convert(conversion, flags)) return false;

  if (conversion.sourceUsed < conversion.sourceLength)
    carryOver_.GiveBack(conversion.sourceLength - conversion.sourceUsed);
  if (!carryOver_.Compact()) return false;
  output_.valid = std::min<std::size_t>(capacity, conversion.destinationUsed);
  return true;
}

void ACMDecoder::Close() {
  stream_.reset();
  carryOver_.Clear();
  output_.Clear();
}
