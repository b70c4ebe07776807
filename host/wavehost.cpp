// wavehost: drives the wave plug-in from a terminal exactly as the real host
// does, through its nine exports and nothing else.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "host/HostPlatform.h"
#include "host/Plugin.h"
#include "host/TagBlock.h"
#include "host/WavWriter.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "riff/TagSettings.h"
#include "tags/TagList.h"

namespace {
const char kUsage[] =
    "usage: wavehost [--plugin PATH] COMMAND ...\n"
    "  open FILE [--trace]   open FILE as the host does and print the result;\n"
    "                        --trace prints the plug-in's trace log\n"
    "  info FILE [--json] [--trace]\n"
    "                        format, length, bit rate, properties, tags and chunk map\n"
    "  decode FILE (-o OUT.wav | --null) [--range START:END] [--seek BLOCK] [--stats] [--trace]\n"
    "                        decode as the host does and write what it receives;\n"
    "                        START, END and BLOCK count blocks of the stored format;\n"
    "                        --stats reports bytes, seconds and throughput on stderr\n"
    "  tags FILE [--json] [--trace]\n"
    "                        the tags as the host receives them; pictures and other\n"
    "                        binary tags as type, size and MIME type\n"
    "  formats               what the plug-in decodes (extensions and MIME types)\n"
    "  options               the tagging option pages, current choices marked *\n"
    "  tag FILE NAME=VALUE... [--picture IMAGE [--picture-type N] [--description TEXT]] [--trace]\n"
    "                        write tags (Set \"IDTags\"); the file's other tags stay;\n"
    "                        N is the picture type, 3 (front cover) when not given\n"
    "  untag FILE [NAME...] [--trace]\n"
    "                        delete the named tags, or every tag when none is named\n"
    "  settings [NAME VALUE] the eight tagging settings as stored, or change one\n";

// Trace text arrives as UTF-16 with CR LF; the terminal wants UTF-8 lines.
std::string ForTerminal(const std::u16string& text) {
  std::string out = WideToUtf8(text);
  std::string clean;
  clean.reserve(out.size());
  for (char c : out)
    if (c != '\r') clean.push_back(c);
  return clean;
}

struct Session {
  Plugin plugin;
  TraceSink trace;
  TraceSink errors;
  TraceContext context{};
  void* decoder = nullptr;

  ~Session() {
    if (decoder) plugin.Destroy(decoder);
  }
  bool Start(const std::string& pluginPath) {
    std::string error;
    if (!plugin.Load(pluginPath, error)) {
      std::fprintf(stderr, "wavehost: %s\n", error.c_str());
      return false;
    }
    context = {errors.handle(), 0, trace.handle()};
    decoder = plugin.Create(&context);
    return decoder != nullptr;
  }
  void PrintTrace() { std::fputs(ForTerminal(trace.TakeNew()).c_str(), stdout); }
  void PrintErrors() {
    const std::string text = ForTerminal(errors.TakeNew());
    if (!text.empty()) std::fprintf(stderr, "wavehost: %s", text.c_str());
  }
};

int CommandOpen(Session& s, const std::vector<std::string>& args) {
  std::string file;
  bool trace = false;
  for (const auto& a : args) {
    if (a == "--trace")
      trace = true;
    else if (file.empty())
      file = a;
  }
  if (file.empty()) return std::fputs(kUsage, stderr), 2;
  const std::u16string name = Utf8ToWide(file);
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  const int ok = s.plugin.Open(s.decoder, &record);
  s.plugin.Close(s.decoder, 0);
  if (trace) s.PrintTrace();
  std::printf("Open: %d\n", ok);
  if (!ok) s.PrintErrors();
  return ok ? 0 : 1;
}
struct FormatView {
  std::uint16_t tag, channels, bits, cbSize;
  std::uint32_t rate, byteRate;
};

FormatView ViewFormat(const std::uint8_t (&format)[40]) {
  ByteReader r(ByteSpan(format, 18));
  FormatView v{};
  v.tag = r.U16();
  v.channels = r.U16();
  v.rate = r.U32();
  v.byteRate = r.U32();
  r.U16();
  v.bits = r.U16();
  v.cbSize = r.U16();
  return v;
}

std::string Duration(std::int64_t ms) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%lld:%02lld:%02lld.%03lld", (long long)(ms / 3600000), (long long)(ms / 60000 % 60),
                (long long)(ms / 1000 % 60), (long long)(ms % 1000));
  return buf;
}

