"""The short forms pick the right export and pass its arguments on."""
import numpy as np
import pytest

import celcc
from conftest import image

FORM = {np.uint8: "8u", np.uint16: "16u", np.float32: "32f8u"}
DEMOSAICERS = {"bilinear": "celiCFAToRGB_%s_C1C3R", "vng": "celiCFAToBGRA_VNG_%s_C1C4R_L", "ahd": "celiDemosaicAHD_%s_C1C3R"}


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("algorithm,pattern,grid", [
    ("bilinear", "BGGR", 0), ("bilinear", "RGGB", 1), ("bilinear", "gbrg", 2), ("bilinear", "GRBG", 3), ("vng", "GRBG", 3),
    ("ahd", "bggr", 0)])
def test_demosaic_is_the_export(dtype, algorithm, pattern, grid):
    raw = image((26, 34), dtype)
    got = celcc.demosaic(raw, pattern, algorithm=algorithm)
    assert got.shape == (26, 34, 3) and got.dtype == dtype and got.flags.c_contiguous
    kw = {"buffer": np.zeros((30, 56), dtype)} if algorithm == "ahd" else {}
    args = (raw, np.zeros((34, 42, 3), dtype)[:26, :34]) if algorithm == "ahd" else (raw,)  # AHD's strips write past
    want = getattr(celcc, DEMOSAICERS[algorithm] % FORM[dtype])(*args, grid=grid, **kw)
    assert got.tobytes() == np.ascontiguousarray(want[..., 2::-1] if algorithm == "vng" else want).tobytes()
    # Away from the frame's rim a region gives the whole frame's pixels; bilinear writes into a given destination.
    part = celcc.demosaic(raw, pattern, algorithm=algorithm, roi=(8, 6, 12, 10))
    assert part.shape == (10, 12, 3) and part[2:-2, 2:-2].tobytes() == got[8:14, 10:18].tobytes()
    if algorithm == "bilinear":
        out = np.zeros((8, 10, 3), dtype)
        assert celcc.demosaic(raw, pattern, roi=(4, 6, 10, 8), out=out) is out
        assert out.tobytes() == got[6:14, 4:14].tobytes()


# (shape, dtype, dither name, mode, noise): each sample type and layout, each dither by name
@pytest.mark.parametrize("shape,dtype,dither,mode,noise", [
    ((9, 17), np.uint8, "none", 0, 0), ((9, 17, 3), np.uint8, "ordered", 4, 0), ((9, 17, 4), np.uint8, "none", 0, 0),
    ((21, 33, 3), np.uint8, "fs", 1, 25), ((21, 33, 3), np.uint16, "FloydSteinberg", 1, 0),
    ((21, 33, 3), np.uint16, "jjn", 2, 25), ((21, 33, 3), np.float32, "stucki", 3, 25),
    ((7, 9, 4), np.float32, "ordered", 4, 20)])
def test_reduce_bits_is_the_export(shape, dtype, dither, mode, noise):
    img = image(shape, dtype)
    got = celcc.reduce_bits(img, 5, dither=dither, noise=noise)
    layout = "C%d" % (shape[2] if len(shape) == 3 else 1)
    want = getattr(celcc, "celiReduceBits_%s_%sR" % (FORM[dtype], layout))(img, noise=noise, ditherMode=mode, levels=5)
    assert got.dtype == want.dtype and got.tobytes() == want.tobytes()
    assert len(np.unique(got)) <= 5
    # the noise is reproducible: equal arguments, equal pictures
    assert celcc.reduce_bits(img, 5, dither=dither, noise=noise).tobytes() == got.tobytes()


def test_reduce_bits_alpha_and_wider_result():
    img = image((7, 9, 4), np.float32)
    out = np.full((7, 9, 4), 77, np.uint8)
    celcc.reduce_bits(img, 4, keep_alpha=True, out=out)
    assert (out[..., 3] == 77).all()
    wide = celcc.reduce_bits(np.ascontiguousarray(img[..., :3]), 10, dtype=np.uint16)
    assert wide.dtype == np.uint16 and wide.shape == (7, 9, 3)


@pytest.mark.parametrize("w", [1, 7, 8, 13, 16, 33, 100])
def test_bitmap_is_numpys_packbits_of_the_threshold(w):
    gray = image((5, w))
    for t in (0, 99, 255):
        assert celcc.bitmap(gray, t).tobytes() == np.packbits(gray > t, axis=1).tobytes()
    dithered = celcc.bitmap(gray, 128, dither="stucki")
    assert dithered.shape == (5, (w + 7) // 8)
    want = celcc.celiReduceBits_8u1u_C1R(gray, dstBitOffset=0, reserved0=0, reserved1=0, threshold=128,
                                         ditherMode="Stucki")
    assert dithered.tobytes() == np.ascontiguousarray(want[:, :(w + 7) // 8]).tobytes()


def test_tone_map_is_the_export_and_warns_on_a_negative_image():
    img = image((9, 17, 3), np.float32) * 8
    got = celcc.tone_map(img, "mean")
    assert got.shape == img.shape
    assert got.tobytes() == celcc.celiToneMapMean_32f8u_C1R(img.reshape(9, 51)).tobytes()
    assert celcc.tone_map(img[..., 0].copy()).max() >= 254
    with pytest.warns(celcc.StatusWarning):
        assert not celcc.tone_map(-img).any()


def test_v210_rows_of_a_file_sliced_to_whole_groups():
    # A v210 file row of 50 pixels holds 2 blocks of 48 pixels (64 words);
    # the binding takes the whole groups that cover the width (36 words).
    w, h = 50, 3
    y, c = image((h, 54), np.uint32) >> 22, image((h, 27), np.uint32, seed=6) >> 22
    words = np.zeros((h, 64), np.uint32)
    g = words[:, :36].reshape(h, 9, 4)
    g[..., 0] = c[:, 0::3] | y[:, 0::6] << 10 | c[:, 0::3] << 20
    g[..., 1] = y[:, 1::6] | c[:, 1::3] << 10 | y[:, 2::6] << 20
    g[..., 2] = c[:, 1::3] | y[:, 3::6] << 10 | c[:, 2::3] << 20
    g[..., 3] = y[:, 4::6] | c[:, 2::3] << 10 | y[:, 5::6] << 20
    luma = celcc.celiYUV422v210ToGray_709HDTV_32u16u_C3C1(words[:, :36], width=w)
    assert luma.shape == (h, w) and luma.dtype == np.uint16
    assert (luma == y[:, :w]).all()
    # Default width: 6 pixels a group; a width the groups do not fit is refused.
    assert celcc.celiYUV422v210ToGray_709HDTV_32u16u_C3C1(words[:, :36]).shape == (h, 54)
    with pytest.raises(ValueError):
        celcc.celiYUV422v210ToGray_709HDTV_32u16u_C3C1(words[:, :36], width=60)
