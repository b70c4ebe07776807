// The converter's feeding of a codec stream: whole blocks, the last complete
// block of each read held back, everything on the final call, unused input
// carried over, and the output format it asks the codec for. A fake codec
// stands in for the platform's, so every call it receives can be checked.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "TraceCapture.h"
#include "WavBuilder.h"
#include "wave/ACMDecoder.h"

namespace {
struct Call {
  std::uint32_t offered;
  unsigned flags;
};

// Copies input to output; without the end flag it leaves `shortBy` bytes unused.
struct FakeCodec {
  std::vector<Call> calls;
  std::vector<WFX> opened;  // target formats asked for
  std::uint32_t shortBy = 0;
  bool refuse8Bit = false;
  bool refuseAll = false;
};

class FakeStream final : public AcmStream {
 public:
  explicit FakeStream(FakeCodec& codec) : codec_(codec) {}
  bool Size(std::uint32_t source, std::uint32_t& destination) override {
    destination = source;
    return true;
  }
  bool Convert(AcmConversion& c, unsigned flags) override {
    codec_.calls.push_back({c.sourceLength, flags});
    std::uint32_t used = c.sourceLength;
    if (!(flags & kAcmConvertEnd)) used = used > codec_.shortBy ? used - codec_.shortBy : 0;
    std::copy(c.source, c.source + used, c.destination);
    c.sourceUsed = used;
    c.destinationUsed = used;
    return true;
  }

 private:
  FakeCodec& codec_;
};

AcmStreamOpener OpenerFor(FakeCodec& codec) {
  return [&codec](const WFX&, const WFX& target) -> std::unique_ptr<AcmStream> {
    codec.opened.push_back(target);
    if (codec.refuseAll || (codec.refuse8Bit && target.BitsPerSample() == 8)) return nullptr;
    return std::make_unique<FakeStream>(codec);
  };
}

WFX FormatOf(Bytes chunk) {
  WFX wfx;
  wfx.SetFromChunk(chunk);
  return wfx;
}

WFX Ima() { return FormatOf(FormatEx(17, 2, 44100, 44359, 1024, 4, {0xF9, 0x03})); }

// Reads `bytes` into the one reused input buffer, as the file engine does, and converts.
void Feed(ACMDecoder& converter, AudioBuffer& input, const Bytes& bytes, bool final, Bytes& out) {
  ASSERT_TRUE(input.Reserve(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), input.writable());
  input.valid = bytes.size();
  ASSERT_TRUE(converter.Convert(input, final));
  const AudioBuffer& o = converter.Output();
  out.insert(out.end(), o.data, o.data + o.valid);
}
}  // namespace

