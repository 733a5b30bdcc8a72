"""Statuses become the documented exceptions and warnings; arrays that
cannot be right are refused before the call, with nothing written."""
import warnings

import numpy as np
import pytest
from numpy.lib.stride_tricks import as_strided

import celcc as X
from conftest import image


# ---- Statuses ----------------------------------------------------------------------

GRAY = image((8, 16), seed=1)


@pytest.mark.parametrize("call,export,status", [
    (lambda d: X.celiReduceBits_8u_C1R(GRAY, d, noise=101, ditherMode="off", levels=4), "ReduceBits", "BadNoise"),
    (lambda d: X.celiReduceBits_8u_C1R(GRAY, d, noise=0, ditherMode=9, levels=4), "ReduceBits", "BadDither"),
    (lambda d: X.celiReduceBits_8u_C1R(GRAY, d, noise=0, ditherMode="off", levels=1), "ReduceBits", "BadLevels"),
    (lambda d: X.celiBGRToYCbCr420_8u_C3P3R(image((1, 8, 3))), "BGRToYCbCr420", "BadSize"),  # below 2 x 2
    (lambda d: X.celiCFAToRGB_8u_C1C3R(np.zeros((8, 8), np.uint8), grid=7), "CFAToRGB", "BadArgument"),
], ids=["noise", "dither", "levels", "size", "grid"])
def test_negative_status_raises_error_naming_status_and_export(call, export, status):
    dst = np.full_like(GRAY, 3)
    with pytest.raises(X.Error) as e:
        call(dst)
    err = e.value
    assert err.name == "celStatus" + status and err.status == X.STATUS[err.name] < 0
    assert err.export.startswith("celi" + export)
    assert err.name in str(err) and err.export in str(err) and str(err.status) in str(err)
    assert (dst == 3).all()


def test_positive_status_warns_returns_the_result_and_can_be_an_error():
    img = image((5, 7, 3))
    with pytest.warns(X.StatusWarning) as rec:
        planes = X.celiRGBToYCbCr420_8u_C3P3R(img)
    w = rec[0].message
    assert (w.status, w.name, w.export) == (35, "celStatusOddSize", "celiRGBToYCbCr420_8u_C3P3R")
    assert [p.shape for p in planes] == [(5, 7), (3, 4), (3, 4)]
    with warnings.catch_warnings():
        warnings.simplefilter("error", X.StatusWarning)
        with pytest.raises(X.StatusWarning):
            X.celiRGBToYCbCr420_8u_C3P3R(img)
        warnings.simplefilter("error")
        X.celiRGBToYCbCr420_8u_C3P3R(image((6, 8, 3)))  # success warns nothing


# ---- Refusals before the call ---------------------------------------------------------
#
# Each call takes its destinations from one buffer of 0x5A bytes, which
# must come out untouched.

SRC = image((6, 10, 3), seed=1)
Y, C = np.zeros((6, 10), np.uint8), np.zeros((3, 5), np.uint8)


def _dst(buf):
    return buf[:180].reshape(6, 10, 3)


REFUSALS = [
    ("wrong dtype", TypeError, "dtype", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC.astype(np.uint16), _dst(b))),
    ("wrong channel count", ValueError, "", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC[:, :, :2], _dst(b))),
    ("destination of another size", ValueError, "", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC[:, :-1], _dst(b))),
    ("samples not adjacent", ValueError, "", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC[:, :, ::-1], _dst(b))),
    ("pixels not contiguous", ValueError, "",
     lambda b: X.celiRGBToYCbCr_8u_C3R(np.repeat(SRC, 2, axis=1)[:, ::2], _dst(b))),
    ("read-only destination", ValueError, "", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC, as_strided(_dst(b), writeable=False))),
    ("destination of wrong dtype", TypeError, "", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC, _dst(b).view(np.int8))),
    ("not an array", TypeError, "", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC.tolist(), _dst(b))),
    ("too few planes", ValueError, "takes 3 arrays", lambda b: X.celiYCbCr420ToRGB_8u_P3C3R([Y, C], _dst(b))),
    ("plane of wrong shape", ValueError, "shape",
     lambda b: X.celiYCbCr420ToRGB_8u_P3C3R([Y, C, np.zeros((3, 4), np.uint8)], _dst(b))),
    ("planes not a sequence", TypeError, "sequence", lambda b: X.celiYCbCr420ToRGB_8u_P3C3R(Y, _dst(b))),
    # celiRGBToYCbCr_8u_C3P3R takes one step for its three planes
    ("planes of two steps", ValueError, "share one row step", lambda b: X.celiRGBToYCbCr_8u_C3P3R(
        SRC, [b[:60].reshape(6, 10), b[100:220].reshape(6, 20)[:, :10], b[300:360].reshape(6, 10)])),
    ("unexpected keyword", TypeError, "unexpected keyword", lambda b: X.celiRGBToYCbCr_8u_C3R(SRC, _dst(b), gamma=2)),
    ("missing keyword", TypeError, "levels", lambda b: X.celiReduceBits_8u_C3R(SRC, _dst(b), noise=0, ditherMode=0)),
    ("numbers of a wrong count", ValueError, "3 numbers",
     lambda b: X.celiColorToGray_32f_C3C1R(SRC.astype(np.float32), coeffs=[1.0, 2.0])),
    ("unknown enum name", ValueError, "RGGB", lambda b: X.celiCFAToRGB_8u_C1C3R(Y, grid="RGBG")),
    # widths a packed 4:2:2 form cannot take
    ("half a pixel pair", ValueError, "whole pixel pairs", lambda b: X.celiYCbCr422ToRGB_8u_C2C3R(Y[:2, :10].reshape(2, 5, 2))),
    ("writes past each row", ValueError, "past each row", lambda b: X.celiRGBToCbYCr422Gamma_8u_C3C2R(SRC[:2, :6])),
    # the short forms
    ("demosaic of floats", TypeError, "", lambda b: X.demosaic(Y.astype(np.float32), "RGGB")),
    ("demosaic algorithm", ValueError, "bilinear", lambda b: X.demosaic(Y, "RGGB", algorithm="nearest")),
    ("reduce_bits form", TypeError, "no form", lambda b: X.reduce_bits(Y, 4, dtype=np.float32)),
]


@pytest.mark.parametrize("what,exc,match,call", REFUSALS, ids=[r[0] for r in REFUSALS])
def test_refused_with_nothing_written(what, exc, match, call):
    buf = np.full(512, 0x5A, np.uint8)
    with pytest.raises(exc, match=match):
        call(buf)
    assert (buf == 0x5A).all()
