#include "codec/clDecoder_Wave.h"

#include "codec/Queries.h"
#include "codec/Trace.h"
#include "io/Limits.h"
#include "io/Text.h"

namespace {
constexpr const char* kOpen = "clDecoder_Wave::Open";

bool StartsWithLowered(std::u16string_view name, std::u16string_view prefix) {
  if (name.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i)
    if (FoldAscii(name[i]) != prefix[i]) return false;
  return true;
}

bool IsAddress(std::u16string_view name) {
  return StartsWithLowered(name, u"http://") || StartsWithLowered(name, u"https://");
}
}  // namespace

std::u16string_view HostText(const char16_t* text) { return text ? std::u16string_view(text) : std::u16string_view(); }

clDecoder_Wave::clDecoder_Wave(const TraceContext* context)
    : context_(context ? *context : TraceContext{}), fileEngine_(context_), streamEngine_(context_) {}

WaveEngine& clDecoder_Wave::Engine() {
  if (streaming_) return streamEngine_;
  return fileEngine_;
}

bool clDecoder_Wave::OpenSource(std::u16string_view name) {
  CloseSource();
  name_ = name;
  if (!IsAddress(name)) return file_.OpenReadMedia(name);
  streaming_ = true;
  if (stream_.Open(name, userAgent_, timeoutSeconds_, context_)) {
    contentType_ = stream_.ContentType();
    return true;
  }
  // The stream keeps what was answered for the open's trace; the next open or Close ends it.
  streaming_ = false;
  return false;
}

void clDecoder_Wave::CloseSource() {
  file_.Close();
  stream_.Close();
  contentType_.clear();
  streaming_ = false;
}

std::u16string clDecoder_Wave::SourceError() const { return stream_.ErrorText(); }

int clDecoder_Wave::Open(OpenRecord& record) {
  TraceScope scope(context_, kOpen);
  if (record.Flags & kOpenExternalPackets) return scope.Error(u"Error cannot decode external-packet data."), 0;

  const std::u16string name(HostText(reinterpret_cast<const char16_t*>(record.FileName)));
  Trace(u"Opening file '", context_, kOpen, false);
  Trace(name, context_, kOpen, false);
  Trace(u"' for read access: ", context_, kOpen, false);
  if (!OpenSource(name)) {
    // What the server or the network library answered goes before the open error.
    if (!SourceError().empty()) scope.Info(SourceError());
    // The file's system error code is left from an earlier open and means nothing for an address.
    return scope.Error(XFile::OpenErrorText(name, IsAddress(name) ? 0 : file_.LastError())), 0;
  }
  Trace(u"Opened", context_, nullptr, true);
  scope.Line(u"Reading Audio Information");

  const bool initialized = streaming_ ? streamEngine_.Initialize(streamReader_, context_, rangeStart_, rangeEnd_)
                                      : fileEngine_.Initialize(file_.handle(), context_, rangeStart_, rangeEnd_);
  if (!initialized) return 0;
  scope.Line(u"Read Audio Information");
  WaveEngine& engine = Engine();

  if (record.Flags & (kOpenReadTags | kOpenProperties)) {
    std::u16string summary;
    if (engine.ReadIDTags(summary, id3Overrides_) && (record.Flags & kOpenReadTags)) {
      record.TagData = engine.TagBlock().data();
      record.TagDataBytes = std::uint32_t(engine.TagBlock().size());
    }
  }
  if (record.Flags & kOpenProperties) {
    if (engine.FillAudioProps(ignoreRegistrySettings_) && !engine.PropBlock().empty()) {
      record.PropData = engine.PropBlock().data();
      record.PropDataBytes = std::uint32_t(engine.PropBlock().size());
    }
  }
  if (record.Flags & (kOpenPrepareDecode | kOpenAudioInfo)) {
    scope.Line(u"Writing Audio Information");
    if (!engine.FillAudioInfo(record)) return 0;
    scope.Line(u"Written Audio Information");
  }
  if (record.Flags & kOpenPrepareDecode) {
    scope.Line(u"Preparing to Decode");
    if (!engine.PrepareToDecodeAudio(record.Format)) return 0;
    scope.Line(u"Prepared Decoding");
  }
  return scope.Ok();
}

int clDecoder_Wave::Close(std::int64_t argument) {
  TraceScope scope(context_, "clDecoder_Wave::Close");
  fileEngine_.Close(argument);
  streamEngine_.Close(argument);
  CloseSource();
  scope.Ok();
  return 1;
}

int clDecoder_Wave::DecodeBlock(AudioBlock& block) { return Engine().DecodeBlock(block) ? 1 : 0; }

int clDecoder_Wave::SetPosition(std::int64_t block) {
  TraceScope scope(context_, "clDecoder_Wave::SetPosition");
  if (!Engine().SetPosition(std::uint64_t(block))) return 0;
  scope.Ok();
  return 1;
}

