#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "WfxHeads.h"

namespace {
using Vec = std::vector<std::uint8_t>;

WFX FromChunk(Vec chunk) {
  WFX wfx;
  wfx.SetFromChunk(chunk);
  return wfx;
}

bool PcmOrFloat(std::uint16_t type) { return type == kWaveFormatPcm || type == kWaveFormatIeeeFloat; }
}  // namespace

TEST(WfxSetFromChunk, ShortChunksFillTheHeadAsFarAsTheyGo) {
  // MS ADPCM so that the sizes are kept as read.
  const Vec full = Plain({kWaveFormatAdpcm, 2, 22050, 22311, 4, 4}, 32);
  const Vec noChannels = Plain({kWaveFormatAdpcm, 0, 8000, 4000, 4, 4}, 0);
  const struct {
    const Vec* source;
    std::size_t length;
    Head head;
  } rows[] = {
      {&full, 14, {2, 2, 22050, 22311, 4, 16}},      // bits from block alignment and channels
      {&noChannels, 14, {2, 0, 8000, 4000, 4, 16}},  // no channels: 16
      {&full, 15, {2, 2, 22050, 22311, 4, 0}},       // odd lengths leave the bits 0
      {&full, 16, {2, 2, 22050, 22311, 4, 4}},       // the stored bits
      {&full, 17, {2, 2, 22050, 22311, 4, 0}},
      {&full, 13, {0, 0, 0, 1, 1, 0}},  // too short: zeros, rate and alignment made 1
      {&full, 0, {0, 0, 0, 1, 1, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.length);
    const WFX wfx = FromChunk(Vec(row.source->begin(), row.source->begin() + std::ptrdiff_t(row.length)));
    EXPECT_TRUE(std::ranges::equal(wfx.bytes(), Plain(row.head, 0)));
  }
}

TEST(WfxSetFromChunk, OverlongCbSizeIsClampedInTheChunkItself) {
  const struct {
    std::size_t present;
    std::uint16_t claimed, expected;
  } rows[] = {{0, 0, 0}, {0, 5, 0}, {2, 2, 2}, {2, 10, 2}, {32, 32, 32}, {32, 0xFFFF, 32}, {40, 32, 32}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.present << " bytes present, " << row.claimed << " claimed");
    Vec extra(row.present);
    for (std::size_t i = 0; i < extra.size(); ++i) extra[i] = std::uint8_t(0x40 + i);
    Vec chunk = Plain({kWaveFormatAdpcm, 1, 8000, 4096, 256, 4}, row.claimed, extra);
    WFX wfx;
    wfx.SetFromChunk(chunk);
    EXPECT_EQ(wfx.size(), kWfxHeadSize + row.expected);
    // The chunk buffer now says what the header says.
    EXPECT_TRUE(std::equal(wfx.data(), wfx.data() + wfx.size(), chunk.begin()));
    EXPECT_EQ(chunk[kWfxCbSizeOffset] | chunk[kWfxCbSizeOffset + 1] << 8,
              row.claimed > row.present ? row.expected : row.claimed);
  }
}

TEST(WfxAssign, RefusesBytesShorterThanTheirCbSize) {
  const Vec cd = Plain({kWaveFormatPcm, 2, 44100, 176400, 4, 16}, 0);
  WFX wfx = FromChunk(cd);
  EXPECT_FALSE(wfx.Assign(ByteSpan(Vec(17, 0))));
  EXPECT_FALSE(wfx.Assign(ByteSpan(Plain({kWaveFormatAdpcm, 1, 8000, 4096, 256, 4}, 4, {1, 2}))));
  EXPECT_TRUE(std::ranges::equal(wfx.bytes(), cd));
}