// Options shared by the commands: the file, --trace, and whatever else is asked for.
struct Args {
  std::string file, output, range;
  std::int64_t seek = -1;
  bool trace = false, null = false, stats = false, json = false, bad = false;
};

Args ParseArgs(const std::vector<std::string>& args) {
  Args a;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& v = args[i];
    const bool hasNext = i + 1 < args.size();
    if (v == "--trace") {
      a.trace = true;
    } else if (v == "--null") {
      a.null = true;
    } else if (v == "--stats") {
      a.stats = true;
    } else if (v == "--json") {
      a.json = true;
    } else if (v == "-o" && hasNext) {
      a.output = args[++i];
    } else if (v == "--range" && hasNext) {
      a.range = args[++i];
    } else if (v == "--seek" && hasNext) {
      a.seek = std::stoll(args[++i]);
    } else if (a.file.empty() && v.rfind("-", 0) != 0) {
      a.file = v;
    } else {
      a.bad = true;
    }
  }
  if (a.file.empty()) a.bad = true;
  return a;
}

std::string Grouped(std::u16string_view value) {
  std::string digits;
  for (char16_t c : value)
    if (c >= u'0' && c <= u'9') digits.push_back(char(c));
  return digits;
}

std::string JsonString(const std::string& utf8);
std::vector<std::string> SplitValues(const std::u16string& value);
void PrintTagsJson(const std::vector<HostTag>& tags);
void PrintTagsText(const std::vector<HostTag>& tags, const char* indent);

int CommandInfo(Session& s, const Args& a) {
  const std::u16string name = Utf8ToWide(a.file);
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = kOpenAudioInfo | kOpenReadTags | kOpenProperties;
  const int ok = s.plugin.Open(s.decoder, &record);
  // The blocks belong to the plug-in until Close: read them first.
  const std::vector<HostTag> tags = ok ? ParseTagBlock(record.TagData, record.TagDataBytes) : std::vector<HostTag>{};
  const std::vector<HostTag> props = ok ? ParseTagBlock(record.PropData, record.PropDataBytes) : std::vector<HostTag>{};
  s.plugin.Close(s.decoder, 0);
  if (a.trace) s.PrintTrace();
  if (!ok) {
    s.PrintErrors();
    return 1;
  }
  const FormatView f = ViewFormat(record.Format);
  std::string chunkMap;
  long long samples = (long long)(record.LengthMs * f.rate / 1000);
  for (const HostTag& p : props) {
    if (p.name == u"Riff Chunks") chunkMap = WideToUtf8(p.value);
    if (p.name == u"Sample Count") samples = std::stoll("0" + Grouped(p.value));
  }
  if (a.json) {
    std::printf(
        "{\"file\": %s,\n \"format\": {\"tag\": %u, \"channels\": %u, \"sampleRate\": %u, \"bitsPerSample\": %u, "
        "\"bytesPerSecond\": %u, \"cbSize\": %u},\n",
        JsonString(a.file).c_str(), f.tag, f.channels, f.rate, f.bits, f.byteRate, f.cbSize);
    std::printf(" \"lengthMs\": %lld, \"length\": \"%s\", \"samples\": %lld, \"bitRate\": %u, \"dataBytes\": %lld,\n",
                (long long)record.LengthMs, Duration(record.LengthMs).c_str(), samples, record.BitRate,
                (long long)record.DataBytes);
    std::printf(" \"properties\": {");
    for (std::size_t i = 0; i < props.size(); ++i)
      std::printf("%s\n  %s: %s", i ? "," : "", JsonString(WideToUtf8(props[i].name)).c_str(),
                  JsonString(WideToUtf8(props[i].value)).c_str());
    std::printf("},\n \"tags\": ");
    PrintTagsJson(tags);
    std::printf("}\n");
    return 0;
  }
  std::printf("File:        %s\n", a.file.c_str());
  std::printf("Format:      tag %u, %u channels, %u Hz, %u bits\n", f.tag, f.channels, f.rate, f.bits);
  std::printf("Length:      %s (%lld samples)\n", Duration(record.LengthMs).c_str(), samples);
  std::printf("Bit rate:    %u kbit/s\n", record.BitRate / 1000);
  std::printf("Data size:   %lld bytes\n", (long long)record.DataBytes);
  std::printf("Properties:\n");
  for (const HostTag& p : props)
    if (p.name != u"Riff Chunks") std::printf("  %s: %s\n", WideToUtf8(p.name).c_str(), WideToUtf8(p.value).c_str());
  std::printf("Tags:%s\n", tags.empty() ? " (none)" : "");
  PrintTagsText(tags, "  ");
  std::printf("Chunks:      %s\n", chunkMap.c_str());
  return 0;
}

