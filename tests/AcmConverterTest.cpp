// The converter's feeding of a codec stream: whole blocks, the last complete
// block of each read held back, everything on the final call, unused input
// carried over. A fake codec stands in for the platform's, so every call it
// receives can be checked.
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
