// A single-threaded swscale context between two pixel formats of one size,
// for the peer benchmarks (null when swscale refuses it).  Only with
// HAVE_SWSCALE.
#pragma once

#ifdef HAVE_SWSCALE
extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace celbench {

inline SwsContext* swscaleContext(int w, int h, AVPixelFormat from, AVPixelFormat to, int flags) {
    SwsContext* ctx = sws_alloc_context();
    av_opt_set_int(ctx, "srcw", w, 0), av_opt_set_int(ctx, "srch", h, 0);
    av_opt_set_int(ctx, "dstw", w, 0), av_opt_set_int(ctx, "dsth", h, 0);
    av_opt_set_int(ctx, "src_format", from, 0);
    av_opt_set_int(ctx, "dst_format", to, 0);
    av_opt_set_int(ctx, "sws_flags", flags, 0);
    av_opt_set_int(ctx, "threads", 1, 0);
    if (sws_init_context(ctx, nullptr, nullptr) < 0) {
        sws_freeContext(ctx);
        return nullptr;
    }
    return ctx;
}

}  // namespace celbench
#endif