// Redraws only when the percentage changes: a terminal needs no more, and on
// Windows a character device such as NUL also counts as a terminal.
class ProgressBar {
 public:
  explicit ProgressBar(bool enabled) : enabled_(enabled) {}
  ~ProgressBar() {
    if (enabled_ && shown_ >= 0) std::fputc('\n', stderr);
  }
  void Update(std::int64_t done, std::int64_t total) {
    if (!enabled_) return;
    const int percent = total > 0 ? int(std::min<std::int64_t>(done * 100 / total, 100)) : 100;
    if (percent == shown_) return;
    shown_ = percent;
    const int filled = percent * 40 / 100;
    std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(std::size_t(filled), '#').c_str(),
                 std::string(std::size_t(40 - filled), ' ').c_str(), percent);
  }

 private:
  bool enabled_;
  int shown_ = -1;
};

int CommandDecode(Session& s, const Args& a) {
  if (a.output.empty() == !a.null) return std::fputs(kUsage, stderr), 2;
  if (!a.range.empty()) {
    const auto colon = a.range.find(':');
    SetRecord range{};
    range.RangeStart = std::stoll(a.range.substr(0, colon));
    range.RangeEnd =
        colon == std::string::npos || colon + 1 == a.range.size() ? -1 : std::stoll(a.range.substr(colon + 1));
    s.plugin.Set(s.decoder, reinterpret_cast<const WaveChar*>(u"Set Decode Range"), &range);
  }
  const std::u16string name = Utf8ToWide(a.file);
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = kOpenPrepareDecode;
  if (!s.plugin.Open(s.decoder, &record)) {
    if (a.trace) s.PrintTrace();
    s.PrintErrors();
    return 1;
  }
  if (a.seek >= 0 && !s.plugin.SetPosition(s.decoder, a.seek)) {
    s.PrintErrors();
    return 1;
  }
  const auto started = std::chrono::steady_clock::now();
  ProgressBar progress(StderrIsTerminal());
  std::unique_ptr<WavWriter> writer;
  std::int64_t done = 0;
  int result = 0;
  for (;;) {
    AudioBlock block{};
    if (!s.plugin.DecodeBlock(s.decoder, &block)) {
      result = 1;
      break;
    }
    if (!writer && !a.null) {
      const FormatView f = ViewFormat(block.Format);
      const std::size_t formatSize = 18 + (f.tag == 0xFFFE && f.cbSize >= 22 ? 22 : 0);
      std::FILE* out = OpenOutputFile(a.output);
      if (!out) {
        std::fprintf(stderr, "wavehost: cannot write %s\n", a.output.c_str());
        result = 1;
        break;
      }
      std::vector<std::uint8_t> format(block.Format, block.Format + formatSize);
      if (formatSize == 18) format[16] = format[17] = 0;
      writer = std::make_unique<WavWriter>(out, std::move(format));
    }
    if (writer && !writer->Write(block.Data, block.DataBytes)) {
      std::fprintf(stderr, "wavehost: cannot write %s\n", a.output.c_str());
      result = 1;
      break;
    }
    done += block.DataBytes;
    progress.Update(done, record.DataBytes);
    if (block.LastBlock) break;
  }
  s.plugin.Close(s.decoder, 0);
  if (writer && !writer->Finish() && result == 0) {
    std::fprintf(stderr, "wavehost: cannot write %s\n", a.output.c_str());
    result = 1;
  }
  if (a.stats && result == 0) {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::fprintf(stderr, "decoded %lld bytes in %.6f s (%.0f MiB/s)\n", (long long)done, seconds,
                 seconds > 0 ? double(done) / seconds / 1048576.0 : 0.0);
  }
  if (a.trace) s.PrintTrace();
  if (result) s.PrintErrors();
  return result;
}
std::string JsonString(const std::string& utf8) {
  std::string out = "\"";
  for (unsigned char c : utf8) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(char(c));
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out.push_back(char(c));
    }
  }
  return out + "\"";
}

