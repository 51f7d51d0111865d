// The derivatives of whole layers, from which optical flow takes its windows of them.
#pragma once

#include <algorithm>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "nuvcv/filter.h"
#include "pyramid/flowwindows.h"

namespace nuv {

// The derivatives of a layer no larger than the state's largest, in units of the windows.
template <class Pixel>
class GradientPlanes {
 public:
  using Gradient = typename Form<Pixel>::Gradient;

  GradientPlanes(Scratch scratch, NuviSize size)
      : alongX(scratch.take<Gradient>(elements(size), 32)),
        alongY(scratch.take<Gradient>(elements(size), 32)),
        step((size.width + 5) * gradientBytes),
        converted_(scratch.take<float>(isConverted ? elements(size) : 0, 32)),
        filterBuffer_(scratch.take<uint8_t>(scratch.left())) {}

  static int64_t bytes(NuviSize size) {
    return (isConverted ? 3 : 2) * elements(size) * gradientBytes + filterBytes() + 3 * 32;
  }

  // In tiles: each is scaled while it is in the cache, and is too low for the filters to take a
  // team, so that their memory does not depend on the thread count of the run.
  void derive(const Layer& layer) const {
    const auto* const pixels = static_cast<const Pixel*>(layer.image);
    const NuvStatus status = Check()
                                 .pointers(pixels)
                                 .step(pixels, layer.step, layer.size.width)
                                 .elementMultiple(pixels, layer.step)
                                 .status();
    if (status != nuvStatusOk) return;  // no window can be taken of it either
    const auto image = filterable(Image<const Pixel>(pixels, layer.step), layer.size);
    for (int32_t y = 0; y < layer.size.height; y += tileSize.height) {
      for (int32_t x = 0; x < layer.size.width; x += tileSize.width) {
        deriveTile(image, layer.size,
                   {x, y, std::min(tileSize.width, layer.size.width - x),
                    std::min(tileSize.height, layer.size.height - y)});
      }
    }
  }

  Gradient* const alongX;
  Gradient* const alongY;
  const int32_t step;

 private:
  using Source = std::conditional_t<std::is_same_v<Pixel, uint8_t>, uint8_t, float>;
  static constexpr bool isConverted = !std::is_same_v<Pixel, Source>;
  static constexpr int32_t gradientBytes = static_cast<int32_t>(sizeof(Gradient));
  static constexpr NuviSize tileSize = {512, 32};

  static int64_t elements(NuviSize size) {
    return (int64_t{size.width} + 5) * (int64_t{size.height} + 5);
  }

  // Of the filters for a tile.
  static int64_t filterBytes() {
    int32_t horizontal = 0, vertical = 0;
    if constexpr (std::is_same_v<Source, uint8_t>) {
      nuviFilterScharrHorizGetBufferSize_8u16s_C1R(tileSize, &horizontal);
      nuviFilterScharrVertGetBufferSize_8u16s_C1R(tileSize, &vertical);
    } else {
      nuviFilterScharrHorizGetBufferSize_32f_C1R(tileSize, &horizontal);
      nuviFilterScharrVertGetBufferSize_32f_C1R(tileSize, &vertical);
    }
    return std::max(horizontal, vertical);
  }

  Image<const Source> filterable(Image<const Pixel> image, NuviSize size) const {
    if constexpr (isConverted) {
      const Image<float> floats(converted_, step);
      for (int32_t y = 0; y < size.height; ++y) {
        std::copy(image.row(y), image.row(y) + size.width, floats.row(y));
      }
      return {converted_, step};
    } else {
      return image;
    }
  }

  // Around the tile the filters read the layer, beyond the layer its nearest pixel.
  void deriveTile(Image<const Source> image, NuviSize layerSize, NuviRect tile) const {
    NuviBorderType border = nuvBorderReplicate;
    if (tile.x > 0) border |= nuvBorderFlagMemLeft;
    if (tile.y > 0) border |= nuvBorderFlagMemTop;
    if (tile.x + tile.width < layerSize.width) border |= nuvBorderFlagMemRight;
    if (tile.y + tile.height < layerSize.height) border |= nuvBorderFlagMemBottom;
    const NuviSize size = {tile.width, tile.height};
    const auto sourceStep = static_cast<int32_t>(image.step());
    const Source* const src = image.row(tile.y) + tile.x;
    Gradient* const dstX = Image<Gradient>(alongX, step).row(tile.y) + tile.x;
    Gradient* const dstY = Image<Gradient>(alongY, step).row(tile.y) + tile.x;
    if constexpr (std::is_same_v<Source, uint8_t>) {
      nuviFilterScharrVertBorder_8u16s_C1R(src, sourceStep, dstX, step, size, border, 0,
                                           filterBuffer_);
      nuviFilterScharrHorizBorder_8u16s_C1R(src, sourceStep, dstY, step, size, border, 0,
                                            filterBuffer_);
      scale(dstX, size, int16_t{4});
      scale(dstY, size, int16_t{4});
    } else {
      nuviFilterScharrVertBorder_32f_C1R(src, sourceStep, dstX, step, size, border, 0.0f,
                                         filterBuffer_);
      nuviFilterScharrHorizBorder_32f_C1R(src, sourceStep, dstY, step, size, border, 0.0f,
                                          filterBuffer_);
      scale(dstX, size, 0.03125f);
      scale(dstY, size, 0.03125f);
    }
  }

  void scale(Gradient* tile, NuviSize size, Gradient factor) const {
    const Image<Gradient> image(tile, step);
    for (int32_t y = 0; y < size.height; ++y) {
      Gradient* const row = image.row(y);
      for (int32_t x = 0; x < size.width; ++x) row[x] = static_cast<Gradient>(row[x] * factor);
    }
  }

  float* const converted_;  // `16u`: the layer in floats
  uint8_t* const filterBuffer_;
};

}  // namespace nuv
