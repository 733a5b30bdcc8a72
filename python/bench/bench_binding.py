"""What the Python binding costs: per-call overhead on a small image and
throughput at 1920x1080, beside the same export called from C and a memcpy
of the same bytes, measured in one run.

    PYTHONPATH=build/python /usr/bin/python3 python/bench/bench_binding.py \\
        [--c-helper build/python/celcc_py_bench_c] [--export celiRGBToYCbCr_8u_C3R]

The picture is the astronaut photograph tiled to 1920x1080 when skimage has
it, a gradient with noise otherwise.  Times are the best of several
repeats; the machine is shared, so expect noise of 10% or more.
"""
import argparse
import ctypes
import os
import subprocess
import tempfile
import threading
import time

import numpy as np

import celcc

PHOTO = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png"


def picture(h, w):
    try:
        from skimage import io
        img = io.imread(PHOTO)[:, :, :3]
    except Exception:
        y, x = np.mgrid[0:h, 0:w]
        rng = np.random.default_rng(1)
        img = np.stack([(x * 255 // max(w - 1, 1)), (y * 255 // max(h - 1, 1)), (x + y) % 256], -1)
        img = np.clip(img + rng.normal(0, 3, img.shape), 0, 255).astype(np.uint8)
        return img
    reps = (-(-h // img.shape[0]), -(-w // img.shape[1]), 1)
    return np.ascontiguousarray(np.tile(img, reps)[:h, :w])


def best(fn, calls, repeats=5):
    """Best time per call, in seconds."""
    fn()
    out = []
    for _ in range(repeats):
        t0 = time.perf_counter()
        for _ in range(calls):
            fn()
        out.append((time.perf_counter() - t0) / calls)
    return min(out)


def c_times(helper, export, img, iters):
    """(ns per export call, ns per memcpy) from the C helper, on the same bytes."""
    h, w, c = img.shape
    with tempfile.NamedTemporaryFile(suffix=".raw", delete=False) as f:
        f.write(img.tobytes())
        raw = f.name
    try:
        out = subprocess.check_output([helper, celcc.library_path(), export, str(w), str(h), str(c), str(iters), raw])
    finally:
        os.unlink(raw)
    a, b = out.split()
    return float(a), float(b)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--c-helper", default=None, help="path of celcc_py_bench_c")
    ap.add_argument("--export", default="celiRGBToYCbCr_8u_C3R", help="an export of the C3R shape")
    args = ap.parse_args()
    fn = getattr(celcc, args.export)
    cfn = fn.c_function
    size_t = cfn.argtypes[4]

    print("export %s, library %s" % (args.export, celcc.library_path()))
    print("%-44s %12s %12s" % ("", "us/call", "Mpix/s"))
    for (h, w), calls in (((16, 16), 20000), ((1080, 1920), 40)):
        src = picture(h, w)
        dst = np.empty_like(src)
        px = h * w
        rows = []
        t = best(lambda: fn(src, dst), calls)
        rows.append(("binding, destination given", t))
        t = best(lambda: fn(src), calls)
        rows.append(("binding, destination allocated", t))
        sp, dp, step, sz = src.ctypes.data, dst.ctypes.data, src.strides[0], size_t(w, h)
        t = best(lambda: cfn(sp, step, dp, step, sz), calls)
        rows.append(("ctypes call, arguments prepared", t))
        if args.c_helper:
            ce, cm = c_times(args.c_helper, args.export, src, calls)
            rows.append(("C, direct call", ce * 1e-9))
            rows.append(("C, memcpy of the same bytes", cm * 1e-9))
        print("%dx%d:" % (w, h))
        for label, t in rows:
            print("  %-42s %12.2f %12.1f" % (label, t * 1e6, px / t / 1e6))

    # Two threads, each converting its own 1080p picture: the lock is
    # released in the call, so on two free cores this nears twice one.
    src = [picture(1080, 1920), picture(1080, 1920)[::-1].copy()]
    dst = [np.empty_like(s) for s in src]
    n = 40

    def work(i):
        for _ in range(n):
            fn(src[i], dst[i])

    t0 = time.perf_counter()
    work(0)
    one = time.perf_counter() - t0
    threads = [threading.Thread(target=work, args=(i,)) for i in range(2)]
    t0 = time.perf_counter()
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    two = time.perf_counter() - t0
    px = 1080 * 1920
    print("1920x1080, threads: one %.1f Mpix/s, two together %.1f Mpix/s" % (n * px / one / 1e6,
                                                                         2 * n * px / two / 1e6))


if __name__ == "__main__":
    main()
