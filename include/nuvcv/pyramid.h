/**
 * @file
 * Pyramids and tracking: Gaussian steps, layers of any rate, sub-pixel windows, optical flow.
 */
#ifndef NUVCV_PYRAMID_H
#define NUVCV_PYRAMID_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// ANCHOR Gaussian steps

// -------- Gaussian steps ends

// ANCHOR layers

// -------- layers ends

// ANCHOR sub-pixel copy

// -------- sub-pixel copy ends

// ANCHOR flow

// -------- flow ends

#ifdef __cplusplus
}
#endif

#endif
