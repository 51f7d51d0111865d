// Pictures with a border, by the definition of each kind.
#pragma once

#include "support/guarded.h"

namespace testing_support {

// The position inside 0..length-1 that stands in for `i`, one reflection or repetition at a time;
// -1 where the constant does.
inline int32_t standIn(NuviBorderType kind, int32_t i, int32_t length) {
  while (i < 0 || i >= length) {
    if (kind == nuvBorderConstant) return -1;
    if (kind == nuvBorderReplicate || length == 1) return i < 0 ? 0 : length - 1;
    if (kind == nuvBorderWrap) i += i < 0 ? length : -length;
    if (kind == nuvBorderMirror) i = i < 0 ? -i : 2 * (length - 1) - i;
    if (kind == nuvBorderMirrorRepeat) i = i < 0 ? -1 - i : 2 * length - 1 - i;
  }
  return i;
}

// A region inside an image that has just the margins, `reach` pixels wide, that the flags of a
// border promise.
template <class T>
class BorderedImage {
 public:
  BorderedImage(NuviSize regionSize, NuviBorderType borderType, T constantValue, int32_t reach,
                int32_t pad = 0, Against against = Against::end)
      : size(regionSize),
        border(borderType),
        constant(constantValue),
        flags_(border == nuvBorderInMemory ? 0xF0 : border),
        left_(flags_ & nuvBorderFlagMemLeft ? reach : 0),
        top_(flags_ & nuvBorderFlagMemTop ? reach : 0),
        image_({size.width + left_ + (flags_ & nuvBorderFlagMemRight ? reach : 0),
                size.height + top_ + (flags_ & nuvBorderFlagMemBottom ? reach : 0)},
               1, pad, against) {}

  template <class Value>
  void fill(Value&& value) {
    image_.fill(value);
  }
  T* data() const { return image_.row(top_) + left_; }
  int32_t step() const { return image_.step(); }

  // The pixel at a position in the region or outside it.
  T at(int32_t x, int32_t y) const {
    const auto inMemory = [&](int32_t i, int32_t length, int before, int behind) {
      return (i >= 0 || (flags_ & before) != 0) && (i < length || (flags_ & behind) != 0);
    };
    if (!inMemory(y, size.height, nuvBorderFlagMemTop, nuvBorderFlagMemBottom)) {
      y = standIn(flags_ & 0xF, y, size.height);
      if (y < 0) return constant;
    }
    if (!inMemory(x, size.width, nuvBorderFlagMemLeft, nuvBorderFlagMemRight)) {
      x = standIn(flags_ & 0xF, x, size.width);
      if (x < 0) return constant;
    }
    return image_.row(y + top_)[x + left_];
  }

  const NuviSize size;
  const NuviBorderType border;
  const T constant;

 private:
  NuviBorderType flags_;
  int32_t left_, top_;
  TestImage<T> image_;
};

}  // namespace testing_support
