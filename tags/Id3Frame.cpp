#include "tags/Id3Frame.h"

#include <algorithm>
#include <array>
#include <optional>

#include "tags/Id3Unsync.h"

namespace id3parser {
namespace {

struct IdPair {
  std::string_view v22;
  std::string_view v23;
};

// The date and time that complete a year (TDA, TIM) are converted too, so that
// a 2.2 date reads back whole as a 2.3 one does.
constexpr std::array<IdPair, 35> kV22Ids = {{
    {"TT1", "TIT1"}, {"TT2", "TIT2"}, {"TT3", "TIT3"}, {"TP1", "TPE1"}, {"TP2", "TPE2"}, {"TP3", "TPE3"},
    {"TP4", "TPE4"}, {"TCM", "TCOM"}, {"TXT", "TEXT"}, {"TLA", "TLAN"}, {"TCO", "TCON"}, {"TAL", "TALB"},
    {"TRK", "TRCK"}, {"TRC", "TSRC"}, {"TYE", "TYER"}, {"TBP", "TBPM"}, {"TCR", "TCOP"}, {"TPB", "TPUB"},
    {"TEN", "TENC"}, {"TSS", "TSSE"}, {"TOA", "TOPE"}, {"TXX", "TXXX"}, {"TPA", "TPOS"}, {"WAF", "WOAF"},
    {"WAR", "WOAR"}, {"WAS", "WOAS"}, {"WCP", "WCOP"}, {"WCM", "WCOM"}, {"WPB", "WPUB"}, {"WXX", "WXXX"},
    {"COM", "COMM"}, {"PIC", "APIC"}, {"TCP", "TCMP"}, {"TDA", "TDAT"}, {"TIM", "TIME"},
}};

// "infromation" and "ComposerSort" are the names other parts of the program
// and earlier files use; they stay as they are.
constexpr std::array<FrameName, 41> kTextFrames = {{
    {"TIT1", "Content Group"},
    {"TIT2", "Title"},
    {"TIT3", "Subtitle"},
    {"TSST", "Set subtitle"},
    {"TALB", "Album"},
    {"TSRC", "ISRC"},
    {"TENC", "Encoded by"},
    {"TCOP", "Copyright"},
    {"TPUB", "Label"},
    {"TOWN", "File owner/licensee"},
    {"TRSN", "Internet radio station name"},
    {"TRSO", "Internet radio station owner"},
    {"TSSE", "Encoder Settings"},
    {"TBPM", "BPM"},
    {"TMED", "Source"},
    {"TKEY", "Initial key"},
    {"TSOT", "Title Sort"},
    {"TSOP", "Artist Sort"},
    {"TSOA", "Album Sort"},
    {"TSO2", "Album Artist Sort"},
    {"TSOC", "ComposerSort"},
    {"GRP1", "iTunes Grouping"},
    {"TLEN", "Length"},
    {"TLAN", "Language(s)"},
    {"TRDA", "Recording dates"},
    {"TDRC", "Year"},
    {"TYER", "Year"},
    {"TDOR", "Original release year"},
    {"TORY", "Original release year"},
    {"TDRL", "Release date"},
    {"TRCK", "Track"},
    {"TPOS", "Disc"},
    {"TOPE", "Original artist(s)/performer(s)"},
    {"TOAL", "Original album/movie/show title"},
    {"TPE1", "Artist"},
    {"TPE2", "Album Artist"},
    {"TPE3", "Conductor"},
    {"TPE4", "Interpreted, remixed, or otherwise modified by"},
    {"TCOM", "Composer"},
    {"TEXT", "Lyricist/Text writer"},
    {"TCMP", "Compilation"},
}};

constexpr std::array<FrameName, 8> kUrlFrames = {{
    {"WCOM", "Commercial information"},
    {"WCOP", "Copyright/Legal infromation"},
    {"WOAF", "Official audio file webpage"},
    {"WOAR", "Official artist/performer webpage"},
    {"WOAS", "Official audio source webpage"},
    {"WORS", "Official internet radio station homepage"},
    {"WPAY", "Payment"},
    {"WPUB", "Official publisher webpage"},
}};

constexpr std::array<FrameName, 2> kRoleListFrames = {{
    {"TIPL", "Involved People"},
    {"TMCL", "Musician Credits"},
}};

constexpr std::size_t kIdSizeV22 = 3;
constexpr std::size_t kFrameHeaderSizeV22 = 6;  // identifier, 24-bit size
constexpr std::size_t kIdSize = 4;
constexpr std::size_t kFrameHeaderSize = 10;  // identifier, 32-bit size, two flag bytes
constexpr std::size_t kFlagsSize = 2;

// Format flags, the second flag byte, of 2.3 and of 2.4.
constexpr std::uint16_t kV23Compressed = 0x0080;
constexpr std::uint16_t kV23Encrypted = 0x0040;
constexpr std::uint16_t kV23Grouped = 0x0020;
constexpr std::uint16_t kV24Grouped = 0x0040;
constexpr std::uint16_t kV24Compressed = 0x0008;
constexpr std::uint16_t kV24Encrypted = 0x0004;
constexpr std::uint16_t kV24Unsync = 0x0002;
constexpr std::uint16_t kV24DataLength = 0x0001;

constexpr std::size_t kGroupIdSize = 1;
constexpr std::size_t kDataLengthSize = 4;

bool IsFrameId(std::string_view id, std::size_t size) {
  if (id.size() != size) return false;
  for (const char c : id) {
    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) return false;
  }
  return true;
}

// A frame header whose identifier is one and whose size, read the smaller
// of the two ways, fits in what follows.
bool StartsWithFrameHeader(ByteSpan rest) {
  ByteReader r(rest);
  const std::string_view id = r.FixedText(kIdSize);
  const std::uint32_t raw = r.U32BE();
  r.Skip(kFlagsSize);
  if (!r.ok() || !IsFrameId(id, kIdSize)) return false;
  return (IsSynchsafe(raw) ? FromSynchsafe(raw) : raw) <= r.remaining();
}

// Whether a frame body of `size` bytes ends where the next thing can begin:
// the end of the area, another frame, or padding (zeros up to the end).
bool EndsAtBoundary(ByteSpan after, std::uint32_t size) {
  if (size > after.size()) return false;
  const ByteSpan rest = after.subspan(size);
  if (StartsWithFrameHeader(rest)) return true;
  return std::all_of(rest.begin(), rest.end(), [](std::uint8_t b) { return b == 0; });
}

// Some writers put plain 2.3 sizes into 2.4 tags. The synchsafe reading is
// preferred; the plain one is taken only when the synchsafe one lands in the
// middle of nowhere and the plain one lands on a frame, padding or the end.
std::uint32_t V24FrameSize(std::uint32_t raw, ByteSpan after) {
  if (!IsSynchsafe(raw)) return raw;
  const std::uint32_t synchsafe = FromSynchsafe(raw);
  if (synchsafe == raw || EndsAtBoundary(after, synchsafe)) return synchsafe;
  if (EndsAtBoundary(after, raw)) return raw;
  return synchsafe;
}

std::optional<ByteSpan> BodyV23(ByteSpan bytes, std::uint16_t flags) {
  // No zlib here; an encrypted frame cannot be read without its owner's method.
  if (flags & (kV23Compressed | kV23Encrypted)) return std::nullopt;
  ByteReader r(bytes);
  if (flags & kV23Grouped) r.Skip(kGroupIdSize);
  const ByteSpan data = r.Rest();
  if (!r.ok()) return std::nullopt;
  return data;
}

std::optional<HeldBytes> BodyV24(ByteSpan bytes, std::uint16_t flags, bool tagUnsync) {
  if (flags & (kV24Compressed | kV24Encrypted)) return std::nullopt;
  ByteReader r(bytes);
  if (flags & kV24Grouped) r.Skip(kGroupIdSize);
  if (flags & kV24DataLength) r.Skip(kDataLengthSize);
  const ByteSpan data = r.Rest();
  if (!r.ok()) return std::nullopt;
  if (tagUnsync || (flags & kV24Unsync)) return HeldBytes(RemoveUnsync(data));
  return HeldBytes(data);
}

}  // namespace

