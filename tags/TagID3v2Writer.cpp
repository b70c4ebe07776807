// Versions and their choices, as the writer understands them:
// - 2.3 (the default) and 2.4 follow their published documents. Several
//   values of one name go into one frame: zero-separated in 2.4; in 2.3,
//   whose text frames hold one string, joined with "/" (the separator that
//   version gives the artist frames, and what readers split artists at).
// - 2.2 ("ID3v2WriteV22") uses the three-letter frames that readers convert
//   back; several values are joined with "/" as in 2.3.
// - "2.21" ("ID3v2WriteV221") is the same 2.2 tag, except that several
//   values of one name become several frames of that identifier, one value
//   each, as some 2.2 writers did. Readers take each frame as one value, so a
//   list of genres or composers comes back as the list it was, not as one
//   text with slashes.
// Frames that 2.2 has no identifier for, or that readers of 2.2 do not turn
// into the name they came from (lyrics, rating, original release year),
// travel in TXX frames described by their tag name, which reads back under
// that name. The CD table of contents is binary and has only MCI there.
//
// Text is ISO-8859-1 unless the user chose Unicode; a frame whose text does
// not fit is written in the version's Unicode encoding instead (UTF-16 with a
// byte order mark before 2.4, UTF-8 in 2.4) rather than losing characters.
// UTF-8 chosen for a version that has none gives UTF-16 with a byte order mark.
//
// No padding: the tag writer puts the tag into a chunk of its own and moves
// neighbouring chunks itself, and an empty tag must stay at 10 bytes.

#include "tags/TagID3v2Writer.h"

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <optional>
#include <string_view>

#include "io/ByteWriter.h"
#include "io/Text.h"
#include "tags/CdToc.h"
#include "tags/Id3Errors.h"
#include "tags/Id3Frame.h"
#include "tags/Id3Genres.h"
#include "tags/Id3WriteFrame.h"
#include "tags/Id3WriteText.h"

