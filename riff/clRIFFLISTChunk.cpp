#include "riff/clRIFFLISTChunk.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string>

#include "codec/Trace.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "tags/CdToc.h"

namespace {

constexpr std::size_t kWorkingReserve = 64 * 1024;
constexpr std::size_t kIdLength = 4;

// Identifiers whose tag name reads and writes the same way, whatever the options.
struct InfoName {
  std::uint32_t id;
  std::u16string_view readName;
  std::u16string_view writeName;
};

constexpr std::array<InfoName, 28> kInfoNames = {{
    {MakeFourCC("DISP"), u"Sound Scheme Title", u"Sound Scheme Title"},
    {MakeFourCC("IARL"), u"Archival Location", u"archival location"},
    {MakeFourCC("IART"), u"Artist", u"artist"},
    {MakeFourCC("ICMS"), u"Commissioned", u"commissioned"},
    {MakeFourCC("ICMT"), u"Comment", u"comment"},
    {MakeFourCC("ICOP"), u"Copyright", u"copyright"},
    {MakeFourCC("ICRD"), u"Year", u"year"},
    {MakeFourCC("ICRP"), u"Cropped", u"Cropped"},
    {MakeFourCC("IDIM"), u"Dimensions", u"Dimensions"},
    {MakeFourCC("IDPI"), u"DPI", u"DPI"},
    {MakeFourCC("IENG"), u"Engineer", u"engineer"},
    {MakeFourCC("IGNR"), u"Genre", u"genre"},
    {MakeFourCC("IKEY"), u"Keywords", u"keywords"},
    {MakeFourCC("ILGT"), u"Lightness", u"Lightness"},
    {MakeFourCC("IMED"), u"Medium", u"medium"},
    {MakeFourCC("INAM"), u"Title", u"title"},
    {MakeFourCC("IPLT"), u"Palette Setting", u"Palette Setting"},
    {MakeFourCC("ISBJ"), u"Subject", u"subject"},
    {MakeFourCC("ISFT"), u"Encoded By", u"encoded by"},
    {MakeFourCC("ISHP"), u"Sharpness", u"Sharpness"},
    {MakeFourCC("ISRF"), u"Source", u"Source"},
    {MakeFourCC("ITCH"), u"Technician", u"technician"},
    {MakeFourCC("LOCA"), u"Location", u"Location"},
    {MakeFourCC("TLEN"), u"Length", u"Length"},
    {MakeFourCC("TORG"), u"Label", u"Label"},
    {MakeFourCC("TURL"), u"URL", u"URL"},
    {MakeFourCC("TVER"), u"Version", u"version"},
    {MakeFourCC("ISRC"), u"ISRC", u"ISRC"},
}};

constexpr std::uint32_t kIPRD = MakeFourCC("IPRD");
constexpr std::uint32_t kISRC = MakeFourCC("ISRC");
constexpr std::uint32_t kITOC = MakeFourCC("ITOC");
constexpr std::uint32_t kITRK = MakeFourCC("ITRK");
constexpr std::uint32_t kTRCK = MakeFourCC("TRCK");
constexpr std::uint32_t kItrkLower = MakeFourCC("itrk");

constexpr std::u16string_view kCdTocName = u"_cdtoc";

// The tag name an identifier reads as; empty for an identifier outside the table.
std::u16string ReadNameFor(std::uint32_t id, int albumOption) {
  if (id == kIPRD) return albumOption == 0 ? u"Album" : u"Product";
  if (id == kISRC) return albumOption == 0 ? u"ISRC" : u"Album";
  if (id == kITRK || id == kTRCK || id == kItrkLower) return u"Track";
  for (const InfoName& row : kInfoNames) {
    if (row.id == id) return std::u16string(row.readName);
  }
  return {};
}

std::u16string UnknownName(std::uint32_t id) {
  std::u16string name(clRIFFLISTChunk::kUnknownPrefix);
  for (std::size_t i = 0; i < kIdLength; ++i) name.push_back(char16_t(std::uint8_t(id >> (8 * i))));
  return name;
}

// The identifier a tag is written under, or none.
std::optional<std::uint32_t> WriteIdFor(std::u16string_view name, int trackOption, int albumOption) {
  if (EqualsFolded(name, u"album")) return albumOption == 0 ? kIPRD : kISRC;
  if (EqualsFolded(name, u"track")) return trackOption == 0 ? kITRK : trackOption == 1 ? kTRCK : kItrkLower;
  if (EqualsFolded(name, kCdTocName)) return kITOC;
  for (const InfoName& row : kInfoNames) {
    if (EqualsFolded(name, row.writeName)) return row.id;
  }
  const std::u16string_view prefix = clRIFFLISTChunk::kUnknownPrefix;
  if (name.size() == prefix.size() + kIdLength && StartsWithFolded(name, prefix)) {
    std::uint32_t id = 0;
    for (std::size_t i = 0; i < kIdLength; ++i) id |= std::uint32_t(name[prefix.size() + i] & 0xFF) << (8 * i);
    return id;
  }
  return std::nullopt;
}

// The text stored for a tag; empty when the tag has nothing to store.
std::string StoredText(const TagEntry& tag, std::uint32_t id) {
  if (id != kITOC || !EqualsFolded(tag.name, kCdTocName)) return WideToAnsi(tag.value);
  if (tag.data.size() < kCdTocHeaderSize) return {};
  return WideToAnsi(CdTocToText(tag.data));
}

void AppendSubChunk(ByteWriter& out, std::uint32_t id, std::string_view text) {
  // Always one or two terminating zeros, so that the size is even and no pad byte is needed.
  const std::size_t zeros = text.size() % 2 == 1 ? 1 : 2;
  out.FourCC(id);
  out.U32(std::uint32_t(text.size() + zeros));
  out.Text(text);
  out.Zeros(zeros);
}

}  // namespace