std::vector<std::string> SplitValues(const std::u16string& value) {
  std::vector<std::string> out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t cr = value.find(u'\r', start);
    out.push_back(WideToUtf8(value.substr(start, cr == std::u16string::npos ? std::u16string::npos : cr - start)));
    if (cr == std::u16string::npos) return out;
    start = cr + 1;
  }
}

const char* ImageMime(const std::vector<std::uint8_t>& d) {
  if (d.size() >= 8 && d[0] == 0x89 && d[1] == 'P' && d[2] == 'N' && d[3] == 'G') return "image/png";
  if (d.size() >= 3 && d[0] == 0xFF && d[1] == 0xD8 && d[2] == 0xFF) return "image/jpeg";
  if (d.size() >= 6 && d[0] == 'G' && d[1] == 'I' && d[2] == 'F') return "image/gif";
  return "application/octet-stream";
}

bool IsPictureName(const std::u16string& name) {
  return name.size() >= 10 && WideToUtf8(name.substr(0, 10)) == "_albumart_";
}

void PrintTagsJson(const std::vector<HostTag>& tags) {
  std::printf("[");
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const HostTag& t = tags[i];
    std::printf("%s\n  {\"name\": %s", i ? "," : "", JsonString(WideToUtf8(t.name)).c_str());
    if (!t.data.empty()) {
      std::printf(", \"type\": \"%s\", \"size\": %zu", IsPictureName(t.name) ? "picture" : "binary", t.data.size());
      if (IsPictureName(t.name)) std::printf(", \"mime\": \"%s\"", ImageMime(t.data));
    } else {
      std::printf(", \"type\": \"text\", \"values\": [");
      const auto values = SplitValues(t.value);
      for (std::size_t k = 0; k < values.size(); ++k) std::printf("%s%s", k ? ", " : "", JsonString(values[k]).c_str());
      std::printf("]");
    }
    std::printf("}");
  }
  std::printf("\n]");
}

void PrintTagsText(const std::vector<HostTag>& tags, const char* indent) {
  for (const HostTag& t : tags) {
    std::printf("%s%s: ", indent, WideToUtf8(t.name).c_str());
    if (!t.data.empty()) {
      if (IsPictureName(t.name))
        std::printf("[picture, %s, %zu bytes]\n", ImageMime(t.data), t.data.size());
      else
        std::printf("[binary, %zu bytes]\n", t.data.size());
      continue;
    }
    const auto values = SplitValues(t.value);
    for (std::size_t k = 0; k < values.size(); ++k) std::printf("%s%s", k ? " | " : "", values[k].c_str());
    std::printf("\n");
  }
}

int CommandTags(Session& s, const Args& a) {
  const std::u16string name = Utf8ToWide(a.file);
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = kOpenReadTags;
  const int ok = s.plugin.Open(s.decoder, &record);
  // The block belongs to the plug-in until Close: read it first.
  const std::vector<HostTag> tags = ok ? ParseTagBlock(record.TagData, record.TagDataBytes) : std::vector<HostTag>{};
  s.plugin.Close(s.decoder, 0);
  if (a.trace) s.PrintTrace();
  if (!ok) {
    s.PrintErrors();
    return 1;
  }
  if (a.json) {
    std::printf("{\"file\": %s, \"tags\": ", JsonString(a.file).c_str());
    PrintTagsJson(tags);
    std::printf("}\n");
    return 0;
  }
  PrintTagsText(tags, "");
  return 0;
}
std::u16string GetText(Session& s, std::u16string_view key, int index, int subIndex, int slot, bool& ok) {
  GetRecord record{};
  record.Index = index;
  record.SubIndex = subIndex;
  const std::u16string k(key);
  ok = s.plugin.Get(s.decoder, reinterpret_cast<const WaveChar*>(k.c_str()), &record) != 0;
  const WaveChar* texts[3] = {record.Text1, record.Text2, record.Text3};
  return ok && texts[slot] ? std::u16string(reinterpret_cast<const char16_t*>(texts[slot])) : std::u16string();
}

