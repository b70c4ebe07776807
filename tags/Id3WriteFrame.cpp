#include "tags/Id3WriteFrame.h"

#include "io/ByteWriter.h"
#include "tags/Id3Errors.h"
#include "tags/Id3Header.h"

namespace id3parser {
namespace {

constexpr std::string_view kMagic = "ID3";
constexpr std::uint8_t kRevision = 0;
constexpr std::uint8_t kNoFlags = 0;

}  // namespace

void AppendFrame(std::vector<std::uint8_t>& out, int major, std::string_view id, std::span<const std::uint8_t> body) {
  const std::size_t limit = major == 2 ? kMaxFrameSizeV22 : kMaxSynchsafe;
  if (body.size() > limit) throw writeError();
  const auto size = std::uint32_t(body.size());
  ByteWriter w(out);
  w.Text(id);
  if (major == 2) {
    w.U24BE(size);
  } else {
    w.U32BE(major == 4 ? ToSynchsafe(size) : size);
    w.U16BE(kNoFlags);
  }
  w.Bytes(body);
}

std::vector<std::uint8_t> WrapFrames(int major, std::span<const std::uint8_t> frames) {
  if (frames.size() > kMaxSynchsafe) throw writeError();
  std::vector<std::uint8_t> tag;
  tag.reserve(kTagHeaderSize + frames.size());
  ByteWriter w(tag);
  w.Text(kMagic);
  w.U8(std::uint8_t(major));
  w.U8(kRevision);
  w.U8(kNoFlags);
  w.U32BE(ToSynchsafe(std::uint32_t(frames.size())));
  w.Bytes(frames);
  return tag;
}

}  // namespace id3parser
