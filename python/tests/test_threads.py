"""Threads converting at once (the call drops the interpreter lock) give the
bytes of one thread, also into halves of one destination."""
import ctypes
import threading

import numpy as np

import celcc


def _in_threads(work, args):
    errors = []

    def run(a):
        try:
            work(a)
        except Exception as e:  # reported below, not lost in the thread
            errors.append(e)

    threads = [threading.Thread(target=run, args=(a,)) for a in args]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not errors


def test_two_threads_same_bytes_as_one():
    assert not (celcc.celiRGBToYCbCr_8u_C3R.c_function._flags_ & ctypes._FUNCFLAG_PYTHONAPI)
    images = [np.random.default_rng(s).integers(0, 256, (720, 1280, 3), dtype=np.uint8) for s in (1, 2)]
    expected = [[p.tobytes() for p in celcc.celiRGBToYCbCr420_8u_C3P3R(img)] for img in images]
    barrier = threading.Barrier(2)

    def work(i):
        barrier.wait()
        for _ in range(20):
            assert [p.tobytes() for p in celcc.celiRGBToYCbCr420_8u_C3P3R(images[i])] == expected[i]

    _in_threads(work, [0, 1])
    whole = celcc.celiRGBToXYZ_8u_C3R(images[0])
    dst = np.zeros_like(images[0])
    _in_threads(lambda rows: [celcc.celiRGBToXYZ_8u_C3R(images[0][rows], dst[rows]) for _ in range(10)],
                [slice(0, 360), slice(360, 720)])
    assert dst.tobytes() == whole.tobytes()