int clDecoder_Wave::Get(const char16_t* key, GetRecord& record) {
  const std::u16string_view k = HostText(key);
  Trace(k, context_, "clDecoder_Wave::Get", true);
  if (!key) return 0;
  auto answer = [&](std::u16string_view t1, std::u16string_view t2 = {}, std::u16string_view t3 = {}, int slots = 1) {
    const std::u16string_view texts[3] = {t1, t2, t3};
    const WaveChar** fields[3] = {&record.Text1, &record.Text2, &record.Text3};
    for (int i = 0; i < slots; ++i) {
      text_[i] = texts[i];
      *fields[i] = reinterpret_cast<const WaveChar*>(text_[i].c_str());
    }
    return 1;
  };
  if (k == u"Decodes") {
    if (record.Index == 0) return answer(u".wav", u"Wave", {}, 2);
    if (record.Index == 1) return answer(u".bwf", u"Broadcast Wave Format", {}, 2);
    return 0;
  }
  if (k == u"StreamingDecodes") {
    if (record.Index < 0 || std::size_t(record.Index) >= kStreamingMimeTypes.size()) return 0;
    return answer(kStreamingMimeTypes[std::size_t(record.Index)]);
  }
  if (k == u"Decoder Description") return answer(u"Wave Decoder");
  if (k == u"Property Elements") return answer(kPropertyElements);
  if (k == u"Default Property Elements") return answer(kDefaultPropertyElements);
  if (k == u"ID Tag Options") {
    if (record.Index < 0 || std::size_t(record.Index) >= kTagOptions.size()) return 0;
    const OptionDescriptor& option = kTagOptions[std::size_t(record.Index)];
    if (record.SubIndex < 0 || std::size_t(record.SubIndex) >= option.choices.size()) return 0;
    const std::u16string_view choice = option.choices[std::size_t(record.SubIndex)];
    if (choice.empty()) return 0;
    return answer(option.name, option.registryValue, choice, 3);
  }
  return 0;
}

int clDecoder_Wave::Set(const char16_t* key, SetRecord& record) {
  const std::u16string_view k = HostText(key);
  Trace(k, context_, "clDecoder_Wave::Set", true);
  if (!key) return 0;
  // The flag is set, yet the key matches nothing below, so 0 is returned; hosts ignore it.
  if (k == u"IgnoreRegistrySettings") ignoreRegistrySettings_ = true;
  // An override's value 2 (any value above 1) renames the frame; 1 keeps the usual name.
  if (k == u"TPE2OptionOverride") {
    id3Overrides_.tpe2Orchestra = record.Value > 1;
    return 0;
  }
  if (k == u"TIT1OptionOverride") {
    id3Overrides_.tit1Style = record.Value > 1;
    return 0;
  }
  // The stream's time-out in seconds, for the next open of an address; 0 or less: the default.
  if (k == u"Stream Timeout") {
    timeoutSeconds_ = record.Value;
    return 1;
  }
  if (k == u"Set Decode Range") {
    rangeStart_ = record.RangeStart;
    rangeEnd_ = record.RangeEnd;
    return 1;
  }
  if (k == u"IDTags") {
    return fileEngine_.WriteIDTags(reinterpret_cast<const char16_t*>(record.FileName), record.TagData, record.Value,
                                   context_, id3Overrides_)
               ? 1
               : 0;
  }
  return 0;
}

int clDecoder_Wave::DeleteATag(const char16_t* fileName, const char16_t* names) {
  TraceScope scope(context_, "clDecoder_Wave::DeleteATag");
  const bool all = !names || *names == 0;
  TagList named;
  if (!all && !ReadNameList(names, named))
    return scope.Error(u"Error the list of tag names does not end within " + ToTextU(kMaxHostNameListUnits) +
                       u" characters."),
           0;
  const std::u16string file(HostText(fileName));
  const bool ok = fileEngine_.EditTags(file, named, true, all, context_, id3Overrides_, scope.function());
  scope.Ok();
  return ok ? 1 : 0;
}

bool clDecoder_Wave::ReadNameList(const char16_t* names, TagList& out) {
  // The host's list ends with an empty name; one that never does is read no further than the bound.
  for (std::size_t at = 0; at < kMaxHostNameListUnits;) {
    const std::size_t start = at;
    while (at < kMaxHostNameListUnits && names[at] != 0) ++at;
    if (at == kMaxHostNameListUnits) break;
    if (at == start) return true;
    const std::u16string_view name(names + start, at - start);
    // A host cannot send an empty string inside the list: this stands for one.
    out.AddTag(name == u"[Empty]" ? std::u16string_view() : name, u"");
    ++at;
  }
  out.Clear();
  return false;
}
