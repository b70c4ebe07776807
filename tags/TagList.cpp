#include "tags/TagList.h"

#include <algorithm>
#include <numeric>

#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/Text.h"

namespace {

constexpr std::u16string_view kSubdesc = u"<subdesc>";
// Length field plus the two terminating zero units of name and value.
constexpr std::int64_t kRecordOverhead = 8;
constexpr std::size_t kCountSize = 4;
constexpr std::size_t kLengthSize = 4;
// The 64-bit FNV-1a hash, over the folded units of a name.
constexpr std::uint64_t kFnvOffsetBasis = 14695981039346656037ull;
constexpr std::uint64_t kFnvPrime = 1099511628211ull;

// A picture name without its "<subdesc>..." part; any other name unchanged.
std::u16string_view StripPictureName(std::u16string_view name) {
  if (!IsAlbumArtName(name)) return name;
  const std::size_t at = name.find(kSubdesc, 1);
  return at == std::u16string_view::npos ? name : name.substr(0, at);
}

// The UTF-16 text up to the first whole zero unit of `bytes`, and in `used` the
// bytes it took with its zero; without a zero unit nothing is taken.
std::u16string ReadTerminated(ByteSpan bytes, std::size_t& used) {
  ByteReader in(bytes);
  std::u16string text;
  while (in.remaining() >= 2) {
    const char16_t unit = in.U16();
    if (unit == 0) {
      used = in.position();
      return text;
    }
    text.push_back(unit);
  }
  used = 0;
  return {};
}

void WriteTerminated(ByteWriter& out, std::u16string_view text) {
  for (const char16_t unit : text) out.U16(unit);
  out.U16(0);
}

bool NameMatches(std::u16string_view entryName, std::u16string_view sought, bool strip) {
  if (!strip) return EqualsFolded(entryName, sought);
  return EqualsFolded(StripPictureName(entryName), StripPictureName(sought));
}

TagNameKey NameKey(std::u16string_view name, bool strip) {
  return MakeTagNameKey(strip ? StripPictureName(name) : name);
}

// The keys of the names of several lists, one after another.
std::vector<TagNameKey> NameKeys(std::initializer_list<const TagList*> lists, bool strip) {
  std::vector<TagNameKey> keys;
  for (const TagList* list : lists) {
    for (std::size_t i = 0; i < list->size(); ++i) keys.push_back(NameKey((*list)[i].name, strip));
  }
  return keys;
}

// For each key, the position of the first key whose name matches it (its own
// when none before it does): one sort, where a lookup per name would scan.
std::vector<std::size_t> FirstOfEachName(const std::vector<TagNameKey>& keys) {
  std::vector<std::size_t> order(keys.size());
  std::iota(order.begin(), order.end(), std::size_t(0));
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    const int c = CompareTagNameKeys(keys[a], keys[b]);
    return c != 0 ? c < 0 : a < b;
  });
  std::vector<std::size_t> first(keys.size());
  for (std::size_t i = 0, j = 0; i < order.size(); i = j) {
    while (j < order.size() && (j == i || CompareTagNameKeys(keys[order[i]], keys[order[j]]) == 0))
      first[order[j++]] = order[i];
  }
  return first;
}

}  // namespace

TagNameKey MakeTagNameKey(std::u16string_view name) {
  std::uint64_t hash = kFnvOffsetBasis;
  for (const char16_t unit : name) hash = (hash ^ FoldAscii(unit)) * kFnvPrime;
  return {hash, name};
}

int CompareTagNameKeys(const TagNameKey& a, const TagNameKey& b) {
  if (a.hash != b.hash) return a.hash < b.hash ? -1 : 1;
  return CompareFolded(a.name, b.name);
}

TagEntry* TagList::FindTag(std::u16string_view name, bool strip) {
  for (auto& entry : entries_) {
    current_ = entry.get();
    if (NameMatches(entry->name, name, strip)) return current_;
  }
  return nullptr;
}

const TagEntry* TagList::FindTag(std::u16string_view name, bool strip) const {
  for (const auto& entry : entries_) {
    if (NameMatches(entry->name, name, strip)) return entry.get();
  }
  return nullptr;
}

void TagList::SetTagValue(std::u16string_view name, std::u16string_view value) {
  if (TagEntry* entry = FindTag(name)) entry->value = value;
}

TagEntry& TagList::AddTag(std::u16string_view name, std::u16string_view value) {
  return AddTag(name, value, std::span<const std::uint8_t>());
}

