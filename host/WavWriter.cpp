#include "host/WavWriter.h"

#include "io/ByteWriter.h"

namespace {
constexpr std::uint32_t kJunkForDs64 = 28;
}

WavWriter::WavWriter(std::FILE* file, std::vector<std::uint8_t> format, std::span<const std::uint8_t> leading)
    : file_(file), format_(std::move(format)) {
  std::vector<std::uint8_t> head;
  ByteWriter w(head);
  w.Text("RIFF");
  w.U32(0);
  w.Text("WAVE");
  // Room for a 'ds64' chunk, should the audio outgrow a 32-bit size.
  w.Text("JUNK");
  w.U32(kJunkForDs64);
  w.Zeros(kJunkForDs64);
  w.Text("fmt ");
  w.U32(std::uint32_t(format_.size()));
  w.Bytes(format_);
  if (format_.size() & 1) w.U8(0);
  w.Bytes(leading);
  w.Text("data");
  dataSizeAt_ = long(head.size());
  w.U32(0);
  ok_ = file_ && std::fwrite(head.data(), 1, head.size(), file_) == head.size();
}

WavWriter::~WavWriter() {
  if (file_) std::fclose(file_);
}

bool WavWriter::Write(const std::uint8_t* data, std::size_t size) {
  if (!ok_) return false;
  ok_ = size == 0 || std::fwrite(data, 1, size, file_) == size;
  dataBytes_ += size;
  return ok_;
}

bool WavWriter::Finish(std::span<const std::uint8_t> trailing) {
  if (!file_) return false;
  if (dataBytes_ & 1) ok_ = ok_ && std::fputc(0, file_) != EOF;
  ok_ = ok_ && (trailing.empty() || std::fwrite(trailing.data(), 1, trailing.size(), file_) == trailing.size());
  const std::uint64_t riffSize = std::uint64_t(dataSizeAt_) + 4 + dataBytes_ + (dataBytes_ & 1) + trailing.size() - 8;
  const bool rf64 = riffSize > 0xFFFFFFFFu;
  std::vector<std::uint8_t> head;
  ByteWriter w(head);
  w.Text(rf64 ? "RF64" : "RIFF");
  w.U32(rf64 ? 0xFFFFFFFFu : std::uint32_t(riffSize));
  w.Text("WAVE");
  w.Text(rf64 ? "ds64" : "JUNK");
  w.U32(kJunkForDs64);
  if (rf64) {
    w.U32(std::uint32_t(riffSize));
    w.U32(std::uint32_t(riffSize >> 32));
    w.U32(std::uint32_t(dataBytes_));
    w.U32(std::uint32_t(dataBytes_ >> 32));
    w.Zeros(12);  // sample count unknown here, table length 0
  }
  ok_ = ok_ && std::fseek(file_, 0, SEEK_SET) == 0 && std::fwrite(head.data(), 1, head.size(), file_) == head.size();
  std::vector<std::uint8_t> size;
  ByteWriter(size).U32(rf64 ? 0xFFFFFFFFu : std::uint32_t(dataBytes_));
  ok_ = ok_ && std::fseek(file_, dataSizeAt_, SEEK_SET) == 0 && std::fwrite(size.data(), 1, 4, file_) == 4;
  ok_ = std::fclose(file_) == 0 && ok_;
  file_ = nullptr;
  return ok_;
}
