// wavehost convert: decodes anything the plug-in opens, as the host does,
// to a new wave file at another sample rate and depth, with the source's
// tags. The file appears under its name only once it is complete.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "dsp/Requantizer.h"
#include "dsp/Resampler.h"
#include "host/Arguments.h"
#include "host/Commands.h"
#include "host/ConvertTags.h"
#include "host/ProgressBar.h"
#include "host/TagBlock.h"
#include "host/WavWriter.h"
#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/Text.h"

namespace {
using dsp::SampleFormat;

constexpr int kBadInput = 2;
constexpr int kFailed = 1;
constexpr std::uint16_t kFormatPcm = 1;
constexpr std::uint16_t kFormatFloat = 3;
constexpr std::uint16_t kFormatExtensible = 0xFFFE;
constexpr std::size_t kWfxHeadSize = 18;
constexpr std::uint16_t kExtensibleExtraSize = 22;
// The sub-format GUID after its first two bytes (the format tag), the same for PCM and float.
constexpr std::uint8_t kSubFormatTail[14] = {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
// Audio of a stream that never said how long it is runs to the plug-in's open end.
constexpr std::int64_t kOpenEndedData = 4294967295000;
constexpr std::int64_t kLargestBlock = 65535;

struct Settings {
  std::string input, output;
  std::optional<int> rate;
  std::optional<SampleFormat> format;
  dsp::Quality quality = dsp::Quality::High;
  std::optional<dsp::Dither> dither;
  std::uint64_t seed = 0;
};

// What the plug-in hands over: interleaved samples of one format.
struct Source {
  SampleFormat format;
  int channels, rate;
  std::uint32_t channelMask;
};

int BadInput(const std::string& message) {
  std::fprintf(stderr, "wavehost: %s\n", message.c_str());
  return kBadInput;
}

std::optional<SampleFormat> ParseBits(const std::string& text) {
  static const std::pair<const char*, SampleFormat> names[] = {
      {"8", SampleFormat::Int8},   {"16", SampleFormat::Int16},      {"24", SampleFormat::Int24},
      {"32", SampleFormat::Int32}, {"float", SampleFormat::Float32}, {"double", SampleFormat::Float64}};
  for (const auto& [name, format] : names)
    if (text == name) return format;
  return std::nullopt;
}

std::string DepthName(SampleFormat f) {
  return std::to_string(dsp::BitsOf(f)) + (dsp::IsFloat(f) ? "-bit float" : "-bit");
}

const char* DitherName(dsp::Dither d) {
  return d == dsp::Dither::None ? "none" : d == dsp::Dither::Tpdf ? "tpdf" : "shaped";
}

// Parses the command line (and sets the stream time-out); on a bad one, the exit code.
std::optional<int> ParseSettings(Session& session, const Words& args, Settings& s) {
  const Arguments a(args, {"--trace"}, {"-o", "--rate", "--bits", "--quality", "--dither", "--seed", "--timeout"});
  if (!a.ok() || a.positional().size() != 1 || !a.Value("-o") || a.Value("-o")->empty() ||
      !SetStreamTimeout(session, a))
    return UsageError();
  s.input = a.First();
  s.output = *a.Value("-o");
  if (a.Value("--rate")) {
    const std::optional<long long> rate = a.Number("--rate", 0);
    if (!rate || *rate < dsp::kMinRate || *rate > dsp::kMaxRate)
      return BadInput("--rate " + *a.Value("--rate") + ": the rate must be a number of Hz from " +
                      std::to_string(dsp::kMinRate) + " to " + std::to_string(dsp::kMaxRate));
    s.rate = int(*rate);
  }
  if (const auto bits = a.Value("--bits")) {
    if (!(s.format = ParseBits(*bits))) return BadInput("--bits " + *bits + ": use 8, 16, 24, 32, float or double");
  }
  if (const auto quality = a.Value("--quality")) {
    const std::optional<dsp::Quality> q = dsp::ParseQuality(*quality);
    if (!q) return BadInput("--quality " + *quality + ": use quick, low, medium, high or very-high");
    s.quality = *q;
  }
  if (const auto dither = a.Value("--dither")) {
    if (!(s.dither = dsp::ParseDither(*dither))) return BadInput("--dither " + *dither + ": use none, tpdf or shaped");
  }
  const std::optional<long long> seed = a.Number("--seed", 0);
  if (!seed || *seed < 0) return BadInput("--seed " + a.Value("--seed").value_or("") + ": use a number from 0 up");
  s.seed = std::uint64_t(*seed);
  return std::nullopt;
}

// One file under two names: the same path once resolved, or the same file reached by links.
bool SameFile(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path pa(Utf8ToWide(a)), pb(Utf8ToWide(b));
  if (fs::equivalent(pa, pb, ec)) return true;
  const fs::path ca = fs::weakly_canonical(pa, ec);
  if (ec) return false;
  const fs::path cb = fs::weakly_canonical(pb, ec);
  return !ec && ca == cb;
}

bool IsDirectory(const std::string& path) {
  std::error_code ec;
  return std::filesystem::is_directory(std::filesystem::path(Utf8ToWide(path)), ec);
}

// The sample format of the WFX the plug-in reports, when it is one that can be converted.
std::optional<Source> ReadSource(const std::uint8_t (&wfx)[40]) {
  ByteReader r(ByteSpan(wfx, sizeof wfx));
  std::uint16_t tag = r.U16();
  const std::uint16_t channels = r.U16();
  const std::uint32_t rate = r.U32();
  r.U32();
  const std::uint16_t blockAlign = r.U16();
  r.U16();
  const std::uint16_t extra = r.U16();
  r.U16();
  std::uint32_t mask = 0;
  if (tag == kFormatExtensible && extra >= kExtensibleExtraSize) {
    mask = r.U32();
    tag = r.U16();
  }
  if (channels == 0 || channels > dsp::kMaxChannels || rate == 0 || rate > 0x7FFFFFFF || blockAlign % channels != 0)
    return std::nullopt;
  const int bytes = blockAlign / channels;
  std::optional<SampleFormat> format;
  if (tag == kFormatFloat && bytes == 4) format = SampleFormat::Float32;
  if (tag == kFormatFloat && bytes == 8) format = SampleFormat::Float64;
  if (tag == kFormatPcm && bytes >= 1 && bytes <= 4) format = SampleFormat(bytes - 1);
  if (!format) return std::nullopt;
  return Source{*format, channels, int(rate), mask};
}

// WAVE_FORMAT_EXTENSIBLE where a plain head is not enough: more than two channels, or integers wider than 16 bits.
std::vector<std::uint8_t> OutputFormat(SampleFormat f, int channels, int rate, std::uint32_t mask) {
  const int bits = dsp::BitsOf(f);
  const int blockAlign = channels * bits / 8;
  const bool floating = dsp::IsFloat(f);
  const bool extensible = channels > 2 || (!floating && bits > 16);
  if (mask == 0 && channels <= 2) mask = channels == 1 ? 0x4 : 0x3;  // centre; left and right
  std::vector<std::uint8_t> out;
  ByteWriter w(out);
  w.U16(extensible ? kFormatExtensible : floating ? kFormatFloat : kFormatPcm);
  w.U16(std::uint16_t(channels));
  w.U32(std::uint32_t(rate));
  w.U32(std::uint32_t(rate) * std::uint32_t(blockAlign));
  w.U16(std::uint16_t(blockAlign));
  w.U16(std::uint16_t(bits));
  if (extensible) {
    w.U16(kExtensibleExtraSize);
    w.U16(std::uint16_t(bits));
    w.U32(mask);
    w.U16(floating ? kFormatFloat : kFormatPcm);
    w.Bytes(kSubFormatTail);
  } else if (floating) {
    w.U16(0);
  }
  return out;
}

// The audio path: source samples, resampled when the rates differ, requantised, written.
class Pipeline {
 public:
  Pipeline(const Source& source, const Settings& s, SampleFormat out, dsp::Dither dither, WavWriter& writer)
      : source_(source),
        writer_(writer),
        requantizer_(out, source.channels, s.rate.value_or(source.rate), dither, s.seed) {
    if (s.rate && *s.rate != source.rate)
      resampler_ = std::make_unique<dsp::Resampler>(source.rate, *s.rate, source.channels, s.quality);
  }

  bool Feed(const std::uint8_t* data, std::size_t size) {
    const std::size_t frameBytes = std::size_t(dsp::BitsOf(source_.format) / 8 * source_.channels);
    pending_.insert(pending_.end(), data, data + size);
    const std::size_t frames = pending_.size() / frameBytes;
    samples_.clear();
    dsp::ToDoubles(source_.format, pending_.data(), frames * std::size_t(source_.channels), samples_);
    pending_.erase(pending_.begin(), pending_.begin() + std::ptrdiff_t(frames * frameBytes));
    if (!resampler_) return Emit(samples_);
    resampled_.clear();
    resampler_->Process(samples_.data(), frames, resampled_);
    return Emit(resampled_);
  }

  bool Finish() {
    if (!resampler_) return true;
    resampled_.clear();
    resampler_->Finish(resampled_);
    return Emit(resampled_);
  }

  const dsp::Requantizer& requantizer() const { return requantizer_; }

 private:
  bool Emit(const std::vector<double>& samples) {
    bytes_.clear();
    requantizer_.Convert(samples.data(), samples.size() / std::size_t(source_.channels), bytes_);
    return writer_.Write(bytes_.data(), bytes_.size());
  }

  Source source_;
  WavWriter& writer_;
  dsp::Requantizer requantizer_;
  std::unique_ptr<dsp::Resampler> resampler_;
  std::vector<std::uint8_t> pending_, bytes_;
  std::vector<double> samples_, resampled_;
};

// The file being made, removed unless it was committed under its name.
class TemporaryOutput {
 public:
  explicit TemporaryOutput(std::string target) : target_(std::move(target)) {}
  ~TemporaryOutput() {
    if (!path_.empty()) RemoveFile(path_);
  }
  TemporaryOutput(const TemporaryOutput&) = delete;
  TemporaryOutput& operator=(const TemporaryOutput&) = delete;
  std::FILE* Create(std::string& error) { return CreateFileBeside(target_, path_, error); }
  const std::string& path() const { return path_; }
  bool Commit(std::string& error) {
    if (!CommitFile(path_, target_, error)) return false;
    path_.clear();
    return true;
  }

 private:
  std::string target_;
  std::string path_;
};

bool WriteTags(Session& s, const std::string& path, const std::vector<HostTag>& tags) {
  if (tags.empty()) return true;
  const std::vector<std::uint8_t> block = BuildTagBlock(tags);
  const std::u16string name = Utf8ToWide(path);
  SetRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.TagData = block.data();
  record.Value = std::int32_t(block.size());
  return s.plugin.Set(s.decoder, reinterpret_cast<const WaveChar*>(u"IDTags"), &record) != 0;
}

// Decodes the opened source through the pipeline into `writer`; false with the reason on stderr.
bool Transfer(Session& s, const Settings& settings, std::int64_t total, Pipeline& pipeline) {
  const bool known = total <= kOpenEndedData - kLargestBlock;
  ProgressBar progress(StderrIsTerminal(), IsAddress(settings.input), known ? std::optional(total) : std::nullopt);
  std::int64_t done = 0;
  for (;;) {
    AudioBlock block{};
    if (!s.plugin.DecodeBlock(s.decoder, &block)) {
      s.PrintErrors();
      std::fprintf(stderr, "wavehost: cannot decode %s\n", settings.input.c_str());
      return false;
    }
    if (!pipeline.Feed(block.Data, block.DataBytes)) break;
    done += block.DataBytes;
    progress.Update(done);
    if (block.LastBlock) {
      if (!pipeline.Finish()) break;
      return true;
    }
  }
  std::fprintf(stderr, "wavehost: cannot write %s\n", settings.output.c_str());
  return false;
}

struct OpenedSource {
  explicit OpenedSource(Session& session, const std::string& file) : s(session), name(Utf8ToWide(file)) {
    record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
    record.Flags = kOpenPrepareDecode | kOpenReadTags;
    ok = s.plugin.Open(s.decoder, &record) != 0;
    // The tag block belongs to the plug-in until the next Open or Close.
    if (ok) tags = ParseTagBlock(record.TagData, record.TagDataBytes);
  }
  ~OpenedSource() { s.plugin.Close(s.decoder, 0); }
  OpenedSource(const OpenedSource&) = delete;
  OpenedSource& operator=(const OpenedSource&) = delete;

  Session& s;
  std::u16string name;
  OpenRecord record{};
  bool ok = false;
  std::vector<HostTag> tags;
};

int Convert(Session& s, const Settings& settings) {
  const auto started = std::chrono::steady_clock::now();
  OpenedSource opened(s, settings.input);
  if (!opened.ok) {
    s.PrintErrors();
    return BadInput("cannot read " + settings.input);
  }
  const std::optional<Source> source = ReadSource(opened.record.Format);
  if (!source) return BadInput(settings.input + ": the plug-in delivers no PCM or float audio that can be converted");
  const int outRate = settings.rate.value_or(source->rate);
  if (outRate != source->rate && (source->rate < dsp::kMinRate || source->rate > dsp::kMaxRate))
    return BadInput(settings.input + ": its rate of " + std::to_string(source->rate) + " Hz is outside " +
                    std::to_string(dsp::kMinRate) + " to " + std::to_string(dsp::kMaxRate) + " Hz");
  const SampleFormat outFormat = settings.format.value_or(source->format);
  const bool narrower = !dsp::IsFloat(outFormat) && dsp::BitsOf(outFormat) < dsp::BitsOf(source->format);
  const dsp::Dither dither = settings.dither.value_or(narrower ? dsp::Dither::Tpdf : dsp::Dither::None);

  TemporaryOutput output(settings.output);
  std::string error;
  std::FILE* file = output.Create(error);
  if (!file) return BadInput("cannot write " + settings.output + ": " + error);
  const ConvertedTags carried = ConvertTags(opened.tags, source->rate, outRate);
  WavWriter writer(file, OutputFormat(outFormat, source->channels, outRate, source->channelMask), carried.leading);
  Pipeline pipeline(*source, settings, outFormat, dither, writer);
  if (!Transfer(s, settings, opened.record.DataBytes, pipeline)) return kFailed;
  if (!writer.Finish(carried.trailing)) {
    std::fprintf(stderr, "wavehost: cannot write %s\n", settings.output.c_str());
    return kFailed;
  }
  if (!WriteTags(s, output.path(), carried.tags)) {
    s.PrintErrors();
    std::fprintf(stderr, "wavehost: cannot write the tags into %s\n", settings.output.c_str());
    return kFailed;
  }
  if (!output.Commit(error)) {
    std::fprintf(stderr, "wavehost: cannot write %s: %s\n", settings.output.c_str(), error.c_str());
    return kFailed;
  }
  const dsp::Requantizer& q = pipeline.requantizer();
  std::string ditherText = DitherName(dither);
  if (dither == dsp::Dither::Shaped && q.ShapingFellBack())
    ditherText = "tpdf (no noise shaping at " + std::to_string(outRate) + " Hz)";
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  std::fprintf(stderr, "converted %d Hz %s to %d Hz %s, quality %s, dither %s, %llu samples clipped, %.3f s\n",
               source->rate, DepthName(source->format).c_str(), outRate, DepthName(outFormat).c_str(),
               dsp::FiguresOf(settings.quality).name, ditherText.c_str(), (unsigned long long)q.Clipped(), seconds);
  return 0;
}
}  // namespace

int CommandConvert(Session& s, const Words& args) {
  Settings settings;
  if (const std::optional<int> bad = ParseSettings(s, args, settings)) return *bad;
  if (!IsAddress(settings.input) && SameFile(settings.input, settings.output))
    return BadInput("cannot convert " + settings.input + " into itself");
  if (IsDirectory(settings.output)) return BadInput("cannot write " + settings.output + ": it is a directory");
  const int result = Convert(s, settings);
  s.PrintTrace();
  return result;
}
