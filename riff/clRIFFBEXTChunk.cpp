#include "riff/clRIFFBEXTChunk.h"

#include <array>
#include <string>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/Text.h"

namespace {

using Bext = clRIFFBEXTChunk;

struct TextField {
  std::size_t offset;
  std::size_t size;
  std::u16string_view name;
};

// The text fields in the order they lie in the payload.
constexpr std::array<TextField, 5> kTextFields = {{
    {Bext::kDescriptionOffset, Bext::kDescriptionSize, Bext::kDescription},
    {Bext::kOriginatorOffset, Bext::kOriginatorSize, Bext::kOriginator},
    {Bext::kOriginatorReferenceOffset, Bext::kOriginatorReferenceSize, Bext::kOriginatorReference},
    {Bext::kOriginationDateOffset, Bext::kOriginationDateSize, Bext::kOriginationDate},
    {Bext::kOriginationTimeOffset, Bext::kOriginationTimeSize, Bext::kOriginationTime},
}};
static_assert(Bext::kOriginationTimeOffset + Bext::kOriginationTimeSize == Bext::kTimeReferenceLowOffset);
static_assert(Bext::kReservedOffset + Bext::kReservedSize == Bext::kFixedSize);

constexpr std::size_t kHistoryAlignment = 4;

// A fixed-width field's text: up to its first zero byte, without trailing blanks.
std::u16string FieldText(std::string_view raw) {
  std::u16string text = ChunkTextToWide(raw);
  while (!text.empty() && text.back() == u' ') text.pop_back();
  return text;
}

// The ANSI bytes of a value up to its first zero, at most `width` of them.
std::string FieldBytes(std::u16string_view value, std::size_t width) {
  std::string bytes = WideToAnsi(value);
  bytes.resize(std::min(bytes.find('\0'), std::min(bytes.size(), width)));
  return bytes;
}

// Decimal text as a 64-bit count; a leading minus wraps, as a signed value stored unsigned would.
std::uint64_t ParseTimeReference(std::u16string_view text) {
  std::size_t i = 0;
  while (i < text.size() && text[i] == u' ') ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == u'-' || text[i] == u'+')) negative = text[i++] == u'-';
  std::uint64_t value = 0;
  constexpr std::uint64_t kMax = ~std::uint64_t{0};
  for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
    const std::uint64_t digit = std::uint64_t(text[i] - u'0');
    if (value > (kMax - digit) / 10) return kMax;
    value = value * 10 + digit;
  }
  return negative ? 0 - value : value;
}

void WriteField(ByteWriter& out, const std::string& bytes, std::size_t width) {
  out.Text(bytes);
  out.Zeros(width - bytes.size());
}

}  // namespace

std::optional<std::uint16_t> clRIFFBEXTChunk::Version(std::span<const std::uint8_t> payload) {
  if (payload.size() < kFixedSize) return std::nullopt;
  ByteReader in(payload);
  in.Seek(kVersionOffset);
  return in.U16();
}

bool clRIFFBEXTChunk::IsBextTagName(std::u16string_view name) {
  for (const TextField& field : kTextFields) {
    if (EqualsFolded(name, field.name)) return true;
  }
  return EqualsFolded(name, kTimeReference) || EqualsFolded(name, kCodingHistory);
}

bool clRIFFBEXTChunk::InitFrom(std::span<const std::uint8_t> payload, TagList& dest, const TraceContext& log) {
  TraceScope scope(log, "clRIFFBEXTChunk::InitFrom");
  tags_.Clear();
  if (payload.size() < kFixedSize) {
    scope.Ok();
    return false;
  }
  scope.Line(u"Decoding BEXT chunk");

  auto add = [&](std::u16string_view name, std::u16string_view value) { tags_.AddTagCopy(dest.AddTag(name, value)); };
  ByteReader in(payload);
  for (const TextField& field : kTextFields) {
    const std::u16string text = FieldText(in.FixedText(field.size));
    if (!text.empty()) add(field.name, text);
  }
  const std::uint64_t low = in.U32();
  const std::uint64_t high = in.U32();
  add(kTimeReference, ToTextU(high << 32 | low));

  in.Seek(kCodingHistoryOffset);
  const std::u16string history = FieldText(in.FixedText(in.remaining()));
  if (!history.empty()) add(kCodingHistory, history);
  return scope.Ok();
}

bool clRIFFBEXTChunk::TagsToBEXT(std::vector<std::uint8_t>& out, const TagList& tags, const TraceContext& log) {
  TraceScope scope(log, "clRIFFBEXTChunk::TagsToBEXT");
  scope.Line(u"Encoding BEXT chunk");

  // Later tags of a name replace earlier ones, as if each were copied over the last.
  std::array<std::string, kTextFields.size()> texts;
  std::uint64_t timeReference = 0;
  std::optional<std::string> history;
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const TagEntry& tag = tags[i];
    for (std::size_t f = 0; f < kTextFields.size(); ++f) {
      if (EqualsFolded(tag.name, kTextFields[f].name)) texts[f] = FieldBytes(tag.value, kTextFields[f].size);
    }
    if (EqualsFolded(tag.name, kTimeReference)) timeReference = ParseTimeReference(tag.value);
    if (EqualsFolded(tag.name, kCodingHistory)) history = FieldBytes(tag.value, std::string::npos);
  }

  out.clear();
  std::size_t total = kFixedSize;
  if (history) {
    // The coding history keeps its terminator, and the whole payload is padded to a multiple of four bytes.
    const std::size_t withZero = kFixedSize + history->size() + 1;
    total = (withZero + kHistoryAlignment - 1) / kHistoryAlignment * kHistoryAlignment;
  }
  out.reserve(total);
  ByteWriter writer(out);
  for (std::size_t f = 0; f < kTextFields.size(); ++f) WriteField(writer, texts[f], kTextFields[f].size);
  writer.U32(std::uint32_t(timeReference));
  writer.U32(std::uint32_t(timeReference >> 32));
  writer.U16(0);  // version
  writer.Zeros(kUmidSize + kLoudnessSize + kReservedSize);
  if (history) WriteField(writer, *history, total - kFixedSize);
  return scope.Ok();
}

bool clRIFFBEXTChunk::RemoveTagsFromList(TagList& tags, const TraceContext& log) {
  TraceScope scope(log, "clRIFFBEXTChunk::RemoveTagsFromList");
  tags.RemoveTagsIf([](const TagEntry& tag) { return IsBextTagName(tag.name); });
  return scope.Ok();
}