namespace {

using id3parser::TextChoice;
using id3parser::TextEncoding;
using Bytes = std::vector<std::uint8_t>;

using Version = ID3v2WriteSettings::Version;

int Major(Version version) {
  if (version == Version::V24) return 4;
  return version == Version::V23 ? 3 : 2;
}

enum class Kind {
  Text,
  UserText,
  Url,
  UserUrl,
  Comment,
  Lyrics,
  Genre,
  Rating,
  Year,
  OriginalYear,
  RoleList,
  Picture,
  CdToc
};

// Where one entry goes: the kind of frame, its 2.3/2.4 identifier where the
// kind has several, and the description that tells frames of one kind apart.
struct Target {
  Kind kind;
  std::string_view id;
  std::u16string description;
  std::uint8_t pictureType = 0;
};

// Names other programs use for frames the table names otherwise.
constexpr std::array<id3parser::FrameName, 1> kAliases = {{{"TBPM", "tempo"}}};

// Frames the reader's 2.2 table does not list because it never reads them,
// with the identifiers the 2.2 document gives them.
constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kWriteOnlyV22Ids = {{
    {"TDAT", "TDA"},
    {"TIME", "TIM"},
    {"MCDI", "MCI"},
}};

constexpr std::string_view kPopmEmail = "Windows Media Player 9 Series";
constexpr std::string_view kLanguage = "eng";
constexpr std::u16string_view kSlash = u"/";
constexpr int kMaxRating = 255;
constexpr int kGenreCount = 126;

// Date shapes; '#' is one decimal digit. The field offsets below hold for all.
constexpr std::array<std::u16string_view, 7> kDateForms = {
    u"####", u"####-##", u"####-##-##", u"####-##-##T##", u"####-##-##T##:##", u"####-##-##T##:##:##", u"#### ## ##",
};
constexpr std::size_t kYearDigits = 4;
constexpr std::size_t kMonthAt = 5;
constexpr std::size_t kDayAt = 8;
constexpr std::size_t kHourAt = 11;
constexpr std::size_t kMinuteAt = 14;
constexpr std::size_t kFieldDigits = 2;

std::optional<std::string_view> FindId(std::span<const id3parser::FrameName> table, std::u16string_view name) {
  for (const id3parser::FrameName& entry : table) {
    if (EqualsFolded(name, entry.name)) return entry.id;
  }
  return std::nullopt;
}

bool ContainsFolded(std::u16string_view text, std::u16string_view part) {
  const auto same = [](char16_t a, char16_t b) { return FoldAscii(a) == FoldAscii(b); };
  return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

bool MatchesForm(std::u16string_view value, std::u16string_view form) {
  if (value.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool digit = value[i] >= u'0' && value[i] <= u'9';
    if (form[i] == u'#' ? !digit : value[i] != form[i]) return false;
  }
  return true;
}

bool IsDate(std::u16string_view value) {
  for (const std::u16string_view form : kDateForms) {
    if (MatchesForm(value, form)) return true;
  }
  return false;
}

// A date with blanks between its fields in the form with hyphens.
std::u16string NormalisedDate(std::u16string value) {
  if (value.size() > kDayAt) value[kMonthAt - 1] = value[kDayAt - 1] = u'-';
  return value;
}

std::vector<std::u16string> SplitValues(std::u16string_view value) {
  std::vector<std::u16string> values;
  std::size_t start = 0;
  while (start <= value.size()) {
    const std::size_t cr = std::min(value.find(u'\r', start), value.size());
    if (cr > start) values.emplace_back(value.substr(start, cr - start));
    start = cr + 1;
  }
  return values;
}

// Texts of several lines, where a carriage return ends a line rather than a value.
bool RunningText(std::u16string_view name) {
  for (const std::u16string_view running : {u"comment", u"iTunNORM", u"description", u"CUESHEET", u"EACLOG"}) {
    if (EqualsFolded(name, running)) return true;
  }
  return ContainsFolded(name, u"lyrics");
}

std::u16string Join(std::span<const std::u16string> values, std::u16string_view separator) {
  std::u16string joined;
  for (const std::u16string& value : values) {
    if (!joined.empty()) joined += separator;
    joined += value;
  }
  return joined;
}

std::optional<int> GenreNumber(std::u16string_view name) {
  for (int i = 0; i < kGenreCount; ++i) {
    if (EqualsFolded(name, Widen(id3parser::GenreName(i)))) return i;
  }
  return std::nullopt;
}

std::optional<std::uint8_t> RatingByte(std::u16string_view value) {
  if (value.empty()) return std::nullopt;
  int rating = 0;
  for (const char16_t c : value) {
    if (c < u'0' || c > u'9') return std::nullopt;
    rating = std::min(kMaxRating, rating * 10 + (c - u'0'));
  }
  return std::uint8_t(rating);
}

class TagRenderer {
 public:
  explicit TagRenderer(const ID3v2WriteSettings& settings) : s_(settings), major_(Major(settings.version)) {}

  void Add(const TagEntry& entry);
  Bytes Render() const;

 private:
  struct Pending {
    Target target;
    std::vector<std::u16string> values;
    Bytes data;
  };

  std::optional<Target> Classify(const TagEntry& entry) const;
  std::optional<Target> ClassifyText(std::u16string_view name) const;
  Target ForVersion(Target target, std::u16string_view name) const;
  std::string FrameId(std::string_view id) const;
  Pending& Slot(const Target& target);
  // The string lists of the frames that carry these values of one name.
  std::vector<std::vector<std::u16string>> PerFrame(const std::vector<std::u16string>& values) const;

  void Emit(Bytes& out, const Pending& p) const;
  void EmitText(Bytes& out, std::string_view id, const std::u16string* description,
                const std::vector<std::u16string>& strings) const;
  void EmitTexts(Bytes& out, std::string_view id, const std::u16string* description,
                 const std::vector<std::u16string>& values) const;
  void EmitGenre(Bytes& out, const std::vector<std::u16string>& values) const;
  void EmitDate(Bytes& out, const Pending& p) const;
  void EmitUrl(Bytes& out, const Pending& p) const;
  void EmitUserUrl(Bytes& out, const Pending& p) const;
  void EmitCommentLike(Bytes& out, std::string_view id, const Pending& p) const;
  void EmitRating(Bytes& out, const Pending& p) const;
  void EmitRoleList(Bytes& out, const Pending& p) const;
  void EmitPicture(Bytes& out, const Pending& p) const;
  void AppendFrame(Bytes& out, std::string_view id, const Bytes& body) const;

  // What tells frames apart: kind, identifier and description (compared as names are).
  struct SlotKey {
    Kind kind;
    std::string_view id;
    TagNameKey description;  // a view of the description in pending_
    bool operator<(const SlotKey& o) const {
      if (kind != o.kind) return kind < o.kind;
      if (id != o.id) return id < o.id;
      return description < o.description;
    }
  };

  const ID3v2WriteSettings& s_;
  int major_;
  // In the order their names first appear; a deque, so that the slots' views stay put.
  std::deque<Pending> pending_;
  // The pending frame of each key: many user text names must not be scanned once per name.
  std::map<SlotKey, Pending*> slots_;
  bool haveCdToc_ = false;
};

void TagRenderer::Add(const TagEntry& entry) {
  const std::optional<Target> target = Classify(entry);
  if (!target) return;
  if (target->kind == Kind::Picture) {
    pending_.push_back({*target, {}, entry.data});
    return;
  }
  if (target->kind == Kind::CdToc) {
    // One disc, one table: a second would be a second disc's.
    if (haveCdToc_) return;
    Bytes record = entry.data.empty() ? CdTocFromText(entry.value) : entry.data;
    if (record.empty()) return;
    haveCdToc_ = true;
    pending_.push_back({*target, {}, std::move(record)});
    return;
  }
  std::vector<std::u16string> values = RunningText(entry.name) ? std::vector{entry.value} : SplitValues(entry.value);
  if (values.empty()) return;
  Pending& p = Slot(*target);
  for (std::u16string& value : values) p.values.push_back(std::move(value));
}

std::optional<Target> TagRenderer::Classify(const TagEntry& entry) const {
  const std::u16string& name = entry.name;
  if (entry.value.empty() && entry.data.empty()) return std::nullopt;
  if (IsAlbumArtName(name)) {
    if (entry.data.empty()) return std::nullopt;
    std::u16string typeName, description;
    SplitAlbumArtName(name, typeName, description);
    return Target{Kind::Picture, "APIC", description, std::uint8_t(PictureTypeFromName(typeName))};
  }
  if (EqualsFolded(name, u"_cdtoc")) return Target{Kind::CdToc, "MCDI", {}};
  // "_riff_" chunks, checksums and other entries of the program's own are no
  // ID3 material, and readers drop such names anyway.
  if (name.starts_with(u'_') || EqualsFolded(name, u"TagVersion") || entry.value.empty()) return std::nullopt;
  std::optional<Target> target = ClassifyText(name);
  if (!target) return std::nullopt;
  // URL frames hold ISO-8859-1 only; other text keeps its characters in a user text frame.
  if ((target->kind == Kind::Url || target->kind == Kind::UserUrl) && !id3parser::FitsLatin1(entry.value)) {
    target = Target{Kind::UserText, "TXXX", name};
  }
  return ForVersion(*target, name);
}

std::optional<Target> TagRenderer::ClassifyText(std::u16string_view name) const {
  if (EqualsFolded(name, u"comment")) return Target{Kind::Comment, "COMM", {}};
  // A reader gives every comment whose description begins "iTun" this name.
  if (EqualsFolded(name, u"iTunNORM")) return Target{Kind::Comment, "COMM", u"iTunNORM"};
  if (ContainsFolded(name, u"lyrics")) {
    return Target{Kind::Lyrics, "USLT", EqualsFolded(name, u"lyrics") ? u"" : std::u16string(name)};
  }
  if (EqualsFolded(name, u"genre")) return Target{Kind::Genre, "TCON", {}};
  if (EqualsFolded(name, u"rating")) return Target{Kind::Rating, "POPM", {}};
  if (EqualsFolded(name, u"year")) return Target{Kind::Year, "TDRC", {}};
  if (EqualsFolded(name, u"original release year")) return Target{Kind::OriginalYear, "TDOR", {}};
  if (EqualsFolded(name, u"User defined URL link")) return Target{Kind::UserUrl, "WXXX", {}};
  // With an override the frame carries the other name alone, and its usual
  // name has no frame left: it goes into a user text frame, where the same
  // reader settings find it again.
  if (s_.tpe2Orchestra) {
    if (EqualsFolded(name, u"Orchestra")) return Target{Kind::Text, "TPE2", {}};
    if (EqualsFolded(name, u"Album Artist")) return Target{Kind::UserText, "TXXX", std::u16string(name)};
  }
  if (s_.tit1Style) {
    if (EqualsFolded(name, u"Style")) return Target{Kind::Text, "TIT1", {}};
    if (EqualsFolded(name, u"Content Group")) return Target{Kind::UserText, "TXXX", std::u16string(name)};
  }
  if (const auto id = FindId(id3parser::TextFrameNames(), name)) return Target{Kind::Text, *id, {}};
  if (const auto id = FindId(kAliases, name)) return Target{Kind::Text, *id, {}};
  if (const auto id = FindId(id3parser::UrlFrameNames(), name)) return Target{Kind::Url, *id, {}};
  if (const auto id = FindId(id3parser::RoleListFrameNames(), name)) return Target{Kind::RoleList, *id, {}};
  return Target{Kind::UserText, "TXXX", std::u16string(name)};
}

Target TagRenderer::ForVersion(Target target, std::u16string_view name) const {
  const Target userText{Kind::UserText, "TXXX", std::u16string(name)};
  // Role lists are 2.4 frames; the 2.3 list has another layout that readers of the name do not know.
  if (target.kind == Kind::RoleList && major_ < 4) return userText;
  if (major_ != 2) return target;
  switch (target.kind) {
    case Kind::Lyrics:
    case Kind::Rating:
    case Kind::OriginalYear:
    case Kind::RoleList:
      return userText;
    case Kind::Text:
    case Kind::Url:
      return id3parser::V22FrameId(target.id).empty() ? userText : target;
    default:
      return target;
  }
}

// The identifier written for a 2.3/2.4 one: itself, or its 2.2 form.
std::string TagRenderer::FrameId(std::string_view id) const {
  if (major_ != 2) return std::string(id);
  for (const auto& [v23, v22] : kWriteOnlyV22Ids) {
    if (v23 == id) return std::string(v22);
  }
  return std::string(id3parser::V22FrameId(id));
}

TagRenderer::Pending& TagRenderer::Slot(const Target& target) {
  const auto found = slots_.find({target.kind, target.id, MakeTagNameKey(target.description)});
  if (found != slots_.end()) return *found->second;
  Pending& p = pending_.emplace_back(Pending{target, {}, {}});
  slots_.emplace(SlotKey{target.kind, target.id, MakeTagNameKey(p.target.description)}, &p);
  return p;
}

std::vector<std::vector<std::u16string>> TagRenderer::PerFrame(const std::vector<std::u16string>& values) const {
  switch (s_.version) {
    case Version::V24:
      return {values};
    case Version::V221: {
      std::vector<std::vector<std::u16string>> frames;
      for (const std::u16string& value : values) frames.push_back({value});
      return frames;
    }
    default:
      return {{Join(values, kSlash)}};
  }
}

Bytes TagRenderer::Render() const {
  Bytes frames;
  for (const Pending& p : pending_) Emit(frames, p);
  return id3parser::WrapFrames(major_, frames);
}

void TagRenderer::Emit(Bytes& out, const Pending& p) const {
  switch (p.target.kind) {
    case Kind::Text:
      return EmitTexts(out, p.target.id, nullptr, p.values);
    case Kind::UserText:
      return EmitTexts(out, "TXXX", &p.target.description, p.values);
    case Kind::Genre:
      return EmitGenre(out, p.values);
    case Kind::Year:
    case Kind::OriginalYear:
      return EmitDate(out, p);
    case Kind::Url:
      return EmitUrl(out, p);
    case Kind::UserUrl:
      return EmitUserUrl(out, p);
    case Kind::Comment:
    case Kind::Lyrics:
      return EmitCommentLike(out, p.target.id, p);
    case Kind::Rating:
      return EmitRating(out, p);
    case Kind::RoleList:
      return EmitRoleList(out, p);
    case Kind::Picture:
      return EmitPicture(out, p);
    case Kind::CdToc:
      return AppendFrame(out, "MCDI", p.data);
  }
}

// Encoding byte, the description when the frame has one, then the strings
// separated by zeros.
void TagRenderer::EmitText(Bytes& out, std::string_view id, const std::u16string* description,
                           const std::vector<std::u16string>& strings) const {
  std::vector<std::u16string> all = strings;
  if (description) all.push_back(*description);
  const TextEncoding encoding = id3parser::ChooseEncoding(s_.text, major_, all);
  Bytes body;
  ByteWriter w(body);
  w.U8(std::uint8_t(encoding));
  if (description) id3parser::AppendText(w, encoding, *description, true);
  for (std::size_t i = 0; i < strings.size(); ++i) {
    id3parser::AppendText(w, encoding, strings[i], i + 1 < strings.size());
  }
  AppendFrame(out, id, body);
}

void TagRenderer::EmitTexts(Bytes& out, std::string_view id, const std::u16string* description,
                            const std::vector<std::u16string>& values) const {
  for (const std::vector<std::u16string>& strings : PerFrame(values)) EmitText(out, id, description, strings);
}

// Before 2.4 a text frame holds one string: several genres that all have
// numbers become "(n)(m)", which readers give back as the list of names.
void TagRenderer::EmitGenre(Bytes& out, const std::vector<std::u16string>& values) const {
  if (s_.version == Version::V23 || s_.version == Version::V22) {
    std::u16string references;
    for (const std::u16string& value : values) {
      const std::optional<int> number = GenreNumber(value);
      if (!number || values.size() < 2) {
        references.clear();
        break;
      }
      references += u"(" + ToText(*number) + u")";
    }
    if (!references.empty()) return EmitText(out, "TCON", nullptr, {references});
  }
  EmitTexts(out, "TCON", nullptr, values);
}

// 2.4 takes dates whole. Before it the year frame holds four digits and the
// day, month and time go into TDAT and TIME (hours and minutes), which is
// done for the dates those three frames carry exactly; any other date (a year
// and month, a time with seconds, blanks between the fields) and the original
// release year, which has no such companions, stay whole in the year frame,
// so that every date comes back as it was written. "WriteFullDateInYearTag"
// keeps every date whole; a frame holds one date, the first.
void TagRenderer::EmitDate(Bytes& out, const Pending& p) const {
  std::vector<std::u16string> values;
  for (const std::u16string& value : p.values) {
    if (!s_.strictYearDate) {
      values.push_back(value);
    } else if (IsDate(value)) {
      values.push_back(NormalisedDate(value));
    }
  }
  if (values.empty()) return;
  if (major_ == 4) return EmitText(out, p.target.id, nullptr, values);
  const bool year = p.target.kind == Kind::Year;
  const std::u16string& date = values.front();
  const bool splits = MatchesForm(date, u"####-##-##") || MatchesForm(date, u"####-##-##T##:##");
  if (!year || s_.fullDateInYear || !splits) return EmitText(out, year ? "TYER" : "TORY", nullptr, {date});
  EmitText(out, "TYER", nullptr, {date.substr(0, kYearDigits)});
  EmitText(out, "TDAT", nullptr, {date.substr(kDayAt, kFieldDigits) + date.substr(kMonthAt, kFieldDigits)});
  if (date.size() < kMinuteAt + kFieldDigits) return;
  EmitText(out, "TIME", nullptr, {date.substr(kHourAt, kFieldDigits) + date.substr(kMinuteAt, kFieldDigits)});
}

// A URL frame may repeat with other addresses; each value gets one.
void TagRenderer::EmitUrl(Bytes& out, const Pending& p) const {
  for (const std::u16string& url : p.values) {
    Bytes body;
    ByteWriter w(body);
    id3parser::AppendText(w, TextEncoding::Latin1, url, false);
    AppendFrame(out, p.target.id, body);
  }
}

void TagRenderer::EmitUserUrl(Bytes& out, const Pending& p) const {
  Bytes body;
  ByteWriter w(body);
  w.U8(std::uint8_t(TextEncoding::Latin1));
  w.U8(0);  // no description
  id3parser::AppendText(w, TextEncoding::Latin1, p.values.front(), false);
  AppendFrame(out, "WXXX", body);
}

// One frame per description, as the documents allow; a second entry of the
// same name continues the text on a new line.
void TagRenderer::EmitCommentLike(Bytes& out, std::string_view id, const Pending& p) const {
  const std::u16string text = Join(p.values, u"\r");
  const std::array<std::u16string, 2> strings = {p.target.description, text};
  const TextEncoding encoding = id3parser::ChooseEncoding(s_.text, major_, strings);
  Bytes body;
  ByteWriter w(body);
  w.U8(std::uint8_t(encoding));
  w.Text(kLanguage);
  id3parser::AppendText(w, encoding, p.target.description, true);
  id3parser::AppendText(w, encoding, text, false);
  AppendFrame(out, id, body);
}

// The rating byte as readers show it (0..255); a value that is no number has no byte.
void TagRenderer::EmitRating(Bytes& out, const Pending& p) const {
  const std::optional<std::uint8_t> rating = RatingByte(p.values.front());
  if (!rating) return;
  Bytes body;
  ByteWriter w(body);
  w.Text(kPopmEmail);
  w.U8(0);
  w.U8(*rating);
  AppendFrame(out, "POPM", body);
}

// Each value "role: person" is one pair; a value without ": " is a role alone.
void TagRenderer::EmitRoleList(Bytes& out, const Pending& p) const {
  std::vector<std::u16string> strings;
  for (const std::u16string& value : p.values) {
    const std::size_t colon = value.find(u": ");
    strings.push_back(value.substr(0, colon));
    strings.push_back(colon == std::u16string::npos ? u"" : value.substr(colon + 2));
  }
  EmitText(out, p.target.id, nullptr, strings);
}

void TagRenderer::EmitPicture(Bytes& out, const Pending& p) const {
  const std::array<std::u16string, 1> strings = {p.target.description};
  const TextEncoding encoding = id3parser::ChooseEncoding(s_.text, major_, strings);
  const std::u16string mime = PictureMimeFromData(p.data);
  Bytes body;
  ByteWriter w(body);
  w.U8(std::uint8_t(encoding));
  if (major_ == 2) {
    w.Text(mime == u"image/png" ? "PNG" : "JPG");
  } else {
    id3parser::AppendText(w, TextEncoding::Latin1, mime.empty() ? u"image/x-unknown" : mime, true);
  }
  w.U8(p.target.pictureType);
  id3parser::AppendText(w, encoding, p.target.description, true);
  w.Bytes(p.data);
  AppendFrame(out, "APIC", body);
}

void TagRenderer::AppendFrame(Bytes& out, std::string_view id, const Bytes& body) const {
  id3parser::AppendFrame(out, major_, FrameId(id), body);
}

}  // namespace

ID3v2WriteSettings ParseID3v2WriteOptions(const ID3v2WriteOptions& options) {
  ID3v2WriteSettings s;
  for (const std::u16string& word : options) {
    if (word == u"ID3v2WriteV22") s.version = Version::V22;
    if (word == u"ID3v2WriteV221") s.version = Version::V221;
    if (word == u"ID3v2WriteV24") s.version = Version::V24;
    if (word == u"ID3v2EncodeUni") s.text = TextChoice::Utf16;
    if (word == u"ID3v2EncodeUTF8") s.text = TextChoice::Utf8;
    if (word == u"WriteFullDateInYearTag") s.fullDateInYear = true;
    if (word == u"WriteStrictYearDate") s.strictYearDate = true;
    if (word == u"TPE2Orchestra") s.tpe2Orchestra = true;
    if (word == u"TIT1Style") s.tit1Style = true;
  }
  return s;
}

std::vector<std::uint8_t> RenderID3v2(const TagList& tags, const ID3v2WriteSettings& settings) {
  try {
    TagRenderer renderer(settings);
    for (std::size_t i = 0; i < tags.size(); ++i) renderer.Add(tags[i]);
    return renderer.Render();
  } catch (const id3parser::writeError&) {
    throw;
  } catch (const std::exception&) {
    // Out of memory and the like: to the caller it is a tag it could not render.
    throw id3parser::writeError();
  }
}

std::vector<std::uint8_t> RenderID3v2(const TagList& tags, const ID3v2WriteOptions& options) {
  return RenderID3v2(tags, ParseID3v2WriteOptions(options));
}
