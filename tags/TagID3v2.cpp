#include "tags/TagID3v2.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/ByteReader.h"
#include "io/Text.h"
#include "tags/Id3Errors.h"
#include "tags/Id3Frame.h"
#include "tags/Id3Genres.h"
#include "tags/Id3Header.h"
#include "tags/Id3Text.h"

namespace {

using id3parser::Frame;
using id3parser::TextEncoding;
using id3parser::TextReader;

using id3parser::FrameName;

// Artist texts with "/" between names become several values; the slash-artist
// rule joins back the names that contain "/" themselves.
constexpr std::array<std::string_view, 4> kSplitAtSlash = {"artist", "artist sort", "album artist",
                                                           "album artist sort"};

constexpr std::size_t kLanguageSize = 3;
constexpr std::size_t kV22ImageFormatSize = 3;
constexpr int kMaxGenreDigits = 3;

std::optional<std::string_view> Lookup(std::span<const FrameName> table, std::string_view id) {
  for (const FrameName& entry : table) {
    if (entry.id == id) return entry.name;
  }
  return std::nullopt;
}

std::optional<int> GenreNumber(std::string_view text) {
  if (text.empty() || text.size() > kMaxGenreDigits) return std::nullopt;
  int number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

// A genre reference: "RX", "CR" or a number; anything else is kept as written.
std::string GenreReference(std::string_view ref, std::string_view asWritten) {
  if (ref == "RX") return "Remix";
  if (ref == "CR") return "Cover";
  if (const std::optional<int> number = GenreNumber(ref)) {
    const std::string_view name = id3parser::GenreName(*number);
    if (!name.empty()) return std::string(name);
  }
  return std::string(asWritten);
}

// "(17)", "17", "(RX)", "(17)(9)" and "(17)Text" forms of a TCON value; a
// text after the references refines them and wins; "((" escapes a "(".
std::vector<std::string> GenreValues(std::string_view text) {
  if (text.starts_with("((")) return {std::string(text.substr(1))};
  std::vector<std::string> refs;
  while (text.starts_with("(")) {
    const std::size_t close = text.find(')');
    if (close == std::string_view::npos) break;
    refs.push_back(GenreReference(text.substr(1, close - 1), text.substr(0, close + 1)));
    text.remove_prefix(close + 1);
  }
  if (refs.empty()) return {GenreReference(text, text)};
  if (text.starts_with("((")) text.remove_prefix(1);
  if (!text.empty()) return {std::string(text)};
  return refs;
}

class FrameCollector {
 public:
  FrameCollector(const ID3v2ReadOptions& options, int major) : options_(options), major_(major) {}

  void Add(const Frame& frame);
  // Hands the collected entries to out; the collector is spent. The pictures are views into the frames until
  // then. With storage (the bytes the frames were read from, which the caller gives up), a picture that fills
  // most of it takes the storage over instead of being copied: the tag is spent once read, and its picture
  // can be hundreds of kilobytes.
  void AppendTo(TagList& out, std::vector<std::uint8_t>* storage);

 private:
  using Handler = void (FrameCollector::*)(const Frame&, ByteReader&);
  struct Special {
    std::string_view id;
    Handler handler;
  };
  static const std::array<Special, 10> kSpecial;

  std::optional<std::string_view> TextName(std::string_view id) const;
  // The frame's text values: every zero-separated string from 2.4 on, only
  // the first before (later strings are not meant to be shown there).
  std::vector<std::string> Values(TextReader& text) const;
  void AddValue(const std::string& name, const std::string& value);

  void Text(std::string_view name, ByteReader& r);
  void Url(std::string_view name, ByteReader& r);
  void RoleList(std::string_view name, ByteReader& r);
  void UserText(const Frame& frame, ByteReader& r);
  void UserUrl(const Frame& frame, ByteReader& r);
  void Comment(const Frame& frame, ByteReader& r);
  void Lyrics(const Frame& frame, ByteReader& r);
  void Genre(const Frame& frame, ByteReader& r);
  void Rating(const Frame& frame, ByteReader& r);
  void Picture(const Frame& frame, ByteReader& r);
  void CdToc(const Frame& frame, ByteReader& r);
  void DayMonth(const Frame& frame, ByteReader& r);
  void HourMinute(const Frame& frame, ByteReader& r);
  // Before 2.4 a year frame holds the year alone and TDAT and TIME the rest of the date.
  void CompleteYear(std::map<std::string, std::vector<std::string>>& values) const;

  struct PictureEntry {
    std::u16string name;
    ByteSpan data;
  };
  const PictureEntry* PictureToAdopt(const std::vector<std::uint8_t>& storage) const;

  const ID3v2ReadOptions& options_;
  int major_;
  std::map<std::string, std::vector<std::string>> values_;  // by UTF-8 name, in byte order
  std::vector<PictureEntry> pictures_;
  std::optional<std::vector<std::uint8_t>> cdtoc_;
  std::optional<std::string> dayMonth_, hourMinute_;  // TDAT "DDMM", TIME "HHMM"
};

const std::array<FrameCollector::Special, 10> FrameCollector::kSpecial = {{
    {"TXXX", &FrameCollector::UserText},
    {"WXXX", &FrameCollector::UserUrl},
    {"COMM", &FrameCollector::Comment},
    {"USLT", &FrameCollector::Lyrics},
    {"TCON", &FrameCollector::Genre},
    {"POPM", &FrameCollector::Rating},
    {"APIC", &FrameCollector::Picture},
    {"MCDI", &FrameCollector::CdToc},
    {"TDAT", &FrameCollector::DayMonth},
    {"TIME", &FrameCollector::HourMinute},
}};

void FrameCollector::Add(const Frame& frame) {
  ByteReader r(frame.body());
  for (const Special& special : kSpecial) {
    if (special.id == frame.id) return (this->*special.handler)(frame, r);
  }
  if (const std::optional<std::string_view> name = TextName(frame.id)) return Text(*name, r);
  if (const std::optional<std::string_view> name = Lookup(id3parser::UrlFrameNames(), frame.id)) return Url(*name, r);
  if (const std::optional<std::string_view> name = Lookup(id3parser::RoleListFrameNames(), frame.id))
    return RoleList(*name, r);
}

std::optional<std::string_view> FrameCollector::TextName(std::string_view id) const {
  if (id == "TPE2" && options_.tpe2Orchestra) return "Orchestra";
  if (id == "TIT1" && options_.tit1Style) return "Style";
  return Lookup(id3parser::TextFrameNames(), id);
}

std::vector<std::string> FrameCollector::Values(TextReader& text) const {
  if (major_ >= 4) return text.All();
  return {text.Next()};
}

void FrameCollector::AddValue(const std::string& name, const std::string& value) {
  if (name.empty() || value.empty()) return;
  std::vector<std::string>& values = values_[name];
  const std::string folded = LowerAscii(name);
  bool split = false;
  for (const std::string_view artist : kSplitAtSlash) split = split || folded == artist;
  if (!split) {
    values.push_back(value);
    return;
  }
  // Empty pieces stay, so that "//LYSE//" can be joined back exactly.
  std::size_t start = 0;
  while (start <= value.size()) {
    const std::size_t slash = std::min(value.find('/', start), value.size());
    values.push_back(value.substr(start, slash - start));
    start = slash + 1;
  }
}

void FrameCollector::Text(std::string_view name, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return;
  TextReader text(r, encoding);
  for (const std::string& value : Values(text)) AddValue(std::string(name), value);
}

void FrameCollector::Url(std::string_view name, ByteReader& r) {
  TextReader text(r, TextEncoding::Latin1);
  AddValue(std::string(name), text.Next());
}

// Pairs of role and person; each pair is one value "role: person".
void FrameCollector::RoleList(std::string_view name, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return;
  TextReader text(r, encoding);
  const std::vector<std::string> strings = text.All();
  for (std::size_t i = 0; i < strings.size(); i += 2) {
    const std::string& role = strings[i];
    const std::string person = i + 1 < strings.size() ? strings[i + 1] : std::string();
    if (role.empty() || person.empty()) {
      AddValue(std::string(name), role + person);
    } else {
      AddValue(std::string(name), role + ": " + person);
    }
  }
}

void FrameCollector::UserText(const Frame&, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return;
  TextReader text(r, encoding);
  const std::string description = text.Next();
  for (const std::string& value : Values(text)) AddValue(description, value);
}

void FrameCollector::UserUrl(const Frame&, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return;
  TextReader description(r, encoding);
  description.Next();
  TextReader url(r, TextEncoding::Latin1);
  AddValue("User defined URL link", url.Next());
}

void FrameCollector::Comment(const Frame&, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding) || !r.Skip(kLanguageSize)) return;
  TextReader text(r, encoding);
  const std::string description = text.Next();
  // Normalisation and similar data that one player family keeps in comments.
  AddValue(description.starts_with("iTun") ? "iTunNORM" : "Comment", text.Next());
}