std::string_view V23FrameId(std::string_view v22Id) {
  for (const IdPair& pair : kV22Ids) {
    if (pair.v22 == v22Id) return pair.v23;
  }
  return v22Id;
}

std::string_view V22FrameId(std::string_view v23Id) {
  for (const IdPair& pair : kV22Ids) {
    if (pair.v23 == v23Id) return pair.v22;
  }
  return {};
}

std::span<const FrameName> TextFrameNames() { return kTextFrames; }
std::span<const FrameName> UrlFrameNames() { return kUrlFrames; }
std::span<const FrameName> RoleListFrameNames() { return kRoleListFrames; }

std::vector<Frame> ReadFrames(ByteSpan area, const TagHeader& header) {
  const bool v22 = header.major == 2;
  const std::size_t idSize = v22 ? kIdSizeV22 : kIdSize;
  const std::size_t headerSize = v22 ? kFrameHeaderSizeV22 : kFrameHeaderSize;
  std::vector<Frame> frames;
  ByteReader r(area);
  while (r.remaining() >= headerSize) {
    const std::string_view id = r.FixedText(idSize);
    // Zeros here are padding; anything else that is no identifier means the
    // rest cannot be trusted either.
    if (!IsFrameId(id, idSize)) break;
    std::uint32_t size = 0;
    std::uint16_t flags = 0;
    if (v22) {
      size = r.U24BE();
    } else {
      const std::uint32_t raw = r.U32BE();
      flags = r.U16BE();
      size = header.major == 4 ? V24FrameSize(raw, area.subspan(r.position())) : raw;
    }
    if (!r.ok() || size > r.remaining()) break;
    const ByteSpan bytes = r.Bytes(size);
    std::optional<HeldBytes> body;
    if (v22) {
      body.emplace(bytes);
    } else if (header.major == 3) {
      if (const std::optional<ByteSpan> data = BodyV23(bytes, flags)) body.emplace(*data);
    } else {
      body = BodyV24(bytes, flags, header.unsync);
    }
    if (!body) continue;
    frames.push_back({std::string(v22 ? V23FrameId(id) : id), std::move(*body)});
  }
  return frames;
}

}  // namespace id3parser
