#include <dlfcn.h>
#include <gsm.h>

#include <algorithm>
#include <array>

#include "wave/GsmDecoder.h"

namespace {
// libgsm is loaded when a GSM file is first decoded: most runs never need it,
// and every process that loads the plug-in would pay for mapping it.
struct GsmApi {
  decltype(&gsm_create) create = nullptr;
  decltype(&gsm_destroy) destroy = nullptr;
  decltype(&gsm_option) option = nullptr;
  decltype(&gsm_decode) decode = nullptr;
  bool ready = false;
};

template <typename Function>
bool Resolve(void* library, Function& function, const char* name) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

const GsmApi& Gsm() {
  static const GsmApi api = [] {
    GsmApi a;
    void* library = dlopen("libgsm.so.1", RTLD_NOW | RTLD_LOCAL);
    a.ready = library && Resolve(library, a.create, "gsm_create") && Resolve(library, a.destroy, "gsm_destroy") &&
              Resolve(library, a.option, "gsm_option") && Resolve(library, a.decode, "gsm_decode");
    return a;
  }();
  return api;
}

constexpr std::uint32_t kBlockBytes = 65;
constexpr std::uint32_t kFirstFrameBytes = 33;
constexpr std::uint32_t kFrameSamples = 160;
constexpr std::uint32_t kSamplesPerBlock = 2 * kFrameSamples;

class GsmDecoder final : public BlockDecoder {
 public:
  GsmDecoder() { Restart(); }
  ~GsmDecoder() override {
    if (gsm_) Gsm().destroy(gsm_);
  }
  GsmDecoder(const GsmDecoder&) = delete;
  GsmDecoder& operator=(const GsmDecoder&) = delete;

  bool ok() const { return gsm_ != nullptr; }
  std::uint32_t BlockBytes() const override { return kBlockBytes; }
  std::uint32_t OutputBytesPerBlock() const override { return kSamplesPerBlock * 2; }

  void Decode(const std::uint8_t* in, std::size_t blocks, std::uint8_t* out) override {
    std::array<gsm_signal, kSamplesPerBlock> pcm{};
    for (std::size_t b = 0; b < blocks; ++b, in += kBlockBytes, out += kSamplesPerBlock * 2) {
      // In the packed form the library alternates between the 33-byte and
      // the 32-byte half on its own; a bad frame leaves silence.
      if (Gsm().decode(gsm_, const_cast<gsm_byte*>(in), pcm.data()) != 0) pcm.fill(0);
      if (Gsm().decode(gsm_, const_cast<gsm_byte*>(in + kFirstFrameBytes), pcm.data() + kFrameSamples) != 0)
        std::fill(pcm.begin() + kFrameSamples, pcm.end(), gsm_signal{0});
      for (std::uint32_t i = 0; i < kSamplesPerBlock; ++i) PutSample16(out + 2 * i, pcm[i]);
    }
  }

  void Restart() override {
    if (gsm_) Gsm().destroy(gsm_);
    gsm_ = Gsm().ready ? Gsm().create() : nullptr;
    int packed = 1;
    if (gsm_) Gsm().option(gsm_, GSM_OPT_WAV49, &packed);
  }

 private:
  gsm gsm_ = nullptr;
};
}  // namespace

std::unique_ptr<BlockDecoder> MakeGsmDecoder(const WFX& source, const WFX& target) {
  if (source.FormatTag() != kWaveFormatGsm610 || source.Channels() != 1 || source.BlockAlign() != kBlockBytes)
    return nullptr;
  if (target.FormatTag() != kWaveFormatPcm || target.BitsPerSample() != 16 || target.Channels() != 1 ||
      target.SamplesPerSec() != source.SamplesPerSec())
    return nullptr;
  auto decoder = std::make_unique<GsmDecoder>();
  if (!decoder->ok()) return nullptr;
  return decoder;
}
