"""Threads converting at once (the call drops the interpreter lock) give the
bytes of one thread, also into halves of one destination."""
import ctypes
import threading
from concurrent.futures import ThreadPoolExecutor

import numpy as np

import celcc
from conftest import image


def _in_threads(work, args):
    with ThreadPoolExecutor(len(args)) as pool:
        list(pool.map(work, args))  # raises here what a thread raised


def test_two_threads_same_bytes_as_one():
    assert not (celcc.celiRGBToYCbCr_8u_C3R.c_function._flags_ & ctypes._FUNCFLAG_PYTHONAPI)
    images = [image((720, 1280, 3), seed=s) for s in (1, 2)]
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