TagEntry& TagList::AddTag(std::u16string_view name, std::u16string_view value, std::span<const std::uint8_t> data) {
  auto entry = std::make_unique<TagEntry>();
  entry->name = name;
  entry->value = value;
  entry->data.assign(data.begin(), data.end());
  entries_.push_back(std::move(entry));
  return *entries_.back();
}

TagEntry& TagList::AddTagCopy(const TagEntry& entry) { return AddTag(entry.name, entry.value, entry.data); }

TagEntry& TagList::AddTag(std::u16string_view name, std::u16string_view value, std::vector<std::uint8_t>&& data) {
  TagEntry& entry = AddTag(name, value);
  entry.data = std::move(data);
  return entry;
}

void TagList::TakeEntries(TagList&& other, bool firstWins, bool strip) {
  const std::size_t before = entries_.size();
  const std::vector<std::size_t> first =
      firstWins ? FirstOfEachName(NameKeys({this, &other}, strip)) : std::vector<std::size_t>();
  for (std::size_t i = 0; i < other.entries_.size(); ++i) {
    if (!firstWins || first[before + i] == before + i) entries_.push_back(std::move(other.entries_[i]));
  }
  other.Clear();
}

void TagList::RemoveTagAt(std::size_t index) {
  if (index >= entries_.size()) return;
  if (current_ == entries_[index].get()) current_ = nullptr;
  entries_.erase(entries_.begin() + std::ptrdiff_t(index));
}

void TagList::CopyTags(const TagList& other) {
  if (this == &other) return;
  Clear();
  entries_.reserve(other.size());
  for (std::size_t i = 0; i < other.size(); ++i) AddTagCopy(other[i]);
}

void TagList::RemoveTagsNamedIn(const TagList& names, bool strip) {
  if (this == &names) return Clear();
  std::vector<TagNameKey> named = NameKeys({&names}, strip);
  std::sort(named.begin(), named.end());
  RemoveTagsIf([&](const TagEntry& entry) {
    return std::binary_search(named.begin(), named.end(), NameKey(entry.name, strip));
  });
}

void TagList::MergeTags(const TagList& other, bool strip) {
  if (this == &other) return;
  const std::size_t before = entries_.size();
  const std::vector<std::size_t> first = FirstOfEachName(NameKeys({this, &other}, strip));
  for (std::size_t i = 0; i < other.size(); ++i) {
    if (first[before + i] == before + i) AddTagCopy(other[i]);
  }
}

std::int64_t TagList::TagEntrySize(std::size_t index) const {
  const TagEntry& e = *entries_[index];
  return kRecordOverhead + 2 * std::int64_t(e.name.size()) + 2 * std::int64_t(e.value.size()) +
         std::int64_t(e.data.size());
}

std::vector<std::uint8_t> TagList::ToBlock() const {
  std::int64_t total = kCountSize;
  for (std::size_t i = 0; i < entries_.size(); ++i) total += TagEntrySize(i);
  std::vector<std::uint8_t> block;
  block.reserve(std::size_t(total));
  ByteWriter out(block);
  out.U32(std::uint32_t(entries_.size()));
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const TagEntry& e = *entries_[i];
    out.U32(std::uint32_t(TagEntrySize(i)));
    WriteTerminated(out, e.name);
    WriteTerminated(out, e.value);
    out.Bytes(e.data);
  }
  return block;
}

void TagList::FromBlock(std::span<const std::uint8_t> block) {
  Clear();
  if (block.size() <= kCountSize) return;
  ByteReader in(block);
  const auto count = std::int32_t(in.U32());
  for (std::int32_t read = 0; read < count && in.remaining() > 0; ++read) {
    const auto length = std::int32_t(in.U32());
    // A length below its own field would never move on: it cannot fit either.
    if (!in.ok() || length < std::int32_t(kLengthSize) || std::size_t(length) - kLengthSize > in.remaining()) return;
    ByteSpan rest = in.Bytes(std::size_t(length) - kLengthSize);
    TagEntry& entry = AddTag(u"", u"");
    std::size_t used = 0;
    entry.name = ReadTerminated(rest, used);
    rest = rest.subspan(used);
    entry.value = ReadTerminated(rest, used);
    rest = rest.subspan(used);
    entry.data.assign(rest.begin(), rest.end());
  }
}

void TagList::Clear() {
  current_ = nullptr;
  entries_.clear();
}