int CommandFormats(Session& s) {
  bool ok = false;
  std::printf("%s\n", WideToUtf8(GetText(s, u"Decoder Description", 0, 0, 0, ok)).c_str());
  std::printf("Files:\n");
  for (int i = 0;; ++i) {
    const std::u16string ext = GetText(s, u"Decodes", i, 0, 0, ok);
    if (!ok) break;
    std::printf("  %s  %s\n", WideToUtf8(ext).c_str(), WideToUtf8(GetText(s, u"Decodes", i, 0, 1, ok)).c_str());
  }
  std::printf("Streams:\n");
  for (int i = 0;; ++i) {
    const std::u16string mime = GetText(s, u"StreamingDecodes", i, 0, 0, ok);
    if (!ok) break;
    std::printf("  %s\n", WideToUtf8(mime).c_str());
  }
  return 0;
}

int CommandOptions(Session& s) {
  bool ok = false;
  std::printf("Settings: %s\n", WideToUtf8(TagSettingsLocation()).c_str());
  for (int i = 0;; ++i) {
    const std::u16string option = GetText(s, u"ID Tag Options", i, 0, 0, ok);
    if (!ok) break;
    const std::u16string path = GetText(s, u"ID Tag Options", i, 0, 1, ok);
    const std::u16string value = path.substr(path.find(u'\\') + 1);
    const std::uint32_t current = ReadTagSetting(value);
    std::printf("%s (%s)\n", WideToUtf8(option).c_str(), WideToUtf8(path).c_str());
    for (int k = 0;; ++k) {
      const std::u16string choice = GetText(s, u"ID Tag Options", i, k, 2, ok);
      if (!ok) break;
      std::printf("  %c %d  %s\n", std::uint32_t(k) == current ? '*' : ' ', k, WideToUtf8(choice).c_str());
    }
  }
  return 0;
}
void ReportResult(Session& s, const char* what, int ok, bool trace) {
  if (trace) s.PrintTrace();
  std::printf("%s: %d\n", what, ok);
  if (!ok) s.PrintErrors();
}

bool ReadImage(const std::string& path, std::vector<std::uint8_t>& out) {
  std::ifstream in(std::filesystem::path(Utf8ToWide(path)), std::ios::binary);
  out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return in.good() || in.eof();
}

int CommandTag(Session& s, const std::vector<std::string>& args) {
  std::string file, picture, description;
  int pictureType = 3;
  bool trace = false;
  std::vector<HostTag> tags;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    const bool hasNext = i + 1 < args.size();
    if (a == "--trace") {
      trace = true;
    } else if (a == "--picture" && hasNext) {
      picture = args[++i];
    } else if (a == "--picture-type" && hasNext) {
      pictureType = std::atoi(args[++i].c_str());
    } else if (a == "--description" && hasNext) {
      description = args[++i];
    } else if (file.empty() && a.rfind("-", 0) != 0) {
      file = a;
    } else if (const auto eq = a.find('='); eq != std::string::npos && eq > 0) {
      tags.push_back({Utf8ToWide(a.substr(0, eq)), Utf8ToWide(a.substr(eq + 1)), {}});
    } else {
      return std::fputs(kUsage, stderr), 2;
    }
  }
  if (file.empty() || (tags.empty() && picture.empty())) return std::fputs(kUsage, stderr), 2;
  if (!picture.empty()) {
    std::vector<std::uint8_t> image;
    if (!ReadImage(picture, image) || image.empty()) {
      std::fprintf(stderr, "wavehost: cannot read %s\n", picture.c_str());
      return 1;
    }
    const std::u16string typeName = PictureTypeName(pictureType);
    std::u16string name = u"_albumart_1" + (typeName.empty() ? std::u16string(u"_Undefined") : typeName);
    if (!description.empty()) name += u"<subdesc>" + Utf8ToWide(description);
    tags.push_back({name, u"", std::move(image)});
  }
  const std::vector<std::uint8_t> block = BuildTagBlock(tags);
  const std::u16string name = Utf8ToWide(file);
  SetRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.TagData = block.data();
  record.Value = std::int32_t(block.size());
  const int ok = s.plugin.Set(s.decoder, reinterpret_cast<const WaveChar*>(u"IDTags"), &record);
  ReportResult(s, "IDTags", ok, trace);
  return ok ? 0 : 1;
}