void FrameCollector::Lyrics(const Frame&, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding) || !r.Skip(kLanguageSize)) return;
  TextReader text(r, encoding);
  text.Next();
  AddValue("Lyrics", text.Next());
}

void FrameCollector::Genre(const Frame&, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return;
  TextReader text(r, encoding);
  for (const std::string& value : Values(text)) {
    if (value.empty()) continue;
    for (const std::string& genre : GenreValues(value)) AddValue("Genre", genre);
  }
}

// The rating byte (0..255) in decimal; the e-mail address and play count are dropped.
void FrameCollector::Rating(const Frame&, ByteReader& r) {
  TextReader email(r, TextEncoding::Latin1);
  email.Next();
  const std::uint8_t rating = r.U8();
  if (!r.ok()) return;
  AddValue("Rating", std::to_string(rating));
}

void FrameCollector::Picture(const Frame&, ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return;
  if (major_ == 2) {
    r.Skip(kV22ImageFormatSize);
  } else {
    TextReader mime(r, TextEncoding::Latin1);
    mime.Next();
  }
  const std::uint8_t type = r.U8();
  TextReader text(r, encoding);
  const std::string description = text.Next();
  const ByteSpan image = r.Rest();
  if (!r.ok() || image.empty()) return;
  const int ordinal = int(pictures_.size()) + 1;
  pictures_.push_back({AlbumArtName(ordinal, type, Utf8ToWide(description)), image});
}

