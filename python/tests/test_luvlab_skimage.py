"""LUV and Lab exports (interleaved 8u/16u/32f, planar 64f) beside scikit-image's float conversions.

The library takes linear RGB; scikit-image's rgb2lab and rgb2luv start from
sRGB, so the reference goes through XYZ: the D65 matrix here, then
skimage.color.xyz2lab / xyz2luv (and back with lab2xyz / luv2xyz).  The two
differ by the library's table-and-series cube root, its white point digits
and its quantisation: tolerances are set from those.
"""
import numpy as np
import pytest

import celcc

skcolor = pytest.importorskip("skimage.color")

M = np.array([[0.412453, 0.35758, 0.180423],
              [0.212671, 0.71516, 0.072169],
              [0.019334, 0.119193, 0.950227]])


def _rgb(lo=0.02, shape=(19, 23, 3), seed=7):
    return np.random.default_rng(seed).uniform(lo, 1.0, shape).astype(np.float32)


def _xyz(rgb):
    return rgb.astype(np.float64) @ M.T


def test_lab_32f_forward():
    rgb = _rgb()
    want = skcolor.xyz2lab(_xyz(rgb))
    for fn, src in ((celcc.celiRGBToLab_32f_C3R, rgb), (celcc.celiBGRToLab_32f_C3R, np.ascontiguousarray(rgb[..., ::-1]))):
        got = fn(src)
        assert np.abs(got - want).max() < 0.02


def test_luv_32f_forward():
    rgb = _rgb()
    want = skcolor.xyz2luv(_xyz(rgb))
    assert np.abs(celcc.celiRGBToLUV_32f_C3R(rgb) - want).max() < 0.02
    rgba = np.concatenate([rgb, np.full(rgb.shape[:2] + (1,), 0.5, np.float32)], axis=2)
    assert np.abs(celcc.celiRGBToLUV_32f_AC4R(rgba)[..., :3] - want).max() < 0.02


def test_8u_forward_decoded():
    rgb8 = np.random.default_rng(3).integers(8, 256, (17, 29, 3), dtype=np.uint8)
    xyz = _xyz(rgb8 / 255.0)
    lab = celcc.celiRGBToLab_8u_C3R(rgb8).astype(np.float64)
    want = skcolor.xyz2lab(xyz)
    assert np.abs(lab[..., 0] / 2.55 - want[..., 0]).max() < 0.4
    assert np.abs(lab[..., 1:] - 128 - want[..., 1:]).max() < 0.7
    luv = celcc.celiRGBToLUV_8u_C3R(rgb8).astype(np.float64)
    wl = skcolor.xyz2luv(xyz)
    assert np.abs(luv[..., 0] / 2.55 - wl[..., 0]).max() < 0.4
    assert np.abs(luv[..., 1] * 354 / 255 - 134 - wl[..., 1]).max() < 1.0
    assert np.abs(luv[..., 2] * 262 / 255 - 140 - wl[..., 2]).max() < 1.0
    lab16 = celcc.celiBGRToLab_8u16u_C3R(np.ascontiguousarray(rgb8[..., ::-1])).astype(np.float64)
    assert np.abs(lab16[..., 0] / 655.35 - want[..., 0]).max() < 0.01
    assert np.abs(lab16[..., 1:] / 255 - 128 - want[..., 1:]).max() < 0.02


def test_32f_reverse():
    rgb = _rgb(lo=0.15)
    lab = skcolor.xyz2lab(_xyz(rgb)).astype(np.float32)
    back = np.linalg.solve(M, skcolor.lab2xyz(lab.astype(np.float64)).reshape(-1, 3).T).T.reshape(rgb.shape)
    assert np.abs(celcc.celiLabToRGB_32f_C3R(lab) - back).max() < 1e-3
    luv = skcolor.xyz2luv(_xyz(rgb)).astype(np.float32)
    back = np.linalg.solve(M, skcolor.luv2xyz(luv.astype(np.float64)).reshape(-1, 3).T).T.reshape(rgb.shape)
    assert np.abs(celcc.celiLUVToRGB_32f_C3R(luv) - back).max() < 1e-3


def test_planar_64f_beside_skimage_and_back():
    data = pytest.importorskip("skimage.data")
    rgb = data.astronaut()[::4, ::4].astype(np.float64) / 255.0  # 128 x 128, linear by assumption
    planes = [np.ascontiguousarray(rgb[..., c]) for c in range(3)]
    lab = celcc.celiRGBToLab_64f_P3R(planes)
    want = skcolor.xyz2lab(_xyz(rgb))
    for c in range(3):
        assert np.abs(lab[c] - want[..., c]).max() < 0.02
    back = celcc.celiLabToRGB_64f_P3R(lab)
    bright = rgb.min(axis=2) > 0.1  # the reverse has no linear branch
    for c in range(3):
        assert np.abs(back[c] - planes[c])[bright].max() < 2e-6
