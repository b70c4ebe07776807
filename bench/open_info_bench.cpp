// What a tagger pays to describe a library: many small tagged files opened for
// their format, tags and properties, in one process, by the plug-in through its
// exports (Open with flags 4|8|16, Close) and by TagLib's FileRef (audio
// properties and both tags). The passes alternate and each is timed whole;
// the medians are compared.
// usage: open_info_bench PLUGIN DIR [FILES] [PASSES]
#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <taglib/tpropertymap.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/Plugin.h"
#include "io/Text.h"

namespace {
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

void U16(Bytes& b, unsigned v) { b.insert(b.end(), {std::uint8_t(v), std::uint8_t(v >> 8)}); }
void U32(Bytes& b, std::uint32_t v) { U16(b, v & 0xFFFF), U16(b, v >> 16); }
void Text(Bytes& b, const std::string& s) { b.insert(b.end(), s.begin(), s.end()); }

void Chunk(Bytes& file, const char* id, const Bytes& body) {
  Text(file, id);
  U32(file, std::uint32_t(body.size()));
  file.insert(file.end(), body.begin(), body.end());
  if (body.size() % 2) file.push_back(0);
}

Bytes InfoList(int n) {
  Bytes list;
  Text(list, "INFO");
  for (const auto& [id, value] : {std::pair{"INAM", "Title " + std::to_string(n)},
                                  {"IART", std::string("Artist")},
                                  {"IPRD", std::string("Album")},
                                  {"ICRD", std::string("2004-05-28")}}) {
    Bytes text(value.begin(), value.end());
    text.push_back(0);
    Chunk(list, id, text);
  }
  return list;
}

void Id3Frame(Bytes& tag, const char* id, const Bytes& body) {
  Text(tag, id);
  for (int shift = 24; shift >= 0; shift -= 8) tag.push_back(std::uint8_t(body.size() >> shift));
  tag.insert(tag.end(), {0, 0});
  tag.insert(tag.end(), body.begin(), body.end());
}

Bytes Id3Tag(int n) {
  Bytes frames;
  for (const auto& [id, value] : {std::pair{"TIT2", "Title " + std::to_string(n)},
                                  {"TPE1", std::string("Artist")},
                                  {"TALB", std::string("Album")},
                                  {"TRCK", std::to_string(n % 20 + 1)},
                                  {"TYER", std::string("2004")}}) {
    Bytes body{0};
    Text(body, value);
    Id3Frame(frames, id, body);
  }
  Bytes picture{0};
  Text(picture, "image/png");
  picture.insert(picture.end(), {0, 3, 0});
  picture.resize(picture.size() + 2048, 0x5A);  // a small cover, as taggers embed them
  Id3Frame(frames, "APIC", picture);
  Bytes tag;
  Text(tag, "ID3");
  tag.insert(tag.end(), {3, 0, 0});
  for (int shift = 21; shift >= 0; shift -= 7) tag.push_back(std::uint8_t((frames.size() >> shift) & 0x7F));
  tag.insert(tag.end(), frames.begin(), frames.end());
  return tag;
}

// A tenth of a second of 16-bit stereo with bext, LIST/INFO and an ID3v2 tag, as a tagger leaves it.
Bytes TaggedWave(int n) {
  Bytes fmt;
  U16(fmt, 1), U16(fmt, 2), U32(fmt, 44100), U32(fmt, 44100 * 4), U16(fmt, 4), U16(fmt, 16);
  Bytes bext(602, 0);
  std::copy_n("A field recording", 17, bext.begin());
  Bytes body;
  Text(body, "WAVE");
  Chunk(body, "fmt ", fmt);
  Chunk(body, "bext", bext);
  Chunk(body, "LIST", InfoList(n));
  Chunk(body, "data", Bytes(4410 * 4, std::uint8_t(n)));
  Chunk(body, "id3 ", Id3Tag(n));
  Bytes file;
  Text(file, "RIFF");
  U32(file, std::uint32_t(body.size()));
  file.insert(file.end(), body.begin(), body.end());
  return file;
}

double PluginPass(Plugin& p, void* d, const std::vector<std::u16string>& names) {
  const auto start = Clock::now();
  for (const std::u16string& name : names) {
    OpenRecord record{};
    record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
    record.Flags = kOpenAudioInfo | kOpenReadTags | kOpenProperties;
    if (!p.Open(d, &record) || record.TagDataBytes == 0 || record.PropDataBytes == 0) std::exit(1);
    p.Close(d, 0);
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double TagLibPass(const std::vector<std::string>& paths) {
  const auto start = Clock::now();
  for (const std::string& path : paths) {
    TagLib::FileRef f(path.c_str(), true, TagLib::AudioProperties::Average);
    if (f.isNull() || !f.audioProperties() || f.file()->properties().isEmpty()) std::exit(1);
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double Median(std::vector<double> v) {
  std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
  return v[v.size() / 2];
}
}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: open_info_bench PLUGIN DIR [FILES] [PASSES]\n");
    return 2;
  }
  Plugin p;
  std::string error;
  if (!p.Load(argv[1], error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  const std::filesystem::path dir = argv[2];
  const int files = argc > 3 ? std::atoi(argv[3]) : 10000;
  const int passes = argc > 4 ? std::atoi(argv[4]) : 5;
  std::filesystem::create_directories(dir);
  std::vector<std::string> paths;
  std::vector<std::u16string> names;
  for (int i = 0; i < files; ++i) {
    const std::filesystem::path path = dir / ("tagged" + std::to_string(i) + ".wav");
    if (!std::filesystem::exists(path)) {
      const Bytes bytes = TaggedWave(i);
      std::ofstream(path, std::ios::binary)
          .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    paths.push_back(path.string());
    names.push_back(Utf8ToWide(path.string()));
  }
  const TraceContext nowhere{};
  void* d = p.Create(&nowhere);
  PluginPass(p, d, names);  // the page cache and both libraries warm
  TagLibPass(paths);
  std::vector<double> ours, theirs;
  for (int i = 0; i < passes; ++i) {
    ours.push_back(PluginPass(p, d, names));
    theirs.push_back(TagLibPass(paths));
  }
  p.Destroy(d);
  const double a = Median(ours), b = Median(theirs);
  std::printf("%d files, median of %d passes\n", files, passes);
  std::printf("plug-in Open 4|8|16 + Close: %.1f us per file\n", a * 1e6 / files);
  std::printf("TagLib FileRef (properties, tags): %.1f us per file\n", b * 1e6 / files);
  std::printf("plug-in / TagLib: %.2f x\n", a / b);
  return 0;
}