int CommandUntag(Session& s, const std::vector<std::string>& args) {
  std::string file;
  bool trace = false;
  std::u16string names;
  for (const auto& a : args) {
    if (a == "--trace") {
      trace = true;
    } else if (file.empty()) {
      file = a;
    } else {
      // The list cannot hold an empty string: "[Empty]" stands for it.
      names += a.empty() ? std::u16string(u"[Empty]") : Utf8ToWide(a);
      names.push_back(u'\0');
    }
  }
  if (file.empty()) return std::fputs(kUsage, stderr), 2;
  const bool all = names.empty();
  names.push_back(u'\0');
  const std::u16string name = Utf8ToWide(file);
  const int ok = s.plugin.DeleteATag(s.decoder, reinterpret_cast<const WaveChar*>(name.c_str()),
                                     all ? nullptr : reinterpret_cast<const WaveChar*>(names.c_str()));
  ReportResult(s, "DeleteATag", ok, trace);
  return ok ? 0 : 1;
}

int CommandSettings(const std::vector<std::string>& args) {
  if (args.size() == 2) {
    const std::u16string name = Utf8ToWide(args[0]);
    const bool known = std::find(kTagSettingNames.begin(), kTagSettingNames.end(), name) != kTagSettingNames.end();
    const std::string& v = args[1];
    const bool number = !v.empty() && v.size() <= 10 && v.find_first_not_of("0123456789") == std::string::npos &&
                        std::stoull(v) <= 0xFFFFFFFFull;
    if (!known || !number) {
      std::fprintf(stderr, "wavehost: %s\n", !known ? "unknown setting" : "the value must be a number from 0");
      return 2;
    }
    if (!WriteTagSetting(name, std::uint32_t(std::stoull(v)))) {
      std::fprintf(stderr, "wavehost: cannot write %s\n", WideToUtf8(TagSettingsLocation()).c_str());
      return 1;
    }
  } else if (!args.empty()) {
    return std::fputs(kUsage, stderr), 2;
  }
  std::printf("Settings: %s\n", WideToUtf8(TagSettingsLocation()).c_str());
  for (const auto name : kTagSettingNames) {
    const auto value = ReadTagSettingIfSet(name);
    std::printf("  %-24s %u%s\n", WideToUtf8(name).c_str(), value.value_or(0), value ? "" : "  (not set)");
  }
  return 0;
}
}  // namespace

int HostMain(const std::vector<std::string>& argv) {
  std::vector<std::string> args = argv;
  std::string pluginPath = ExecutableDirectory() + PluginFileName();
  if (args.size() >= 2 && args[0] == "--plugin") {
    pluginPath = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.empty() || args[0] == "--help" || args[0] == "-h") {
    std::fputs(kUsage, args.empty() ? stderr : stdout);
    return args.empty() ? 2 : 0;
  }
  const std::string command = args[0];
  args.erase(args.begin());
  if (command == "settings") return CommandSettings(args);
  Session session;
  if (!session.Start(pluginPath)) return 1;
  if (command == "open") return CommandOpen(session, args);
  if (command == "formats") return CommandFormats(session);
  if (command == "options") return CommandOptions(session);
  if (command == "tag") return CommandTag(session, args);
  if (command == "untag") return CommandUntag(session, args);
  const Args parsed = ParseArgs(args);
  if (parsed.bad) return std::fputs(kUsage, stderr), 2;
  if (command == "info") return CommandInfo(session, parsed);
  if (command == "decode") return CommandDecode(session, parsed);
  if (command == "tags") return CommandTags(session, parsed);
  std::fprintf(stderr, "wavehost: unknown command '%s'\n%s", command.c_str(), kUsage);
  return 2;
}
