// wavehost open, info and decode: the plug-in opened as the host opens a
// file to play it or to show what it holds.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/Arguments.h"
#include "host/Commands.h"
#include "host/ProgressBar.h"
#include "host/TagBlock.h"
#include "host/TagPrint.h"
#include "host/WavWriter.h"
#include "io/ByteReader.h"
#include "io/Text.h"

namespace {
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

std::string Digits(std::u16string_view value) {
  std::string digits;
  for (char16_t c : value)
    if (c >= u'0' && c <= u'9') digits.push_back(char(c));
  return digits;
}

// Audio of a stream that never said how long it is runs to the plug-in's open end, rounded down to whole blocks.
constexpr std::int64_t kOpenEndedData = 4294967295000;
constexpr std::int64_t kLargestBlock = 65535;

// The record of an Open that names the file.
struct OpenRequest {
  explicit OpenRequest(const std::string& file, std::uint32_t flags) : name(Utf8ToWide(file)) {
    record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
    record.Flags = flags;
  }
  std::u16string name;
  OpenRecord record{};
};

void PrintInfoJson(const std::string& file, const OpenRecord& record, long long samples,
                   const std::vector<ShownTag>& props, const std::vector<ShownTag>& tags) {
  const FormatView f = ViewFormat(record.Format);
  std::printf(
      "{\"file\": %s,\n \"format\": {\"tag\": %u, \"channels\": %u, \"sampleRate\": %u, \"bitsPerSample\": %u, "
      "\"bytesPerSecond\": %u, \"cbSize\": %u},\n",
      JsonString(file).c_str(), f.tag, f.channels, f.rate, f.bits, f.byteRate, f.cbSize);
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
}

void PrintInfoText(const std::string& file, const OpenRecord& record, long long samples,
                   const std::vector<ShownTag>& props, const std::vector<ShownTag>& tags) {
  const FormatView f = ViewFormat(record.Format);
  std::string chunkMap;
  for (const ShownTag& p : props)
    if (p.name == u"Riff Chunks") chunkMap = WideToUtf8(p.value);
  std::printf("File:        %s\n", file.c_str());
  std::printf("Format:      tag %u, %u channels, %u Hz, %u bits\n", f.tag, f.channels, f.rate, f.bits);
  std::printf("Length:      %s (%lld samples)\n", Duration(record.LengthMs).c_str(), samples);
  std::printf("Bit rate:    %u kbit/s\n", record.BitRate / 1000);
  std::printf("Data size:   %lld bytes\n", (long long)record.DataBytes);
  std::printf("Properties:\n");
  for (const ShownTag& p : props)
    if (p.name != u"Riff Chunks") std::printf("  %s: %s\n", WideToUtf8(p.name).c_str(), WideToUtf8(p.value).c_str());
  std::printf("Tags:%s\n", tags.empty() ? " (none)" : "");
  PrintTagsText(tags, "  ");
  std::printf("Chunks:      %s\n", chunkMap.c_str());
}

bool SetRange(Session& s, const std::string& range) {
  const auto colon = range.find(':');
  char* end = nullptr;
  SetRecord record{};
  record.RangeStart = std::strtoll(range.c_str(), &end, 10);
  if (end != range.c_str() + std::min(colon, range.size())) return false;
  record.RangeEnd = -1;
  if (colon != std::string::npos && colon + 1 < range.size()) {
    record.RangeEnd = std::strtoll(range.c_str() + colon + 1, &end, 10);
    if (*end != '\0') return false;
  }
  s.plugin.Set(s.decoder, reinterpret_cast<const WaveChar*>(u"Set Decode Range"), &record);
  return true;
}

// The WAV file that receives what the host got, made when the first block tells the format.
std::unique_ptr<WavWriter> OpenWriter(const std::string& path, const std::uint8_t (&blockFormat)[40]) {
  const FormatView f = ViewFormat(blockFormat);
  const std::size_t formatSize = 18 + (f.tag == 0xFFFE && f.cbSize >= 22 ? 22 : 0);
  std::FILE* out = OpenOutputFile(path);
  if (!out) return nullptr;
  std::vector<std::uint8_t> format(blockFormat, blockFormat + formatSize);
  if (formatSize == 18) format[16] = format[17] = 0;
  return std::make_unique<WavWriter>(out, std::move(format));
}

// Decodes to the end; `done` counts the bytes received. 0 on success.
int DecodeLoop(Session& s, const std::string& input, const std::string& output, std::int64_t total,
               std::int64_t& done) {
  const bool known = total <= kOpenEndedData - kLargestBlock;
  ProgressBar progress(StderrIsTerminal(), IsAddress(input), known ? std::optional(total) : std::nullopt);
  std::unique_ptr<WavWriter> writer;
  for (;;) {
    AudioBlock block{};
    if (!s.plugin.DecodeBlock(s.decoder, &block)) {
      // What arrived before the failure stays a playable file.
      if (writer) writer->Finish();
      return 1;
    }
    if (!writer && !output.empty() && !(writer = OpenWriter(output, block.Format))) break;
    if (writer && !writer->Write(block.Data, block.DataBytes)) break;
    done += block.DataBytes;
    progress.Update(done);
    if (block.LastBlock) {
      if (writer && !writer->Finish()) break;
      return 0;
    }
  }
  std::fprintf(stderr, "wavehost: cannot write %s\n", output.c_str());
  return 1;
}
}  // namespace

