// Masks drawn as text, pictures to filter with them, and the plain definition of a flat operation.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/guarded.h"

namespace testing_support {

struct Mask {
  NuviSize size;
  std::vector<uint8_t> elements;  // any value but 0 is on

  bool isOn(int32_t i, int32_t j) const {
    return elements[static_cast<size_t>(j * size.width + i)] != 0;
  }
  NuviPoint centre() const { return {size.width / 2, size.height / 2}; }
};

// Rows parted by '/'; '.' is off, anything else is on.
inline Mask drawn(const std::string& rows) {
  const auto width = static_cast<int32_t>(std::min(rows.find('/'), rows.size()));
  Mask mask = {{width, 0}, {}};
  for (size_t row = 0; row < rows.size(); row += static_cast<size_t>(width) + 1) {
    for (int32_t i = 0; i < width; ++i) {
      const char element = rows.at(row + static_cast<size_t>(i));
      mask.elements.push_back(element == '.' ? 0 : static_cast<uint8_t>(element));
    }
    ++mask.size.height;
  }
  return mask;
}

inline Mask rectangle(int32_t width, int32_t height) {
  return {{width, height}, std::vector<uint8_t>(static_cast<size_t>(width * height), 1)};
}

// Noise of low contrast with rare peaks and pits, so that the extreme of a large window is not
// everywhere the same.
template <class T>
class PeaksAndPits {
 public:
  explicit PeaksAndPits(unsigned seed) : random_(seed) {}
  T operator()() {
    const unsigned kind = random_() % 50;
    const auto level = static_cast<T>(random_() % 100);
    if (kind == 0) return static_cast<T>(255 - level);
    return kind == 1 ? level : static_cast<T>(120 + random_() % 20);
  }

 private:
  std::mt19937 random_;
};

// The extreme of the pixels under the mask, by definition. A mask with nothing on copies.
template <class T>
void referenceExtreme(bool maximum, const TestImage<T>& src, int32_t channels, const Mask& mask,
                      NuviPoint anchor, const TestImage<T>& result) {
  const NuviSize size = src.size();
  std::vector<T> under;
  for (int32_t y = 0; y < size.height; ++y) {
    for (int32_t s = 0; s < src.samples(); ++s) {
      under.clear();
      for (int32_t j = 0; j < mask.size.height; ++j) {
        const T* const row = src.row(std::clamp(y + j - anchor.y, 0, size.height - 1));
        for (int32_t i = 0; i < mask.size.width; ++i) {
          const int32_t x = std::clamp(s / channels + i - anchor.x, 0, size.width - 1);
          if (mask.isOn(i, j)) under.push_back(row[x * channels + s % channels]);
        }
      }
      if (under.empty()) under = {src.at(s, y)};
      const auto [least, greatest] = std::minmax_element(under.begin(), under.end());
      result.at(s, y) = maximum ? *greatest : *least;
    }
  }
}

// The checks that the operations on float images share: the first failure in order, and nothing
// written. call(pSrc, srcStep, pDst, dstStep, size, border) has a state for 4 pixels of one
// channel.
template <class Call>
void expectChecksOfImages(Call&& call) {
  const float src[10] = {1};
  float dst[10] = {};
  EXPECT_EQ(nuvStatusNullPointer, call(nullptr, 16, dst, 16, NuviSize{0, 2}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusNullPointer, call(src, 16, nullptr, 16, NuviSize{4, 0}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusBadSize, call(src, 0, dst, 16, NuviSize{4, 0}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusBadStep, call(src, 17, dst, 14, NuviSize{4, 2}, nuvBorderReplicate));
  EXPECT_EQ(nuvStatusStepNotElementMultiple, call(src, 16, dst, 17, NuviSize{4, 2}, nuvBorderWrap));
  EXPECT_EQ(nuvStatusBadArgument,
            call(src, 20, dst, 20, NuviSize{5, 2}, nuvBorderReplicate | 0x10));
  EXPECT_EQ(nuvStatusBadSize, call(src, 20, dst, 20, NuviSize{5, 2}, nuvBorderReplicate));
  for (const float value : dst) EXPECT_EQ(0, value);
}

}  // namespace testing_support
