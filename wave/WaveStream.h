// What the streaming engine reads from: a forward stream that may know its
// length and may be able to move.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

class WaveStream {
 public:
  virtual ~WaveStream() = default;
  // Reads up to count bytes; fewer only at the end of the stream or when Failed().
  virtual std::int64_t Read(void* buffer, std::int64_t count) = 0;
  // True once a read failed beyond recovery (as opposed to the stream having ended).
  virtual bool Failed() const = 0;
  // The stream's length, when it can tell it.
  virtual std::optional<std::int64_t> Length() const = 0;
  // Moves the next read to a position; false, nothing changed, when the stream cannot move.
  virtual bool Seek(std::int64_t position) = 0;
  virtual std::int64_t Position() const = 0;
};

// A stream over bytes in memory, which may pretend not to know its length or not to move.
class MemoryWaveStream : public WaveStream {
 public:
  MemoryWaveStream(std::span<const std::uint8_t> bytes, bool knowsLength, bool canSeek)
      : bytes_(bytes), knowsLength_(knowsLength), canSeek_(canSeek) {}
  std::int64_t Read(void* buffer, std::int64_t count) override {
    const std::int64_t n =
        std::clamp<std::int64_t>(std::int64_t(bytes_.size()) - position_, 0, std::max<std::int64_t>(count, 0));
    if (n > 0) std::memcpy(buffer, bytes_.data() + position_, std::size_t(n));
    position_ += n;
    return n;
  }
  bool Failed() const override { return false; }
  std::optional<std::int64_t> Length() const override {
    return knowsLength_ ? std::optional<std::int64_t>(std::int64_t(bytes_.size())) : std::nullopt;
  }
  bool Seek(std::int64_t position) override {
    if (position == position_) return true;
    if (!canSeek_ || position < 0) return false;
    position_ = position;
    return true;
  }
  std::int64_t Position() const override { return position_; }

 private:
  std::span<const std::uint8_t> bytes_;
  bool knowsLength_;
  bool canSeek_;
  std::int64_t position_ = 0;
};
