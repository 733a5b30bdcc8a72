"""Planar Lab in 32f and 64f through the binding: a float photograph split
into R, G, B planes, to L, a, b planes and back.

The planar 32f forms give the bits of the interleaved 32f forms; the 64f
forms stand beside scikit-image's xyz2lab on the same XYZ (they differ by
the white point's digits and the float-valued matrix only), and the _L
forms give the bits of the plain ones.  Rows reversed (negative steps) and
regions of larger planes are read in place.
"""
import numpy as np
import pytest

import celcc

M = np.array([[0.412453, 0.35758, 0.180423],
              [0.212671, 0.71516, 0.072169],
              [0.019334, 0.119193, 0.950227]])


def _photo(dtype):
    data = pytest.importorskip("skimage.data")
    rgb = data.astronaut()[::4, ::4].astype(np.float64) / 255.0  # 128 x 128, linear by assumption
    return [np.ascontiguousarray(rgb[..., c], dtype=dtype) for c in range(3)]


def test_32f_planes_are_the_interleaved_bits():
    planes = _photo(np.float32)
    lab = celcc.celiRGBToLab_32f_P3R(planes)
    inter = celcc.celiRGBToLab_32f_C3R(np.ascontiguousarray(np.stack(planes, axis=2)))
    for c in range(3):
        assert np.array_equal(lab[c], inter[..., c])
    back = celcc.celiLabToRGB_32f_P3R(lab)
    back_i = celcc.celiLabToRGB_32f_C3R(inter)
    for c in range(3):
        assert np.array_equal(back[c], back_i[..., c])
        # the reverse has no linear branch: pixels with a dark channel do not come back exactly
        bright = np.minimum(np.minimum(planes[0], planes[1]), planes[2]) > 0.1
        assert np.abs(back[c] - planes[c])[bright].max() < 2e-4


def test_64f_beside_skimage_and_back():
    skcolor = pytest.importorskip("skimage.color")
    planes = _photo(np.float64)
    lab = celcc.celiRGBToLab_64f_P3R(planes)
    want = skcolor.xyz2lab(np.stack(planes, axis=2) @ M.T)
    for c in range(3):
        assert np.abs(lab[c] - want[..., c]).max() < 0.02
    back = celcc.celiLabToRGB_64f_P3R(lab)
    for c in range(3):
        bright = np.minimum(np.minimum(planes[0], planes[1]), planes[2]) > 0.1
        assert np.abs(back[c] - planes[c])[bright].max() < 2e-6


@pytest.mark.parametrize("depth", ["32f", "64f"])
def test_long_forms_reversed_rows_and_regions(depth):
    dtype = np.float32 if depth == "32f" else np.float64
    planes = _photo(dtype)
    for fwd in ("RGBToLab", "LabToRGB"):
        plain = getattr(celcc, "celi%s_%s_P3R" % (fwd, depth))
        wide = getattr(celcc, "celi%s_%s_P3R_L" % (fwd, depth))
        src = planes if fwd == "RGBToLab" else celcc.celiRGBToLab_64f_P3R([p.astype(np.float64) for p in planes])
        src = [s.astype(dtype) for s in src]
        a = plain(src)
        b = wide(src)
        for c in range(3):
            assert np.array_equal(a[c], b[c])
        # upside down and a region: the same pixels, read in place
        flipped = [s[::-1] for s in src]
        f = wide(flipped)
        region = [s[10:50, 7:70] for s in src]
        r = plain(region)
        for c in range(3):
            assert np.array_equal(f[c][::-1], a[c])
            assert np.array_equal(r[c], a[c][10:50, 7:70])