bool IsAddress(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
  return name.starts_with("http://") || name.starts_with("https://");
}

bool SetStreamTimeout(Session& s, const Arguments& a) {
  const std::optional<long long> seconds = a.Number("--timeout", 0);
  if (!seconds || *seconds < 0 || *seconds > 0x7FFFFFFF) return false;
  if (*seconds == 0) return true;
  SetRecord record{};
  record.Value = std::int32_t(*seconds);
  s.plugin.Set(s.decoder, reinterpret_cast<const WaveChar*>(u"Stream Timeout"), &record);
  return true;
}

int CommandOpen(Session& s, const Words& args) {
  const Arguments a(args, {"--trace"}, {"--timeout"});
  if (!a.ok() || a.positional().size() != 1 || !SetStreamTimeout(s, a)) return UsageError();
  OpenRequest open(a.First(), 0);
  const int ok = s.plugin.Open(s.decoder, &open.record);
  s.plugin.Close(s.decoder, 0);
  if (a.Has("--trace")) s.PrintTrace();
  std::printf("Open: %d\n", ok);
  if (!ok) s.PrintErrors();
  return ok ? 0 : 1;
}

int CommandInfo(Session& s, const Words& args) {
  const Arguments a(args, {"--trace", "--json"}, {"--timeout"});
  if (!a.ok() || a.positional().size() != 1 || !SetStreamTimeout(s, a)) return UsageError();
  OpenRequest open(a.First(), kOpenAudioInfo | kOpenReadTags | kOpenProperties);
  const OpenRecord& record = open.record;
  const int ok = s.plugin.Open(s.decoder, &open.record);
  // The blocks belong to the plug-in until Close: read them first.
  const std::vector<ShownTag> tags = ok ? ShowTagBlock(record.TagData, record.TagDataBytes) : std::vector<ShownTag>{};
  const std::vector<ShownTag> props =
      ok ? ShowTagBlock(record.PropData, record.PropDataBytes) : std::vector<ShownTag>{};
  s.plugin.Close(s.decoder, 0);
  if (a.Has("--trace")) s.PrintTrace();
  if (!ok) {
    s.PrintErrors();
    return 1;
  }
  long long samples = (long long)(record.LengthMs * ViewFormat(record.Format).rate / 1000);
  for (const ShownTag& p : props)
    if (p.name == u"Sample Count") samples = std::stoll("0" + Digits(p.value));
  if (a.Has("--json"))
    PrintInfoJson(a.First(), record, samples, props, tags);
  else
    PrintInfoText(a.First(), record, samples, props, tags);
  return 0;
}

int CommandDecode(Session& s, const Words& args) {
  const Arguments a(args, {"--trace", "--null", "--stats"}, {"-o", "--range", "--seek", "--timeout"});
  const std::string output = a.Value("-o").value_or("");
  const std::optional<long long> seek = a.Number("--seek", -1);
  if (!a.ok() || a.positional().size() != 1 || output.empty() == !a.Has("--null") || !seek || !SetStreamTimeout(s, a))
    return UsageError();
  if (const auto range = a.Value("--range"); range && !SetRange(s, *range)) return UsageError();
  OpenRequest open(a.First(), kOpenPrepareDecode);
  if (!s.plugin.Open(s.decoder, &open.record)) {
    if (a.Has("--trace")) s.PrintTrace();
    s.PrintErrors();
    return 1;
  }
  if (*seek >= 0 && !s.plugin.SetPosition(s.decoder, *seek)) {
    s.PrintErrors();
    return 1;
  }
  const auto started = std::chrono::steady_clock::now();
  std::int64_t done = 0;
  const int result = DecodeLoop(s, a.First(), output, open.record.DataBytes, done);
  s.plugin.Close(s.decoder, 0);
  if (a.Has("--stats") && result == 0) {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::fprintf(stderr, "decoded %lld bytes in %.6f s (%.0f MiB/s)\n", (long long)done, seconds,
                 seconds > 0 ? double(done) / seconds / 1048576.0 : 0.0);
  }
  if (a.Has("--trace")) s.PrintTrace();
  if (result) s.PrintErrors();
  return result;
}
