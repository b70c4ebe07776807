#include <mpg123.h>

#include <array>

#include "sibling/MpegDecoder.h"

namespace {
class Mpg123Decoder final : public MpegDecoder {
 public:
  Mpg123Decoder() {
    int error = MPG123_OK;
    handle_ = mpg123_new(nullptr, &error);
    if (!handle_) return;
    mpg123_param(handle_, MPG123_ADD_FLAGS, MPG123_QUIET, 0.0);
    // Samples are delivered as the frames hold them; trimming is the host's business.
    mpg123_param(handle_, MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0.0);
    mpg123_format_none(handle_);
    const long* rates = nullptr;
    std::size_t count = 0;
    mpg123_rates(&rates, &count);
    for (std::size_t i = 0; i < count; ++i)
      mpg123_format(handle_, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16);
    if (mpg123_open_feed(handle_) != MPG123_OK) {
      mpg123_delete(handle_);
      handle_ = nullptr;
    }
  }
  ~Mpg123Decoder() override {
    if (handle_) mpg123_delete(handle_);
  }
  Mpg123Decoder(const Mpg123Decoder&) = delete;
  Mpg123Decoder& operator=(const Mpg123Decoder&) = delete;

  bool ok() const { return handle_ != nullptr; }

  bool Decode(const std::uint8_t* data, std::size_t size, bool, std::vector<std::uint8_t>& out) override {
    if (size && mpg123_feed(handle_, data, size) != MPG123_OK) return false;
    std::array<unsigned char, 65536> chunk{};
    for (;;) {
      std::size_t done = 0;
      const int result = mpg123_read(handle_, chunk.data(), chunk.size(), &done);
      out.insert(out.end(), chunk.data(), chunk.data() + done);
      if (result == MPG123_NEW_FORMAT) {
        long rate = 0;
        int channels = 0, encoding = 0;
        mpg123_getformat(handle_, &rate, &channels, &encoding);
        format_ = {std::uint32_t(rate), std::uint16_t(channels)};
        continue;
      }
      if (result == MPG123_OK) continue;
      // Everything fed is decoded; what is left is an incomplete frame.
      if (result == MPG123_NEED_MORE || result == MPG123_DONE) return true;
      return false;
    }
  }

  PcmFormat Format() const override { return format_; }

 private:
  mpg123_handle* handle_ = nullptr;
  PcmFormat format_;
};
}  // namespace

std::unique_ptr<MpegDecoder> MakeMpegDecoder() {
  auto decoder = std::make_unique<Mpg123Decoder>();
  if (!decoder->ok()) return nullptr;
  return decoder;
}