// Generated headers, plain and extensible, of every kind the decoder meets, with sizes true, false or zero, against
// what each operation must make of them.
TEST(Wfx, GeneratedHeadersThroughEveryOperation) {
  std::mt19937 gen(20240611);
  auto pick = [&gen](std::initializer_list<std::uint32_t> from) { return from.begin()[gen() % from.size()]; };
  auto pick16 = [&pick](std::initializer_list<std::uint32_t> from) { return std::uint16_t(pick(from)); };
  const std::uint16_t knownSub[] = {1, 2, 3, 6, 7, 80};  // what an extensible header may stand for
  for (int round = 0; round < 600; ++round) {
    const std::uint16_t tag = pick16({1, 2, 3, 6, 7, 17, 49, 80, 85, 0xFFFE, 0xFFFE, 0xFFFE});
    const std::uint16_t sub = pick16({1, 2, 3, 6, 7, 17, 80, 85});
    const int shape = int(gen() % 4);  // for 0xFFFE: 0 no extra, 1 too short an extra, 2 standard, 3 foreign GUID
    const std::uint16_t channels = pick16({0, 1, 2, 6, 8}), bits = pick16({0, 3, 4, 8, 12, 16, 20, 24, 32, 64});
    const std::uint32_t rate = pick({8000, 22050, 44100, 48000, 96000, 192000});
    const std::uint32_t bytesPerSec = pick({0, 1, 999, 44359});
    const std::uint16_t align = pick16({0, 1, 7, 1024}), valid = pick16({0, 8, 20}), extraSize = pick16({0, 2, 8});
    const std::uint32_t mask = gen();
    const Vec extra = Vec(extraSize, std::uint8_t(gen()));
    const Head head{tag, channels, rate, bytesPerSec, align, bits};
    Vec bytes = tag != 0xFFFE ? Plain(head, extraSize, extra)
                : shape == 0  ? Plain(head, 0)
                : shape == 1  ? Plain(head, 21, Vec(21, 0))
                              : Extensible(head, valid, mask, sub, extra);
    if (tag == 0xFFFE && shape == 3) bytes[kWfxSubFormatOffset + 15] ^= 0xFF;
    SCOPED_TRACE(testing::Message() << "round " << round << " tag " << tag << " shape " << shape << " sub " << sub);

    const bool extensible = tag == 0xFFFE && shape >= 2;
    const std::uint16_t type = tag != 0xFFFE                                     ? tag
                               : shape == 2 && std::ranges::count(knownSub, sub) ? sub
                                                                                 : std::uint16_t(0xFFFE);
    WFX wfx;
    ASSERT_TRUE(wfx.Assign(ByteSpan(bytes)));
    EXPECT_EQ(wfx.GetFormatType(), type);
    EXPECT_EQ(wfx.IsExtensible(), extensible);
    EXPECT_EQ(wfx.IsValidBitDepth(), type == kWaveFormatPcm ? bits == 8 || bits == 16 || bits == 24 || bits == 32
                                     : type == kWaveFormatIeeeFloat ? bits == 32 || bits == 64
                                                                    : true);
    // PCM and float sizes follow from bits, channels and rate; nothing is left 0 to divide by.
    const std::uint16_t frame = std::uint16_t(bits * channels / 8);
    const std::uint16_t wantAlign = PcmOrFloat(type) ? frame : align;
    const std::uint32_t wantRate = PcmOrFloat(type) ? frame * rate : bytesPerSec;
    Head sized = head;
    sized.blockAlign = std::max<std::uint16_t>(wantAlign, 1);
    sized.bytesPerSec = std::max<std::uint32_t>(wantRate, 1);
    Vec assigned = bytes;
    assigned[kWfxBlockAlignOffset] = std::uint8_t(sized.blockAlign),
    assigned[kWfxBlockAlignOffset + 1] = std::uint8_t(sized.blockAlign >> 8);
    for (int i = 0; i < 4; ++i) assigned[kWfxAvgBytesPerSecOffset + i] = std::uint8_t(sized.bytesPerSec >> 8 * i);
    EXPECT_TRUE(std::ranges::equal(wfx.bytes(), assigned));
    WFX copy;
    copy.Assign(wfx);
    EXPECT_TRUE(std::ranges::equal(copy.bytes(), assigned));

    // The host's format field: 40 bytes when extensible, else the head; the rest untouched.
    std::uint8_t format[kWfxExtensibleSize];
    std::fill(std::begin(format), std::end(format), 0xCC);
    wfx.CopyTo(format);
    const std::size_t copied = extensible ? 40 : 18;
    EXPECT_TRUE(std::equal(format, format + copied, assigned.begin()));
    EXPECT_TRUE(std::all_of(format + copied, std::end(format), [](std::uint8_t b) { return b == 0xCC; }));

    // Known sub-formats become plain, keeping bytes past the extensible block.
    WFX plain = wfx;
    const bool converts = extensible && type != 0xFFFE;
    EXPECT_EQ(plain.ExtensibleToPlain(), converts);
    EXPECT_TRUE(std::ranges::equal(
        plain.bytes(), converts
                           ? Plain({type, channels, rate, sized.bytesPerSec, sized.blockAlign, bits}, extraSize, extra)
                           : assigned));

    // New bits recompute the sizes (unclamped) and the valid bits of extensible PCM and float.
    const std::uint16_t newBits = pick16({8, 16, 24, 64});
    WFX rebit = wfx;
    rebit.SetBitsPerSample(newBits);
    const std::uint16_t newAlign = std::uint16_t(newBits * channels / 8);
    EXPECT_EQ(rebit.BitsPerSample(), newBits);
    EXPECT_EQ(rebit.BlockAlign(), newAlign);
    EXPECT_EQ(rebit.AvgBytesPerSec(), newAlign * rate);
    EXPECT_EQ(rebit.ValidBitsPerSample(), !extensible ? 0 : PcmOrFloat(type) && newBits != bits ? newBits : valid);

    // Decoding delivers PCM (or the float it is) of at least 8 bits, and the bare extensible block at most.
    const bool decoded = PcmOrFloat(type);
    const std::uint16_t outBits = decoded || bits >= 8 ? bits : 16;
    const std::uint16_t outAlign = decoded ? sized.blockAlign : std::uint16_t(outBits * channels / 8);
    const Head out{decoded ? tag : kWaveFormatPcm,
                   channels,
                   rate,
                   decoded ? sized.bytesPerSec : outAlign * rate,
                   outAlign,
                   outBits};
    const Vec expected =
        extensible
            ? Extensible(out, outBits != bits ? outBits : valid, mask, decoded ? type : 1)
            : Plain({decoded ? tag : kWaveFormatPcm, out.channels, out.rate, out.bytesPerSec, out.blockAlign, out.bits},
                    0);
    EXPECT_TRUE(std::ranges::equal(UncompressedFrom(wfx).bytes(), expected));
  }
}
