"""The short forms pick the right export and pass its arguments on."""
import numpy as np
import pytest

import celcc


def _rng():
    return np.random.default_rng(5)


def _image(shape, dtype):
    rng = _rng()
    if np.dtype(dtype).kind == "f":
        return rng.random(shape, dtype=np.float32)
    return rng.integers(0, np.iinfo(dtype).max, shape, dtype=dtype)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("pattern,grid", [("BGGR", 0), ("RGGB", 1), ("gbrg", 2), ("GRBG", 3)])
def test_demosaic_is_the_bilinear_export(dtype, pattern, grid):
    raw = _image((24, 31), dtype)
    got = celcc.demosaic(raw, pattern)
    want = getattr(celcc, "celiCFAToRGB_%s_C1C3R" % ("8u" if dtype == np.uint8 else "16u"))(raw, grid=grid)
    assert got.shape == (24, 31, 3) and got.dtype == dtype
    assert got.tobytes() == want.tobytes()
    # a region of the frame, into a given destination
    out = np.zeros((8, 10, 3), dtype)
    assert celcc.demosaic(raw, pattern, roi=(4, 6, 10, 8), out=out) is out
    assert out.tobytes() == got[6:14, 4:14].tobytes()


@pytest.mark.parametrize("algorithm", ["vng", "ahd"])
@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_demosaic_other_algorithms(algorithm, dtype):
    raw = _image((26, 34), dtype)
    got = celcc.demosaic(raw, "GRBG", algorithm=algorithm)
    assert got.shape == (26, 34, 3) and got.dtype == dtype and got.flags.c_contiguous
    part = celcc.demosaic(raw, "GRBG", algorithm=algorithm, roi=(8, 6, 12, 10))
    assert part.shape == (10, 12, 3)
    if algorithm == "vng":
        bgra = getattr(celcc, "celiCFAToBGRA_VNG_%s_C1C4R_L" % ("8u" if dtype == np.uint8 else "16u"))(raw, grid=3)
        assert got.tobytes() == np.ascontiguousarray(bgra[..., 2::-1]).tobytes()
    # Away from the frame's rim a region gives the whole frame's pixels.
    assert part[2:-2, 2:-2].tobytes() == got[8:14, 10:18].tobytes()


# (shape, dtype, dither name, mode, noise): each sample type and layout, each dither by name
@pytest.mark.parametrize("shape,dtype,dither,mode,noise", [
    ((9, 17), np.uint8, "none", 0, 0), ((9, 17, 3), np.uint8, "ordered", 4, 0), ((9, 17, 4), np.uint8, "none", 0, 0),
    ((21, 33, 3), np.uint8, "fs", 1, 25), ((21, 33, 3), np.uint16, "FloydSteinberg", 1, 0),
    ((21, 33, 3), np.uint16, "jjn", 2, 25), ((21, 33, 3), np.float32, "stucki", 3, 25),
    ((21, 33, 3), np.float32, "ordered", 4, 0)])
def test_reduce_bits_is_the_export(shape, dtype, dither, mode, noise):
    img = _image(shape, dtype)
    got = celcc.reduce_bits(img, 5, dither=dither, noise=noise)
    form = {np.uint8: "8u", np.uint16: "16u", np.float32: "32f8u"}[dtype]
    layout = "C%d" % (shape[2] if len(shape) == 3 else 1)
    want = getattr(celcc, "celiReduceBits_%s_%sR" % (form, layout))(img, noise=noise, ditherMode=mode, levels=5)
    assert got.tobytes() == want.tobytes()
    assert len(np.unique(got)) <= 5
    # the noise is reproducible: equal arguments, equal pictures
    assert celcc.reduce_bits(img, 5, dither=dither, noise=noise).tobytes() == got.tobytes()


def test_reduce_bits_types_and_alpha():
    img = _rng().random((7, 9, 4), dtype=np.float32)
    got = celcc.reduce_bits(img, 4, dither="ordered", noise=20)
    assert got.dtype == np.uint8 and got.tobytes() == celcc.celiReduceBits_32f8u_C4R(img, noise=20, ditherMode=4,
                                                                                    levels=4).tobytes()
    out = np.full((7, 9, 4), 77, np.uint8)
    celcc.reduce_bits(img, 4, keep_alpha=True, out=out)
    assert (out[..., 3] == 77).all()
    wide = celcc.reduce_bits(np.ascontiguousarray(img[..., :3]), 10, dtype=np.uint16)
    assert wide.dtype == np.uint16 and wide.shape == (7, 9, 3)


@pytest.mark.parametrize("call,exc,match", [
    (lambda: celcc.demosaic(np.zeros((8, 8), np.float32), "RGGB"), TypeError, ""),
    (lambda: celcc.demosaic(np.zeros((8, 8), np.uint8), "RGGB", algorithm="nearest"), ValueError, "bilinear"),
    (lambda: celcc.reduce_bits(np.zeros((4, 4), np.uint8), 4, dtype=np.float32), TypeError, "no form"),
], ids=["demosaic float", "demosaic algorithm", "reduce_bits form"])
def test_refusals(call, exc, match):
    with pytest.raises(exc, match=match):
        call()


@pytest.mark.parametrize("w", [1, 7, 8, 13, 16, 33, 100])
def test_bitmap_is_numpys_packbits_of_the_threshold(w):
    gray = _image((5, w), np.uint8)
    for t in (0, 99, 255):
        assert celcc.bitmap(gray, t).tobytes() == np.packbits(gray > t, axis=1).tobytes()
    dithered = celcc.bitmap(gray, 128, dither="stucki")
    assert dithered.shape == (5, (w + 7) // 8)
    want = celcc.celiReduceBits_8u1u_C1R(gray, dstBitOffset=0, reserved0=0, reserved1=0, threshold=128,
                                         ditherMode="Stucki")
    assert dithered.tobytes() == np.ascontiguousarray(want[:, :(w + 7) // 8]).tobytes()


def test_tone_map_is_the_export_and_warns_on_a_negative_image():
    img = _rng().random((9, 17, 3), dtype=np.float32) * 8
    got = celcc.tone_map(img, "mean")
    assert got.shape == img.shape
    assert got.tobytes() == celcc.celiToneMapMean_32f8u_C1R(img.reshape(9, 51)).tobytes()
    assert celcc.tone_map(img[..., 0].copy()).max() >= 254
    with pytest.warns(celcc.StatusWarning):
        assert not celcc.tone_map(-img).any()


def test_v210_rows_of_a_file_sliced_to_whole_groups():
    # A v210 file row of 50 pixels holds 2 blocks of 48 pixels (64 words);
    # the binding takes the whole groups that cover the width (36 words).
    rng = _rng()
    w, h = 50, 3
    y = rng.integers(0, 1024, (h, 54), dtype=np.uint32)
    c = rng.integers(0, 1024, (h, 27), dtype=np.uint32)
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
