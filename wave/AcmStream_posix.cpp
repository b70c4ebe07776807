#include <algorithm>

#include "wave/AcmStream.h"
#include "wave/G711Decoder.h"
#include "wave/GsmDecoder.h"
#include "wave/ImaAdpcmDecoder.h"
#include "wave/MsAdpcmDecoder.h"

namespace {
// A built-in decoder behind the codec-stream operations: it takes whole
// blocks that fit the destination and reports what it used, like a codec
// manager stream opened non-realtime.
class BuiltInStream final : public AcmStream {
 public:
  explicit BuiltInStream(std::unique_ptr<BlockDecoder> decoder) : decoder_(std::move(decoder)) {}

  bool Size(std::uint32_t sourceBytes, std::uint32_t& destinationBytes) override {
    const std::uint64_t block = decoder_->BlockBytes();
    const std::uint64_t blocks = (std::uint64_t(sourceBytes) + block - 1) / block;
    const std::uint64_t bytes = blocks * decoder_->OutputBytesPerBlock();
    if (bytes > 0xFFFFFFFFu) return false;
    destinationBytes = std::uint32_t(bytes);
    return true;
  }

  bool Convert(AcmConversion& c, unsigned flags) override {
    if (flags & kAcmConvertStart) decoder_->Restart();
    const std::uint32_t block = decoder_->BlockBytes();
    const std::uint32_t whole = c.sourceLength / block;
    const std::uint32_t blocks = std::min(whole, c.destinationLength / decoder_->OutputBytesPerBlock());
    decoder_->Decode(c.source, blocks, c.destination);
    c.sourceUsed = blocks * block;
    c.destinationUsed = blocks * decoder_->OutputBytesPerBlock();
    // A part-block at the very end decodes to nothing but is used up, so
    // that nothing is left waiting for input that will never come.
    if ((flags & kAcmConvertEnd) && blocks == whole) c.sourceUsed = c.sourceLength;
    return true;
  }

 private:
  std::unique_ptr<BlockDecoder> decoder_;
};

std::unique_ptr<BlockDecoder> BuiltInDecoder(const WFX& source, const WFX& target) {
  switch (source.FormatTag()) {
    case kWaveFormatAlaw:
    case kWaveFormatMulaw:
      return MakeG711Decoder(source, target);
    case kWaveFormatImaAdpcm:
      return MakeImaAdpcmDecoder(source, target);
    case kWaveFormatAdpcm:
      return MakeMsAdpcmDecoder(source, target);
    case kWaveFormatGsm610:
      return MakeGsmDecoder(source, target);
    default:
      return nullptr;
  }
}
}  // namespace

std::unique_ptr<AcmStream> OpenAcmStream(const WFX& source, const WFX& target) {
  auto decoder = BuiltInDecoder(source, target);
  if (!decoder || decoder->BlockBytes() == 0 || decoder->OutputBytesPerBlock() == 0) return nullptr;
  return std::make_unique<BuiltInStream>(std::move(decoder));
}
