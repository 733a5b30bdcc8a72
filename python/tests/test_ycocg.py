"""YCoCg from Python: the exports on a photograph's pixels, the lifting pairs
round trip exactly, and convert() knows the plane formats."""
import numpy as np
import pytest

import celcc

PHOTO = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png"


def _bgr(h=21, w=37, seed=4):
    return np.random.default_rng(seed).integers(0, 256, (h, w, 3), dtype=np.uint8)


def _model_lifting(bgr):
    b, g, r = (bgr[..., k].astype(np.int64) for k in range(3))
    co = r - b
    t = b + (co >> 1)
    cg = g - t
    return t + (cg >> 1), co, cg


def test_lifting_planes_match_the_formulas_and_come_back():
    bgr = _bgr()
    y, co, cg = celcc.celiBGRToYCoCg_Rev_8u16s_C3P3R(bgr)
    assert y.dtype == np.int16 and y.shape == bgr.shape[:2]
    for got, want in zip((y, co, cg), _model_lifting(bgr)):
        assert np.array_equal(got, want)
    back = celcc.celiYCoCgToBGR_Rev_16s8u_P3C3R([y, co, cg])
    assert np.array_equal(back, bgr)


def test_signed_lifting_pairs_are_lossless_over_the_whole_range():
    rng = np.random.default_rng(5)
    sbgr = rng.integers(-32768, 32768, (33, 29, 3), dtype=np.int16)
    for fwd, inv in (("celiSBGRToYCoCg_Rev_16s_C3P3R", "celiYCoCgToSBGR_Rev_16s_P3C3R"),
                     ("celiSBGRToYCoCg_Rev_16s32s_C3P3R", "celiYCoCgToSBGR_Rev_32s16s_P3C3R")):
        planes = getattr(celcc, fwd)(sbgr)
        assert np.array_equal(getattr(celcc, inv)(list(planes)), sbgr)


def test_photograph_through_convert():
    try:
        from skimage import io
    except ImportError:
        pytest.skip("scikit-image not installed")
    try:
        celcc.formats()
    except RuntimeError as e:
        pytest.skip(str(e))
    rgb = io.imread(PHOTO)[:, :, :3]
    bgr = np.ascontiguousarray(rgb[..., ::-1])
    planes = celcc.convert(bgr, "BGR24", "YCoCg-Rev")
    assert [p.dtype for p in planes] == [np.dtype(np.int16)] * 3
    assert np.array_equal(celcc.convert(planes, "YCoCg-Rev", "BGR24"), bgr)
    # from and to RGB through the table's exchange of channel order
    assert np.array_equal(celcc.convert(rgb, "RGB24", "BGR24"), bgr)
    for got, want in zip(celcc.convert(rgb, "RGB24", "YCoCg-Rev"), planes):
        assert np.array_equal(got, want)
    assert np.array_equal(celcc.convert(planes, "YCoCg-Rev", "RGB24"), rgb)
    # the offset 8-bit pair: one code at most
    back = celcc.convert(celcc.convert(rgb, "RGB24", "YCOCG8"), "YCOCG8", "RGB24")
    assert np.abs(back.astype(int) - rgb).max() <= 1
