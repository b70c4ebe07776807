// The input of a codec stream that has not been converted yet. New input is
// referenced rather than copied while nothing is pending; whatever must wait
// for the next call is moved into storage of its own, so the caller may
// reuse its read buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "wave/AudioBuffer.h"
#include "wave/WFX.h"

class CarryOverBuffer {
 public:
  // Queues the input's valid bytes behind those pending; false when memory runs out.
  bool Append(const AudioBuffer& input, bool borrow);
  // Hands out up to `count` pending bytes, oldest first.
  std::span<const std::uint8_t> Take(std::size_t count);
  // Returns the last `count` bytes taken to the pending ones, when they are still in reach.
  void GiveBack(std::size_t count);
  // Moves the pending bytes to the start of owned storage; false when memory runs out.
  bool Compact();
  // Drops everything pending.
  void Clear();

  std::size_t pending() const { return pending_; }
  std::size_t offset() const { return offset_; }
  bool borrowed() const { return borrowed_; }
  const WFX& format() const { return format_; }

 private:
  // Makes the storage hold at least `size` bytes, with a tenth more as slack; keeps its contents.
  bool Grow(std::size_t size);

  WFX format_;
  std::vector<std::uint8_t> storage_;
  const std::uint8_t* data_ = nullptr;
  std::size_t pending_ = 0;
  std::size_t offset_ = 0;
  bool borrowed_ = false;
};
