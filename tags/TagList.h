// The tag list exchanged with the host and between the tag codecs: ordered
// entries of name, text value and optional binary data; names compare with
// ASCII-only case folding; duplicates are allowed.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct TagEntry {
  std::u16string name;
  std::u16string value;  // several values are separated by CR (U+000D)
  std::vector<std::uint8_t> data;
};

class TagList {
 public:
  TagList() = default;
  TagList(const TagList& other) { CopyTags(other); }
  TagList& operator=(const TagList& other) {
    if (this != &other) CopyTags(other);
    return *this;
  }

  // First entry whose name matches; with strip, picture names are compared without "<subdesc>...".
  TagEntry* FindTag(std::u16string_view name, bool strip = false);
  // The same lookup on a list that may not change; the current entry stays where it is.
  const TagEntry* FindTag(std::u16string_view name, bool strip = false) const;
  // Replaces the value of the (existing) entry of that name.
  void SetTagValue(std::u16string_view name, std::u16string_view value);
  TagEntry& AddTag(std::u16string_view name, std::u16string_view value);
  TagEntry& AddTag(std::u16string_view name, std::u16string_view value, std::span<const std::uint8_t> data);
  TagEntry& AddTagCopy(const TagEntry& entry);
  // Takes the data instead of copying it (a picture may be large).
  TagEntry& AddTag(std::u16string_view name, std::u16string_view value, std::vector<std::uint8_t>&& data);
  // Moves the other list's entries to the end of this one, in order; with firstWins only those
  // whose names this list lacks yet (the rest are dropped; strip as in FindTag). The other list is left empty.
  // Merges by name sort the names once (n log n) and leave the current entry where it is.
  void TakeEntries(TagList&& other, bool firstWins = false, bool strip = false);
  // An index at or past the end does nothing.
  void RemoveTagAt(std::size_t index);
  // Removes every entry the predicate picks, in one pass; the others keep their order.
  template <typename Pick>
  void RemoveTagsIf(Pick pick);
  // Removes every entry whose name the other list holds (strip as in FindTag).
  void RemoveTagsNamedIn(const TagList& names, bool strip = false);
  void CopyTags(const TagList& other);
  // Appends copies of the other list's entries whose names this list lacks.
  void MergeTags(const TagList& other, bool strip = false);
  // Size of an entry's record in the flat tag block.
  std::int64_t TagEntrySize(std::size_t index) const;
  // The flat tag block: count, then one length-prefixed record per entry.
  std::vector<std::uint8_t> ToBlock() const;
  // Replaces the list with the entries of a flat block; a malformed record ends reading.
  void FromBlock(std::span<const std::uint8_t> block);
  void Clear();

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  TagEntry& operator[](std::size_t i) { return *entries_[i]; }
  const TagEntry& operator[](std::size_t i) const { return *entries_[i]; }
  TagEntry* current() const { return current_; }

 private:
  std::vector<std::unique_ptr<TagEntry>> entries_;
  TagEntry* current_ = nullptr;
};

template <typename Pick>
void TagList::RemoveTagsIf(Pick pick) {
  std::erase_if(entries_, [&](const std::unique_ptr<TagEntry>& entry) {
    if (!pick(std::as_const(*entry))) return false;
    if (current_ == entry.get()) current_ = nullptr;
    return true;
  });
}

// A name as tag lists compare names, with a hash of its folded units. Ordered
// by the hash first and by the whole name only where hashes agree, names that
// are equal sort together and most comparisons look at one number: a file
// with a hundred thousand names is sorted or searched quickly, and names made
// to collide still cost no more than n log n comparisons of names.
struct TagNameKey {
  std::uint64_t hash = 0;
  std::u16string_view name;  // a view: the name must outlive the key
};
TagNameKey MakeTagNameKey(std::u16string_view name);
// Three-way comparison of two keys; 0 exactly when their names match.
int CompareTagNameKeys(const TagNameKey& a, const TagNameKey& b);
inline bool operator<(const TagNameKey& a, const TagNameKey& b) { return CompareTagNameKeys(a, b) < 0; }

// Picture entries are named "_albumart_" + ordinal + type suffix [+ "<subdesc>" + description].
bool IsAlbumArtName(std::u16string_view name);
// "_Front Album Cover" for 3 and so on for 1..20; empty for any other number.
std::u16string PictureTypeName(int type);
// 0 for "" or "Undefined"; the number of a known name (no underscore, any case); 3 otherwise.
int PictureTypeFromName(std::u16string_view typeName);
// The type name and description parts of a picture entry's name.
void SplitAlbumArtName(std::u16string_view name, std::u16string& typeName, std::u16string& description);
// The name a reader gives the ordinal-th picture (from 1) of a tag.
std::u16string AlbumArtName(int ordinal, int type, std::u16string_view description);
// "image/png" for PNG bytes, "image/jpeg" for anything else of 8 bytes or more, "" below 8.
std::u16string PictureMimeFromData(std::span<const std::uint8_t> bytes);

// Artist names that contain "/" themselves: a value that a reader split at
// "/" into CR-separated values is joined back when it matches one of them.
std::u16string RejoinSlashArtists(std::u16string_view value);
// Applies RejoinSlashArtists to the artist, artist sort, album artist and album artist sort entries.
void ApplySlashArtistRule(TagList& list);
