// A block of audio and its format: the engine's read buffer and the
// converter's output. Data either lives in the buffer's own storage or is
// borrowed from another buffer, which is how PCM reaches the host uncopied.
#pragma once

#include <cstdint>
#include <new>
#include <vector>

#include "wave/WFX.h"

struct AudioBuffer {
  WFX format;
  const std::uint8_t* data = nullptr;
  std::size_t valid = 0;
  bool borrowed = false;

  // Makes the owned storage hold at least `size` bytes; false when memory runs out.
  bool Reserve(std::size_t size) {
    borrowed = false;
    if (storage_.size() < size) {
      try {
        storage_.resize(size);
      } catch (const std::bad_alloc&) {
        return false;
      }
    }
    data = storage_.data();
    return true;
  }
  std::uint8_t* writable() { return storage_.data(); }
  std::size_t capacity() const { return borrowed ? valid : storage_.size(); }
  // Points at another buffer's bytes; the format is the caller's business.
  void Borrow(const AudioBuffer& other) {
    data = other.data;
    valid = other.valid;
    borrowed = true;
  }
  void Clear() {
    data = storage_.empty() ? nullptr : storage_.data();
    valid = 0;
    borrowed = false;
  }

 private:
  std::vector<std::uint8_t> storage_;
};
