/*
 * celcc.h - public interface of libcelccy8, image colour-conversion
 * primitives for x86-64 processors with SSE4.2.
 *
 * Every function works on caller-owned memory: a pointer to the first pixel
 * of the region of interest, a signed row step in bytes, and a CelSize.
 * Every function but celccGetLibVersion returns a CelStatus: 0 success,
 * negative error (nothing was written), positive warning.
 *
 * Usable from C (C99 or later) and C++.
 */
#ifndef CELCC_H
#define CELCC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes ------------------------------------------------------- */

typedef enum CelStatus {
    celStatusOk              = 0,    /* success */
    celStatusToneMapNegative = 1,    /* warning: tone-map scale below zero, nothing written */
    celStatusOddSize         = 35,   /* warning: size does not fit the subsampling */
    celStatusBadArgument     = -5,   /* Bayer grid out of range */
    celStatusBadSize         = -6,   /* width, height or length below the minimum */
    celStatusNullPointer     = -8,   /* a required pointer is null */
    celStatusBadContext      = -13,  /* a state record's identity tag is wrong */
    celStatusBadStep         = -16,  /* a row step is below 1 */
    celStatusBadChannelCode  = -47,  /* channel code is none of 1, 3, 4, 9 */
    celStatusBadRange        = -49,  /* upper bound not above lower bound */
    celStatusBadLevels       = -54,  /* level count out of range */
    celStatusBadNoise        = -55,  /* noise amplitude above 100 */
    celStatusBadDither       = -224, /* unknown dither type */
    celStatusSizeTooLarge    = -232  /* a 64-bit size or coordinate at or above 2^31 */
} CelStatus;

/* ---- Shared types ------------------------------------------------------- */

/* Size of a region in pixels; for subsampled images it counts luma pixels. */
typedef struct CelSize {
    int32_t width;
    int32_t height;
} CelSize;

/* A region in frame coordinates (demosaicing). */
typedef struct CelRect {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
} CelRect;

/* Size and region with 64-bit members (the _L forms of VNG demosaicing). */
typedef struct CelSizeL {
    int64_t width;
    int64_t height;
} CelSizeL;

typedef struct CelRectL {
    int64_t x;
    int64_t y;
    int64_t width;
    int64_t height;
} CelRectL;

/* The library's constant version record, returned by celccGetLibVersion. */
typedef struct CelLibVersion {
    int32_t releaseMajor;
    int32_t releaseMinor;
    int32_t releaseUpdate;
    int32_t revision;
    char tierTag[4];
    const char* libraryLabel;
    const char* versionLabel;
    const char* buildDateLabel;
} CelLibVersion;

/* Argument enumerations are 32-bit integers at the interface.  In C++ they
 * carry that as their fixed underlying type, so that every 32-bit value a
 * caller passes (an out-of-range grid or mode included, which the functions
 * refuse with a status) is a value of the type and not undefined. */
#ifdef __cplusplus
#define CEL_ENUM_INT32 : int32_t
#else
#define CEL_ENUM_INT32
#endif

/* Bayer pattern of a raw frame: the letters name the top-left 2x2 block. */
typedef enum CelBayerGrid CEL_ENUM_INT32 {
    celBayerBGGR = 0,
    celBayerRGGB = 1,
    celBayerGBRG = 2,
    celBayerGRBG = 3
} CelBayerGrid;

/* Dither modes of celiReduceBits_*. */
typedef enum CelDitherMode CEL_ENUM_INT32 {
    celDitherOff = 0,
    celDitherFloydSteinberg = 1,
    celDitherJarvisJudiceNinke = 2,
    celDitherStucki = 3,
    celDitherOrdered = 4
} CelDitherMode;

/* ---- Exported functions -------------------------------------------------
 * The prototypes are expanded from the library's one list of exports
 * (celcc/exports.inc); each entry there carries a line saying what the
 * function computes.
 */
#define CEL_EXPORT(ret, name, params, args, doc) ret name params;
#include "celcc/exports.inc"
#undef CEL_EXPORT

#ifdef __cplusplus
}
#endif

#endif /* CELCC_H */
