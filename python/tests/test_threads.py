"""Two threads converting at once give the same bytes as one."""
import threading

import numpy as np

import celcc


def _image(seed, h=720, w=1280):
    return np.random.default_rng(seed).integers(0, 256, (h, w, 3), dtype=np.uint8)


def test_two_threads_same_bytes_as_one():
    images = [_image(1), _image(2)]
    expected = [celcc.celiRGBToYCbCr420_8u_C3P3R(img) for img in images]
    results = [None, None]
    barrier = threading.Barrier(2)
    errors = []

    def work(i):
        try:
            barrier.wait()
            outs = []
            for _ in range(20):
                outs.append(celcc.celiRGBToYCbCr420_8u_C3P3R(images[i]))
            results[i] = outs
        except Exception as e:  # reported below, not lost in the thread
            errors.append(e)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not errors
    for i in range(2):
        for planes in results[i]:
            for got, want in zip(planes, expected[i]):
                assert got.tobytes() == want.tobytes()


def test_two_threads_into_halves_of_one_destination():
    img = _image(3, 720, 1280)
    whole = celcc.celiRGBToXYZ_8u_C3R(img)
    dst = np.zeros_like(img)
    halves = [(slice(0, 360), ), (slice(360, 720), )]

    def work(rows):
        for _ in range(10):
            celcc.celiRGBToXYZ_8u_C3R(img[rows], dst[rows])

    threads = [threading.Thread(target=work, args=h) for h in halves]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert dst.tobytes() == whole.tobytes()