bool clRIFFLISTChunk::IsInfoList(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  const std::string_view type = in.FixedText(kListTypeSize);
  return in.ok() && type.size() == kListTypeSize && UpperAscii(type) == "INFO";
}

bool clRIFFLISTChunk::InitFrom(std::span<const std::uint8_t> payload, TagList& dest, const TraceContext& log,
                               int albumOption) {
  TraceScope scope(log, "clRIFFLISTChunk::InitFrom");
  tags_.Clear();
  // Every way out of here is logged as a completed call; false only says the list was not (wholly) INFO.
  scope.Ok();
  if (!IsInfoList(payload)) return false;
  scope.Line(u"Found Correct INFO ID, decoding LIST chunk:");

  ByteReader in(payload);
  in.Skip(kListTypeSize);
  while (in.remaining() >= kSubChunkHeaderSize) {
    const std::uint32_t id = in.FourCC();
    const std::uint32_t size = in.U32();
    if (size > in.remaining()) {
      scope.Info(u"Error LIST sub chunk is corrupted");
      // As at the end of the list: one byte left over is tolerated, more means tags were lost.
      return in.remaining() < 2;
    }
    const std::u16string text = ChunkTextToWide(in.FixedText(size));
    // An empty sub-chunk ends the list on purpose: nothing behind it is read.
    if (size == 0) return true;
    in.Skip(std::min<std::size_t>(size & 1, in.remaining()));

    TagEntry* added = nullptr;
    const std::u16string name = ReadNameFor(id, albumOption);
    if (id == kITOC) {
      const std::vector<std::uint8_t> toc = CdTocFromText(text);
      added = &dest.AddTag(kCdTocName, u"", toc);
    } else if (!name.empty()) {
      added = &dest.AddTag(name, text);
    } else if (!text.empty()) {
      added = &dest.AddTag(UnknownName(id), text);
    }
    if (added) tags_.AddTagCopy(*added);
  }
  return in.remaining() < 2;
}

bool clRIFFLISTChunk::TagsToLIST(std::vector<std::uint8_t>& out, const TagList& tags, const TraceContext& log,
                                 int trackOption, int albumOption) {
  TraceScope scope(log, "clRIFFLISTChunk::TagsToLIST");
  out.clear();
  std::vector<std::uint8_t> work;
  try {
    work.reserve(kWorkingReserve);
    ByteWriter writer(work);
    for (std::size_t i = 0; i < tags.size(); ++i) {
      const TagEntry& tag = tags[i];
      const std::optional<std::uint32_t> id = WriteIdFor(tag.name, trackOption, albumOption);
      if (!id) continue;
      const std::string text = StoredText(tag, *id);
      if (text.empty()) continue;
      AppendSubChunk(writer, *id, text);
    }
    if (!work.empty()) {
      out.reserve(kListTypeSize + work.size());
      ByteWriter payload(out);
      payload.FourCC(kInfoType);
      payload.Bytes(work);
    }
  } catch (const std::bad_alloc&) {
    out.clear();
    return scope.Error(u"Error Allocating Memory.");
  }
  return scope.Ok();
}
