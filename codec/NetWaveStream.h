// The network stream as the streaming engine reads it.
#pragma once

#include "net/NetStream.h"
#include "wave/WaveStream.h"

class NetWaveStream : public WaveStream {
 public:
  explicit NetWaveStream(NetStream& stream) : stream_(stream) {}
  std::int64_t Read(void* buffer, std::int64_t count) override { return stream_.Read(buffer, count); }
  bool Failed() const override { return stream_.Failed(); }
  std::optional<std::int64_t> Length() const override { return stream_.Length(); }
  bool Seek(std::int64_t position) override { return stream_.Seek(position); }
  std::int64_t Position() const override { return stream_.Position(); }

 private:
  NetStream& stream_;
};
