// wavehost tags, tag and untag: the tags as the host receives them, written
// through Set "IDTags" and deleted through DeleteATag.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/Arguments.h"
#include "host/Commands.h"
#include "host/TagBlock.h"
#include "host/TagEdits.h"
#include "host/TagPrint.h"
#include "io/Text.h"
#include "tags/TagList.h"

namespace {
bool ReadImage(const std::string& path, std::vector<std::uint8_t>& out) {
  std::ifstream in(std::filesystem::path(Utf8ToWide(path)), std::ios::binary);
  out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return in.good() || in.eof();
}
}  // namespace

bool AddPicture(std::vector<HostTag>& tags, const std::string& path, long long type, const std::string& description) {
  std::vector<std::uint8_t> image;
  if (!ReadImage(path, image) || image.empty()) return false;
  const std::u16string typeName = PictureTypeName(int(type));
  std::u16string name = u"_albumart_1" + (typeName.empty() ? std::u16string(u"_Undefined") : typeName);
  if (!description.empty()) name += u"<subdesc>" + Utf8ToWide(description);
  tags.push_back({name, u"", std::move(image)});
  return true;
}

bool ReadTags(Session& s, const std::u16string& file, std::vector<HostTag>& tags) {
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(file.c_str());
  record.Flags = kOpenReadTags;
  const int ok = s.plugin.Open(s.decoder, &record);
  // The block belongs to the plug-in until Close: read it first.
  tags = ok ? ParseTagBlock(record.TagData, record.TagDataBytes) : std::vector<HostTag>{};
  s.plugin.Close(s.decoder, 0);
  return ok != 0;
}

bool WriteTags(Session& s, const std::u16string& file, const std::vector<HostTag>& tags) {
  const std::vector<std::uint8_t> block = BuildTagBlock(tags);
  SetRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(file.c_str());
  record.TagData = block.data();
  record.Value = std::int32_t(block.size());
  return s.plugin.Set(s.decoder, reinterpret_cast<const WaveChar*>(u"IDTags"), &record) != 0;
}

bool DeleteTags(Session& s, const std::u16string& file, const std::vector<std::u16string>& names) {
  std::u16string list;
  for (const auto& n : names) {
    // The list cannot hold an empty string: "[Empty]" stands for it.
    list += n.empty() ? std::u16string(u"[Empty]") : n;
    list.push_back(u'\0');
  }
  list.push_back(u'\0');
  return s.plugin.DeleteATag(s.decoder, reinterpret_cast<const WaveChar*>(file.c_str()),
                             names.empty() ? nullptr : reinterpret_cast<const WaveChar*>(list.c_str())) != 0;
}

int CommandTags(Session& s, const Words& args) {
  const Arguments a(args, {"--trace", "--json"}, {"--timeout"});
  if (!a.ok() || a.positional().size() != 1 || !SetStreamTimeout(s, a)) return UsageError();
  const std::u16string name = Utf8ToWide(a.First());
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = kOpenReadTags;
  const int ok = s.plugin.Open(s.decoder, &record);
  // The block belongs to the plug-in until Close: read it first.
  const std::vector<ShownTag> tags = ok ? ShowTagBlock(record.TagData, record.TagDataBytes) : std::vector<ShownTag>{};
  s.plugin.Close(s.decoder, 0);
  if (a.Has("--trace")) s.PrintTrace();
  if (!ok) {
    s.PrintReports();
    return 1;
  }
  if (a.Has("--json")) {
    std::printf("{\"file\": %s, \"tags\": ", JsonString(a.First()).c_str());
    PrintTagsJson(tags);
    std::printf("}\n");
    return 0;
  }
  PrintTagsText(tags, "");
  return 0;
}

int CommandTag(Session& s, const Words& args) {
  const Arguments a(args, {"--trace"}, {"--picture", "--picture-type", "--description"});
  const std::optional<long long> pictureType = a.Number("--picture-type", 3);
  if (!a.ok() || a.positional().empty() || !pictureType) return UsageError();
  std::vector<HostTag> tags;
  for (std::size_t i = 1; i < a.positional().size(); ++i) {
    const std::string& word = a.positional()[i];
    const auto eq = word.find('=');
    if (eq == std::string::npos || eq == 0) return UsageError();
    tags.push_back({Utf8ToWide(word.substr(0, eq)), Utf8ToWide(word.substr(eq + 1)), {}});
  }
  if (const auto picture = a.Value("--picture")) {
    if (!AddPicture(tags, *picture, *pictureType, a.Value("--description").value_or(""))) {
      std::fprintf(stderr, "wavehost: cannot read %s\n", picture->c_str());
      return 2;
    }
  }
  if (tags.empty()) return UsageError();
  const int ok = WriteTags(s, Utf8ToWide(a.First()), tags);
  s.ReportResult("IDTags", ok, a.Has("--trace"));
  return ok ? 0 : 1;
}

int CommandUntag(Session& s, const Words& args) {
  const Arguments a(args, {"--trace"}, {});
  if (!a.ok() || a.positional().empty()) return UsageError();
  std::vector<std::u16string> names;
  for (std::size_t i = 1; i < a.positional().size(); ++i) names.push_back(Utf8ToWide(a.positional()[i]));
  const int ok = DeleteTags(s, Utf8ToWide(a.First()), names);
  s.ReportResult("DeleteATag", ok, a.Has("--trace"));
  return ok ? 0 : 1;
}
