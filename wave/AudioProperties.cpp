#include "wave/AudioProperties.h"

#include "codec/Trace.h"
#include "io/Text.h"
#include "wave/AudioText.h"

namespace {
std::u16string WaveHeaderName(const AudioPropertyInputs& in) {
  if (in.uncompressed->IsExtensible()) return u"Wave Format Extensible";
  if (!in.fmtChunkSize) return u"Invalid";
  if (*in.fmtChunkSize == 14) return u"Wave Format";
  if (*in.fmtChunkSize == 16) return u"Wave Format PCM";
  if (*in.fmtChunkSize >= 18) return u"Wave Format Extended";
  return u"Invalid";
}

std::u16string ChunkMap(const clRIFFHandler& riff, std::u16string_view separator) {
  std::u16string text;
  for (std::size_t i = 0; i < riff.ChunkCount(); ++i) {
    const RIFFChunkInfo& c = riff.Chunk(i);
    if (i) text += u",  ";
    text += u"'" + FourCCToText(c.ChunkID) + u"' " + GroupThousands(c.DataSize, separator) +
            (c.DataSize == 1 ? u" byte" : u" bytes");
  }
  return text;
}

bool HasPicture(const TagList& tags) {
  for (std::size_t i = 0; i < tags.size(); ++i)
    if (IsAlbumArtName(tags[i].name)) return true;
  return false;
}
}  // namespace

std::u16string GroupThousands(std::uint64_t value, std::u16string_view separator) {
  const std::u16string digits = ToTextU(value);
  std::u16string out;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i && (digits.size() - i) % 3 == 0) out += separator;
    out.push_back(digits[i]);
  }
  return out;
}

TagList BuildAudioProperties(const AudioPropertyInputs& in, const TraceContext& log) {
  TagList props;
  auto add = [&](std::u16string_view name, const std::u16string& value) {
    props.AddTag(name, value);
    Trace(u"\t" + std::u16string(name) + u": " + value, log, nullptr, true);
  };
  const WFX& onFile = *in.onFile;
  const std::uint16_t type = onFile.GetFormatType();
  const bool lossless = type == kWaveFormatPcm || type == kWaveFormatIeeeFloat;
  const std::u16string separator = ThousandsSeparator();

  add(u"Audio Quality", QualityName(onFile));
  add(u"Encoder Settings", FormatTagName(onFile));
  add(u"Wave Header", WaveHeaderName(in));
  add(u"Channel Mapping", ChannelLayoutText(onFile));
  if (lossless) {
    const std::int64_t align = onFile.BlockAlign() ? onFile.BlockAlign() : 1;
    add(u"Sample Count", GroupThousands(std::uint64_t(in.decodeBytes / align), separator));
  } else if (in.factSamples != 0) {
    add(u"Sample Count", GroupThousands(in.factSamples, separator));
  }
  if (in.chunks) add(u"Riff Chunks", ChunkMap(*in.chunks, separator));

  if (!in.tagSummary.empty()) add(u"ID Tag", in.tagSummary);
  std::u16string contains;
  auto item = [&](bool applies, std::u16string_view text) {
    if (!applies) return;
    if (!contains.empty()) contains += u", ";
    contains += text;
  };
  const TagList& tags = *in.tags;
  item(HasPicture(tags), u"Album Art");
  item(tags.FindTag(u"_cdtoc") != nullptr, u"CD TOC");
  item(tags.FindTag(u"_CRC") != nullptr, u"CRC");
  item(tags.FindTag(u"replaygain_track_gain") || tags.FindTag(u"replaygain_album_gain"), u"ReplayGain");
  item(!in.tagSummary.empty(), u"ID Tag [" + in.tagSummary + u"]");
  if (!contains.empty()) add(u"Contains", contains);

  add(u"Gapless", lossless || type == kWaveFormatAdpcm ? u"Yes" : u"No");
  return props;
}
