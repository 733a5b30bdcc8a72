/* libcelcore: the companion library of libcelccy8.  It answers questions
 * about the running processor that the image library asks. */
#ifndef CELCORE_H
#define CELCORE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Stores the size in bytes of the largest data cache of the processor and
 * returns 0; returns a non-zero value (and stores nothing) when the size
 * cannot be found. */
int celGetMaxCacheSizeB(int32_t* size);

#ifdef __cplusplus
}
#endif

#endif
