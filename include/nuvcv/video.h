/**
 * @file
 * Video analysis: motion history, Gaussian and histogram foreground models.
 */
#ifndef NUVCV_VIDEO_H
#define NUVCV_VIDEO_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// ANCHOR motion history

// -------- motion history ends

// ANCHOR Gaussian model

// -------- Gaussian model ends

// ANCHOR histogram model

// -------- histogram model ends

#ifdef __cplusplus
}
#endif

#endif