void FrameCollector::CdToc(const Frame& frame, ByteReader&) {
  if (!cdtoc_ && !frame.body().empty()) cdtoc_.emplace(frame.body().begin(), frame.body().end());
}

// Four digits, or nothing.
std::optional<std::string> FourDigits(ByteReader& r) {
  TextEncoding encoding{};
  if (!id3parser::ReadEncoding(r, encoding)) return std::nullopt;
  TextReader text(r, encoding);
  const std::string value = text.Next();
  if (value.size() != 4 || !std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return std::nullopt;
  return value;
}

void FrameCollector::DayMonth(const Frame&, ByteReader& r) {
  if (!dayMonth_) dayMonth_ = FourDigits(r);
}

void FrameCollector::HourMinute(const Frame&, ByteReader& r) {
  if (!hourMinute_) hourMinute_ = FourDigits(r);
}

void FrameCollector::CompleteYear(std::map<std::string, std::vector<std::string>>& values) const {
  const auto year = values.find("Year");
  if (major_ >= 4 || !dayMonth_ || year == values.end() || year->second.empty()) return;
  std::string& date = year->second.front();
  if (date.size() != 4 || !std::all_of(date.begin(), date.end(), [](char c) { return c >= '0' && c <= '9'; })) return;
  const std::string& dm = *dayMonth_;
  date += "-" + dm.substr(2, 2) + "-" + dm.substr(0, 2);
  if (hourMinute_) date += "T" + hourMinute_->substr(0, 2) + ":" + hourMinute_->substr(2, 2);
}

const FrameCollector::PictureEntry* FrameCollector::PictureToAdopt(const std::vector<std::uint8_t>& storage) const {
  const auto begin = reinterpret_cast<std::uintptr_t>(storage.data());
  const auto end = begin + storage.size();
  const PictureEntry* largest = nullptr;
  for (const PictureEntry& picture : pictures_) {
    const auto at = reinterpret_cast<std::uintptr_t>(picture.data.data());
    // An unsynchronised tag or frame was undone into memory of its own.
    if (at < begin || at + picture.data.size() > end) continue;
    if (!largest || picture.data.size() > largest->data.size()) largest = &picture;
  }
  // A small picture must not keep a large tag's memory alive.
  return largest && largest->data.size() >= storage.size() / 2 ? largest : nullptr;
}

void FrameCollector::AppendTo(TagList& out, std::vector<std::uint8_t>* storage) {
  TagList list;
  if (options_.reportVersion) list.AddTag(u"TagVersion", u"ID3v2." + ToText(major_));
  std::map<std::string, std::vector<std::string>> byName = values_;
  CompleteYear(byName);
  for (const auto& [name, values] : byName) {
    if (name.starts_with('_') || values.empty()) continue;
    std::string joined = values.front();
    for (std::size_t i = 1; i < values.size(); ++i) joined += '\r' + values[i];
    list.AddTag(Utf8ToWide(name), Utf8ToWide(joined));
  }
  const PictureEntry* adopt = storage ? PictureToAdopt(*storage) : nullptr;
  TagEntry* adopter = nullptr;
  for (const PictureEntry& picture : pictures_) {
    if (&picture == adopt)
      adopter = &list.AddTag(picture.name, u"", std::vector<std::uint8_t>{});
    else
      list.AddTag(picture.name, u"", picture.data);
  }
  if (cdtoc_) list.AddTag(u"_cdtoc", u"", *cdtoc_);
  ApplySlashArtistRule(list);
  // Last: nothing else may look into the storage any more.
  if (adopter) {
    std::memmove(storage->data(), adopt->data.data(), adopt->data.size());
    storage->resize(adopt->data.size());
    adopter->data = std::move(*storage);
    storage->clear();
  }
  out.TakeEntries(std::move(list));
}

std::int64_t ReadTag(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>* storage, TagList& out,
                     const ID3v2ReadOptions& options) {
  try {
    const id3parser::TagHeader header = id3parser::ReadTagHeader(bytes);
    FrameCollector collector(options, header.major);
    // A compressed 2.2 tag has no defined compression: it is read as empty.
    if (header.compressed) {
      collector.AppendTo(out, nullptr);
      return header.TotalSize();
    }
    // The collector's pictures look into the area and the frames until it hands them over.
    const id3parser::HeldBytes area = id3parser::FrameArea(bytes, header);
    const std::vector<Frame> frames = id3parser::ReadFrames(area.bytes(), header);
    for (const Frame& frame : frames) collector.Add(frame);
    collector.AppendTo(out, storage);
    return header.TotalSize();
  } catch (const id3parser::parseError&) {
    throw;
  } catch (const id3parser::notSeekableError&) {
    throw;
  } catch (const std::exception&) {
    // Out of memory and the like: to the caller it is a tag it could not read.
    throw id3parser::parseError();
  }
}
}  // namespace

std::int64_t ReadID3v2(std::span<const std::uint8_t> bytes, TagList& out, const ID3v2ReadOptions& options) {
  return ReadTag(bytes, nullptr, out, options);
}

std::int64_t ReadID3v2(std::vector<std::uint8_t>&& storage, TagList& out, const ID3v2ReadOptions& options) {
  return ReadTag(storage, &storage, out, options);
}
