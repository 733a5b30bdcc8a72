/*
 * The direct C side of the binding's benchmark: calls one export of the
 * interleaved shape (src, srcStep, dst, dstStep, roiSize) in a loop and
 * prints nanoseconds per call (best of five rounds), then the same for a
 * memcpy of the source's bytes.  The export is looked up by name in the library given.
 *
 * Usage: celcc_py_bench_c LIBRARY EXPORT WIDTH HEIGHT CHANNELS ITERATIONS [SOURCE.raw]
 * SOURCE.raw holds WIDTH * HEIGHT * CHANNELS bytes (the Python side writes
 * the same picture it converts); without it the source is a gradient.
 */
#define _POSIX_C_SOURCE 199309L
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

typedef struct {
    int32_t width, height;
} Size;
typedef int (*Fn)(const uint8_t*, int, uint8_t*, int, Size);

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

int main(int argc, char** argv) {
    if (argc < 7) {
        fprintf(stderr, "usage: %s LIBRARY EXPORT WIDTH HEIGHT CHANNELS ITERATIONS [SOURCE.raw]\n", argv[0]);
        return 2;
    }
    void* lib = dlopen(argv[1], RTLD_NOW);
    if (!lib) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    Fn fn = (Fn)dlsym(lib, argv[2]);
    if (!fn) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const int w = atoi(argv[3]), h = atoi(argv[4]), c = atoi(argv[5]);
    const long iters = atol(argv[6]);
    const size_t bytes = (size_t)w * h * c;
    uint8_t* src = malloc(bytes);
    uint8_t* dst = malloc(bytes);
    uint8_t* copy = malloc(bytes);
    if (!src || !dst || !copy) return 1;
    if (argc > 7) {
        FILE* f = fopen(argv[7], "rb");
        if (!f || fread(src, 1, bytes, f) != bytes) {
            fprintf(stderr, "cannot read %s\n", argv[7]);
            return 1;
        }
        fclose(f);
    } else {
        for (size_t i = 0; i < bytes; ++i) src[i] = (uint8_t)(i * 7 / 3);
    }
    Size size = {w, h};
    int st = fn(src, w * c, dst, w * c, size);
    if (st < 0) {
        fprintf(stderr, "%s returned %d\n", argv[2], st);
        return 1;
    }
    /* Best of five rounds, export and memcpy taking turns, as the machine
     * is shared. */
    void* (*volatile copy_fn)(void*, const void*, size_t) = memcpy; /* not folded away */
    double best_fn = 1e30, best_copy = 1e30;
    for (int round = 0; round < 5; ++round) {
        double t0 = now();
        for (long i = 0; i < iters; ++i) fn(src, w * c, dst, w * c, size);
        double t1 = now();
        for (long i = 0; i < iters; ++i) copy_fn(copy, src, bytes);
        double t2 = now();
        if (t1 - t0 < best_fn) best_fn = t1 - t0;
        if (t2 - t1 < best_copy) best_copy = t2 - t1;
    }
    printf("%.3f %.3f\n", best_fn / iters * 1e9, best_copy / iters * 1e9);
    free(src);
    free(dst);
    free(copy);
    return 0;
}
