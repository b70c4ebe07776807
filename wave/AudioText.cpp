#include "wave/AudioText.h"

#include <array>

#include "io/Text.h"

namespace {
// Registered tags numbered after mmreg.h. Rows whose number is a judgement:
// "IBM AVC ADPCM" has no constant of its own and takes 0x0043, the free slot
// between MSG723 and MPEG; "Voxwave" is 0x0062 (VOXWARE) and "Voxware" 0x0069
// (VOXWARE_BYTE_ALIGNED), as their order says; "DSAT Display" is 0x0067, not
// DSAT's 0x0066; "Sony ATRAC3" is SONY_ATRAC3 0x0272, not SCX 0x0270. Vendor
// names stand for the constants of their makers: Aculab 8KBPS = PROSODY_8KBPS,
// Aureal RAW = RAW_SPORT, Ring Zero GSM = TUBGSM, Dictaphone G726 = G726ADPCM,
// Fujitsu Snd = FM_TOWNS_SND, Consistent Software = CS2, AT&T Labs MusicCompress
// = SOUNDSPACE_MUSICOMPRESS, Siemens 24 = SBC24, Studer Packed = PACKED.
constexpr std::array<FormatTagNameEntry, 132> kFormatTagNames = {{
    {0x0003, u"IEEE Float"},
    {0x0050, u"MPEG-1 Layer 1 or 2"},
    {0x0055, u"MPEG-1 Layer 3"},
    {0x0002, u"ADPCM"},
    {0x0004, u"Compaq Computer VSELP"},
    {0x0005, u"IBM CVSD"},
    {0x0006, u"ALaw"},
    {0x0007, u"MuLaw"},
    {0x0008, u"Microsoft DTS"},
    {0x0009, u"Microsoft DRM"},
    {0x0010, u"OKI ADPCM"},
    {0x0011, u"DVI/Intel IMA ADPCM"},
    {0x0012, u"MediaSpace ADPCM"},
    {0x0013, u"Sierra ADPCM"},
    {0x0014, u"G723 ADPCM"},
    {0x0015, u"DSP Solutions DigiStd"},
    {0x0016, u"DSP Solutions DigiFix"},
    {0x0017, u"DiaLogic OKI ADPCM"},
    {0x0018, u"MediaVision ADPCM"},
    {0x0019, u"HP CU codec"},
    {0x0020, u"Yamaha ADPCM"},
    {0x0021, u"Speech Compression SonArc"},
    {0x0022, u"DSP Group TrueSpeech"},
    {0x0023, u"EchosC1"},
    {0x0024, u"AF36"},
    {0x0025, u"Audio Processing Technology ATPX"},
    {0x0026, u"AudioFile AF10"},
    {0x0027, u"Prosody 1612 codec"},
    {0x0028, u"Merging Technologies S.A. LRC"},
    {0x0030, u"Dolby Laboratories AC2"},
    {0x0031, u"GSM610"},
    {0x0032, u"MSN Audio"},
    {0x0033, u"Antex Electronics Corporation ADPCME"},
    {0x0034, u"Control Resources VQLPC"},
    {0x0035, u"DSP Solutions DigiReal"},
    {0x0036, u"DSP Solutions DigiADPCM"},
    {0x0037, u"Control Resources CR10"},
    {0x0038, u"Natural MicroSystems ADPCM"},
    {0x0039, u"Crystal Semiconductor IMA ADPCM"},
    {0x003A, u"Echo Speech Corporation SC3"},
    {0x003B, u"Rockwell International ADPCM"},
    {0x003C, u"Rockwell International DigiTalk"},
    {0x003D, u"Xebec Multimedia Solutions"},
    {0x0040, u"Antex G721 ADPCM"},
    {0x0041, u"Antex G728 CELP"},
    {0x0042, u"Microsoft MSG723"},
    {0x0043, u"IBM AVC ADPCM"},
    {0x0052, u"InSoft RT24"},
    {0x0053, u"InSoft PAC"},
    {0x0059, u"Lucent G.723"},
    {0x0060, u"Cirrus Logic"},
    {0x0061, u"ESS Technology"},
    {0x0062, u"Voxwave"},
    {0x0063, u"Canopus ATRAC"},
    {0x0064, u"APICOM G726 ADPCM"},
    {0x0065, u"APICOM G722 ADPCM"},
    {0x0067, u"DSAT Display"},
    {0x0069, u"Voxware"},
    {0x0070, u"Voxware AC8"},
    {0x0071, u"Voxware AC10"},
    {0x0072, u"Voxware AC16"},
    {0x0073, u"Voxware AC20"},
    {0x0074, u"Voxware RT24"},
    {0x0075, u"Voxware RT29"},
    {0x0076, u"Voxware RT29HW"},
    {0x0077, u"Voxware VR12"},
    {0x0078, u"Voxware VR18"},
    {0x0079, u"Voxware TQ40"},
    {0x0080, u"Soft Sound"},
    {0x0081, u"Voxware TQ60"},
    {0x0082, u"Microsoft RT24"},
    {0x0083, u"AT&T Labs G729A"},
    {0x0084, u"Motion Pixels MVI2"},
    {0x0085, u"DataFusion Systems G726"},
    {0x0086, u"DataFusion Systems GSM610"},
    {0x0088, u"Iterated Systems IAudio"},
    {0x0089, u"OnLive! Technologies"},
    {0x0091, u"Siemens Business Communications 24"},
    {0x0092, u"Sonic Foundry AC3 SPDIF"},
    {0x0093, u"MediaSonic G723"},
    {0x0094, u"Aculab 8KBPS"},
    {0x0097, u"Zyxel ADPCM"},
    {0x0098, u"Philips Speech Processing LPCBB"},
    {0x0099, u"Studer Professional Audio Packed"},
    {0x00A0, u"Malden Electronics Phonytalk"},
    {0x0100, u"Rhetorex ADPCM"},
    {0x0101, u"BeCubed Software IRAT"},
    {0x0111, u"Vivo Software G723"},
    {0x0112, u"Vivo Software Siren"},
    {0x0123, u"Digital Equipment Corporation G723"},
    {0x0125, u"Sanyo Electric ADPCM"},
    {0x0130, u"Sipro Lab Telecom ACELPNET"},
    {0x0131, u"Sipro Lab Telecom ACELP4800"},
    {0x0132, u"Sipro Lab Telecom ACELP8V3"},
    {0x0133, u"Sipro Lab Telecom G729"},
    {0x0134, u"Sipro Lab Telecom G729A"},
    {0x0135, u"Sipro Lab Telecom Kelvin"},
    {0x0140, u"Dictaphone Corporation G726 ADPCM"},
    {0x0150, u"Qualcomm PureVoice"},
    {0x0151, u"Qualcomm Halfrate"},
    {0x0155, u"Ring Zero Systems GSM"},
    {0x0160, u"Microsoft Audio1"},
    {0x0170, u"Unisys ADPCM"},
    {0x0171, u"Unisys uLaw"},
    {0x0172, u"Unisys ALaw"},
    {0x0173, u"Unisys Nap 16K"},
    {0x0200, u"Creative Labs ADPCM"},
    {0x0202, u"Creative Labs FastSpeech 8"},
    {0x0203, u"Creative Labs FastSpeech 10"},
    {0x0210, u"UHER informatic ADPCM"},
    {0x0220, u"Quarterdeck"},
    {0x0230, u"I-Link Worldwide"},
    {0x0240, u"Aureal Semiconductor RAW"},
    {0x0241, u"ESS Technology AC3"},
    {0x0250, u"Interactive Products HSX"},
    {0x0251, u"Interactive Products RPELP"},
    {0x0260, u"Consistent Software"},
    {0x0272, u"Sony ATRAC3"},
    {0x0300, u"Fujitsu Snd"},
    {0x0400, u"Brooktree Corporation BTV"},
    {0x0681, u"AT&T Labs TPC"},
    {0x0680, u"AT&T Labs VMPCM"},
    {0x0450, u"QDesign Corporation Music"},
    {0x1000, u"Olivetti GSM"},
    {0x1002, u"Olivetti CELP"},
    {0x1001, u"Olivetti ADPCM"},
    {0x1003, u"Olivetti SBC"},
    {0x2000, u"FAST Multimedia DVM"},
    {0x1500, u"AT&T Labs MusicCompress"},
    {0x1400, u"Norris Communications"},
    {0x1100, u"Lernout & Hauspie"},
    {0x1004, u"Olivetti OPR"},
}};

// Speaker names of channel-mask bits 0 to 17; higher bits have no name.
constexpr std::array<std::u16string_view, 18> kSpeakerNames = {
    u"Left",          u"Right",           u"Center",          u"Sub-woofer",       u"Back Left",
    u"Back Right",    u"Left of Center",  u"Right of Center", u"Back Center",      u"Side Left",
    u"Side Right",    u"Top Center",      u"Top Front Left",  u"Top Front Center", u"Top Front Right",
    u"Top Back Left", u"Top Back Center", u"Top Back Right"};

// Layouts by channel count, for headers without a mask. Three channels are
// taken as stereo plus sub-woofer, as the converter has always shown them.
constexpr std::array<std::u16string_view, 9> kLayoutsByChannels = {
    u"",
    u"Center",
    u"Left, Right",
    u"Left, Right, Sub-woofer",
    u"Left, Right, Back Left, Back Right",
    u"Left, Right, Center, Back Left, Back Right",
    u"Left, Right, Center, Sub-woofer, Back Left, Back Right",
    u"Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
    u"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right"};

constexpr std::u16string_view kHigh = u"High (Lossy)";
constexpr std::u16string_view kMedium = u"Medium (Lossy)";
constexpr std::u16string_view kLow = u"Low (Lossy)";

std::u16string LosslessQuality(const WFX& wfx) {
  const std::uint32_t rate = wfx.SamplesPerSec();
  if (wfx.BitsPerSample() == 16) {
    if (rate == 44100) return u"CD (Lossless)";
    if (rate == 48000) return u"DAT (Lossless)";
    return u"Perfect (Lossless)";
  }
  if (wfx.BitsPerSample() >= 24 && rate >= 48000) return u"DVD (Lossless)";
  return u"Perfect (Lossless)";
}

std::u16string LossyQuality(const WFX& wfx, std::uint16_t type) {
  const std::int32_t channels = wfx.Channels() == 0 ? 1 : wfx.Channels();
  // Signed 32-bit like the converter's own figures: absurd byte rates wrap
  // rather than reach the host as a different class.
  const auto perChannel = std::int32_t(wfx.AvgBytesPerSec() * 8u) / channels;
  if (type == kWaveFormatMpeg) {
    if (perChannel >= 127500) return std::u16string(kHigh);
    return std::u16string(perChannel >= 79500 ? kMedium : kLow);
  }
  if (type == kWaveFormatMpegLayer3) {
    if (perChannel >= 95500) return std::u16string(kHigh);
    return std::u16string(perChannel >= 63500 ? kMedium : kLow);
  }
  // Only MPEG audio is ever called high quality, however high the bitrate.
  return std::u16string(perChannel >= 127500 ? kMedium : kLow);
}
}  // namespace

