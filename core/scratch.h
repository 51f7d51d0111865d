// Scratch memory that the caller lent for one call.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace nuv {

// Cuts a block into arrays, front to back. A debug build checks the end against the size that the
// library reported for the block.
class Scratch {
 public:
  Scratch(void* block, int64_t reportedBytes)
      : next_(reinterpret_cast<uintptr_t>(block)),
        end_(next_ + static_cast<uintptr_t>(reportedBytes)) {}

  // `count` elements of T, the first at a multiple of `alignment` bytes.
  template <class T>
  T* take(int64_t count, size_t alignment = alignof(T)) {
    next_ = (next_ + alignment - 1) & ~(static_cast<uintptr_t>(alignment) - 1);
    T* const taken = reinterpret_cast<T*>(next_);
    next_ += static_cast<uintptr_t>(count) * sizeof(T);
    assert(next_ <= end_ && "scratch passes its reported size");
    return taken;
  }

  // Bytes left; negative would mean that too much was taken.
  int64_t left() const { return static_cast<int64_t>(end_ - next_); }

 private:
  uintptr_t next_;
  uintptr_t end_;
};

}  // namespace nuv
