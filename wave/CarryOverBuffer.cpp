#include "wave/CarryOverBuffer.h"

#include <cstring>
#include <new>

bool CarryOverBuffer::Grow(std::size_t size) {
  if (storage_.size() >= size) return true;
  try {
    storage_.resize(size + size / 10);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool CarryOverBuffer::Append(const AudioBuffer& input, bool borrow) {
  if (input.format.BitsPerSample() != 0) format_.Assign(input.format);
  const std::size_t added = input.valid;
  if (pending_ == 0 && borrow) {
    data_ = input.data;
    borrowed_ = true;
    pending_ = added;
    offset_ = 0;
    return true;
  }
  if (pending_ != 0 && !borrowed_) {
    // Pending bytes first go to the front, then the storage grows behind them.
    std::memmove(storage_.data(), data_ + offset_, pending_);
    if (!Grow(pending_ + added)) return false;
  } else if (!Grow(pending_ + added)) {
    return false;
  } else if (pending_ != 0) {
    std::memcpy(storage_.data(), data_ + offset_, pending_);
  }
  if (added != 0) std::memcpy(storage_.data() + pending_, input.data, added);
  data_ = storage_.data();
  borrowed_ = false;
  pending_ += added;
  offset_ = 0;
  return true;
}

std::span<const std::uint8_t> CarryOverBuffer::Take(std::size_t count) {
  const std::size_t n = count < pending_ ? count : pending_;
  if (n == 0) return {};
  std::span<const std::uint8_t> view(data_ + offset_, n);
  pending_ -= n;
  offset_ += n;
  return view;
}

void CarryOverBuffer::GiveBack(std::size_t count) {
  if (count == 0 || count > offset_) return;
  pending_ += count;
  offset_ -= count;
}

bool CarryOverBuffer::Compact() {
  if (pending_ == 0) {
    offset_ = 0;
    if (borrowed_) data_ = nullptr, borrowed_ = false;
    return true;
  }
  if (borrowed_) {
    if (!Grow(pending_)) return false;
    std::memcpy(storage_.data(), data_ + offset_, pending_);
  } else if (offset_ != 0) {
    std::memmove(storage_.data(), data_ + offset_, pending_);
  }
  data_ = storage_.data();
  borrowed_ = false;
  offset_ = 0;
  return true;
}

void CarryOverBuffer::Clear() {
  data_ = storage_.empty() ? nullptr : storage_.data();
  pending_ = offset_ = 0;
  borrowed_ = false;
}