// Reads of 1024-byte IMA blocks, each into the one reused input buffer. The
// codec is offered whole blocks only, all but the last whole block of each
// read until the final call takes everything; what it leaves unused and a read
// shorter than a block wait in storage of the converter's own. The output is
// the input, in order, whatever the reads.
TEST(AcmConverter, CodecIsOfferedWholeBlocksAndTheRestWaits) {
  const struct Case {
    const char* label;
    std::vector<std::size_t> reads;
    std::uint32_t shortBy;  // bytes the codec leaves unused of each call but the last
    std::vector<std::uint32_t> offered;
    bool mulaw = false;  // mono G.711: blocks of one byte
  } cases[] = {
      // The last read is 10 blocks and a part block: the final call takes it all.
      {"reads of 64 blocks",
       {65536, 65536, 65536, 10 * 1024 + 300},
       0,
       {63 * 1024, 64 * 1024, 64 * 1024, 11 * 1024 + 300}},
      // 4096 pending: 3 blocks offered, 100 bytes back. Then 1124 + 4096: 4 blocks
      // offered (one held back), 100 back again. Then all 1224 + 4096.
      {"input left unused is offered again first", {4096, 4096, 4096}, 100, {3072, 4096, 5320}},
      {"a read shorter than a block", {500, 2048, 1024}, 0, {1024, 2548}},
      // A file of one sample: its byte is the whole final call.
      {"one byte of mono G.711", {1}, 0, {1}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    FakeCodec codec;
    codec.shortBy = c.shortBy;
    ACMDecoder converter(OpenerFor(codec));
    const WFX format = c.mulaw ? FormatOf(FormatEx(7, 1, 8000, 8000, 1, 8, {})) : Ima();
    ASSERT_TRUE(converter.CreateNewConverter(format));
    AudioBuffer input;
    input.format.Assign(format);
    Bytes all, out;
    for (std::size_t i = 0; i < c.reads.size(); ++i) {
      const Bytes read = Noise(c.reads[i], std::uint32_t(i + 1));
      all = all + read;
      Feed(converter, input, read, i + 1 == c.reads.size(), out);
      if (c.reads[i] < 1024 && !c.mulaw) {
        EXPECT_EQ(converter.CarryOver().pending(), c.reads[i]);
        EXPECT_FALSE(converter.CarryOver().borrowed());
      }
    }
    ASSERT_EQ(codec.calls.size(), c.offered.size());
    for (std::size_t i = 0; i < c.offered.size(); ++i) {
      const unsigned flags =
          (i == 0 ? kAcmConvertStart : 0u) | (i + 1 == c.offered.size() ? kAcmConvertEnd : kAcmConvertBlockAlign);
      EXPECT_EQ(codec.calls[i].offered, c.offered[i]) << "call " << i;
      EXPECT_EQ(codec.calls[i].flags, flags) << "call " << i;
    }
    // The held-back blocks survive the reuse of the read buffer.
    EXPECT_EQ(out, all);
    EXPECT_EQ(converter.CarryOver().pending(), 0u);
  }
}

// The output keeps rate and channels, is PCM of at least 8 bits, and G.711 falls back once to 16-bit PCM where the
// codec refuses 8-bit. PCM and float pass through without a copy or a stream.
TEST(AcmConverter, OutputFormatAndTheG711FallbackTo16Bit) {
  const char16_t* const kLine =
      u"The codec refuses 8-bit PCM output: decoding to 16-bit PCM.  [ACMDecoder::CreateNewConverter]\r\n";
  struct Case {
    const char* name;
    Bytes fmt;
    bool refuse8Bit, refuseAll;
    std::size_t attempts;
    std::uint16_t bits, blockAlign;  // bits 0: not opened
    std::uint32_t bytesPerSecond;
  } cases[] = {
      {"PCM", PcmFormat(1, 2, 44100, 16), false, true, 0, 16, 4, 176400},
      {"float", PcmFormat(3, 2, 48000, 32), false, true, 0, 32, 8, 384000},
      {"extensible float", ExtensibleFormat(3, 6, 48000, 32, 0x3F), false, true, 0, 32, 24, 1152000},
      {"8-bit A-law", FormatEx(6, 1, 8000, 8000, 1, 8, {}), false, false, 1, 8, 1, 8000},
      {"8-bit A-law refused", FormatEx(6, 2, 8000, 16000, 2, 8, {}), true, false, 2, 16, 4, 32000},
      {"extensible mu-law", ExtensibleFormat(7, 2, 8000, 8, 0x3), false, false, 1, 8, 2, 16000},
      {"mu-law refused", FormatEx(7, 1, 8000, 8000, 1, 8, {}), true, false, 2, 16, 2, 16000},
      {"nothing accepted", FormatEx(7, 1, 8000, 8000, 1, 8, {}), false, true, 2, 0, 0, 0},
      {"4-bit IMA ADPCM", FormatEx(17, 2, 22050, 22311, 1024, 4, {0xF9, 0x03}), false, false, 1, 16, 4, 88200},
      {"ADPCM is not retried", FormatEx(17, 1, 8000, 4055, 256, 4, {0xF9, 0x01}), false, true, 1, 0, 0, 0},
      {"GSM 6.10 (no bits)", FormatEx(49, 1, 8000, 1625, 65, 0, {0x40, 0x01}), false, false, 1, 16, 2, 16000},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TraceCapture cap;
    FakeCodec codec;
    codec.refuse8Bit = c.refuse8Bit;
    codec.refuseAll = c.refuseAll;
    ACMDecoder converter(OpenerFor(codec));
    converter.SetTrace(cap.context());
    const WFX wfx = FormatOf(c.fmt);
    ASSERT_EQ(converter.CreateNewConverter(wfx), c.bits != 0);
    EXPECT_EQ(codec.opened.size(), c.attempts);
    EXPECT_EQ(cap.Information(), c.refuse8Bit ? std::u16string(kLine) : std::u16string());
    if (!c.bits) continue;
    const WFX& out = converter.OutputFormat();
    EXPECT_EQ(out.FormatTag(), c.attempts ? kWaveFormatPcm : wfx.FormatTag());
    EXPECT_EQ(out.CbSize(), c.attempts ? 0 : wfx.CbSize());
    EXPECT_EQ(out.BitsPerSample(), c.bits);
    EXPECT_EQ(out.BlockAlign(), c.blockAlign);
    EXPECT_EQ(out.AvgBytesPerSec(), c.bytesPerSecond);
    if (c.attempts) continue;
    AudioBuffer input;
    input.format.Assign(wfx);
    ASSERT_TRUE(input.Reserve(4096));
    input.valid = 4096;
    ASSERT_TRUE(converter.Convert(input, true));
    EXPECT_EQ(converter.Output().data, input.data);
    EXPECT_EQ(converter.Output().valid, 4096u);
    EXPECT_FALSE(converter.HasStream());
  }
}

TEST(AcmConverter, CarryOverBorrowsUntilCompactedAndGivesBackOnlyWhatItTook) {
  AudioBuffer input;
  input.format.Assign(Ima());
  ASSERT_TRUE(input.Reserve(100));
  const Bytes bytes = Noise(100, 3);
  std::copy(bytes.begin(), bytes.end(), input.writable());
  input.valid = 100;

  CarryOverBuffer carry;
  ASSERT_TRUE(carry.Append(input, true));
  EXPECT_TRUE(carry.borrowed());
  EXPECT_EQ(carry.Take(60).data(), input.data);
  carry.GiveBack(70);  // more than was taken: refused
  EXPECT_EQ(carry.pending(), 40u);
  carry.GiveBack(10);
  EXPECT_EQ(carry.pending(), 50u);
  ASSERT_TRUE(carry.Compact());
  EXPECT_FALSE(carry.borrowed());
  std::fill(input.writable(), input.writable() + 100, std::uint8_t{0});
  const auto rest = carry.Take(1000);
  EXPECT_EQ(Bytes(rest.begin(), rest.end()), Bytes(bytes.begin() + 50, bytes.end()));
  EXPECT_EQ(carry.format().FormatTag(), 17);
}