std::u16string QualityName(const WFX& wfx) {
  const std::uint16_t type = wfx.GetFormatType();
  if (type == kWaveFormatPcm || type == kWaveFormatIeeeFloat) return LosslessQuality(wfx);
  return LossyQuality(wfx, type);
}

std::u16string ChannelLayoutText(const WFX& wfx) {
  const std::uint32_t mask = wfx.IsExtensible() ? wfx.ChannelMask() : 0;
  if (mask != 0) {
    std::u16string text;
    for (std::size_t bit = 0; bit < kSpeakerNames.size(); ++bit) {
      if ((mask >> bit & 1u) == 0) continue;
      // Mask names are set apart by two blanks, unlike the fixed layouts.
      if (!text.empty()) text += u",  ";
      text += kSpeakerNames[bit];
    }
    return text;
  }
  const std::uint16_t channels = wfx.Channels();
  return channels < kLayoutsByChannels.size() ? std::u16string(kLayoutsByChannels[channels]) : std::u16string();
}

std::u16string WfxText(const WFX& wfx) {
  std::u16string text = u"Format Tag: " + ToText(wfx.FormatTag());
  text += u" Channels: " + ToText(wfx.Channels());
  text += u" Bits per Sample: " + ToText(wfx.BitsPerSample());
  text += u" Samples Per Second: " + ToText(wfx.SamplesPerSec());
  text += u" Bytes Per Second: " + ToText(wfx.AvgBytesPerSec());
  text += u" Block Align: " + ToText(wfx.BlockAlign());
  text += u" CB Size: " + ToText(wfx.CbSize());
  if (wfx.IsExtensible()) text += u" Extensible Sub-Format: " + ToText(wfx.GetFormatType());
  return text;
}

std::u16string FormatTagName(const WFX& onFile) {
  const std::uint16_t tag = onFile.GetFormatType();
  if (auto installed = AcmFormatTagName(tag, std::uint32_t(onFile.CbSize()) + kWfxHeadSize)) return *installed;
  const std::u16string_view builtIn = BuiltInFormatTagName(tag);
  std::u16string name = builtIn.empty() ? u"Unknown ACM ID: " + ToText(tag) : std::u16string(builtIn);
  return name + u" (ACM decoder not installed)";
}

std::span<const FormatTagNameEntry> BuiltInFormatTagNames() { return kFormatTagNames; }

std::u16string_view BuiltInFormatTagName(std::uint16_t tag) {
  for (const FormatTagNameEntry& entry : kFormatTagNames) {
    if (entry.tag == tag) return entry.name;
  }
  return {};
}
