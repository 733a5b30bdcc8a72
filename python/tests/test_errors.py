"""Statuses become the documented exceptions and warnings; arrays that
cannot be right are refused before the call, with nothing written."""
import inspect
import warnings

import numpy as np
import pytest

import celcc
from conftest import ENTRIES, image_params, name_parts, plane_shapes, read_params


def _rgb(h=8, w=16, c=3, dtype=np.uint8):
    return np.random.default_rng(1).integers(0, 256, (h, w, c)).astype(dtype)


# ---- Statuses ----------------------------------------------------------------------

def test_negative_status_raises_error_naming_status_and_export():
    img = _rgb()
    dst = np.full_like(img, 7)
    with pytest.raises(celcc.Error) as e:
        celcc.celiReduceBits_8u_C3R(img, dst, noise=0, ditherMode="off", levels=1)
    err = e.value
    assert err.status == celcc.STATUS["celStatusBadLevels"] == -54
    assert err.name == "celStatusBadLevels"
    assert err.export == "celiReduceBits_8u_C3R"
    assert "celStatusBadLevels" in str(err) and "celiReduceBits_8u_C3R" in str(err) and "-54" in str(err)
    assert (dst == 7).all()


@pytest.mark.parametrize("kw,status", [
    (dict(noise=101, ditherMode="off", levels=4), "celStatusBadNoise"),
    (dict(noise=0, ditherMode=9, levels=4), "celStatusBadDither"),
    (dict(noise=0, ditherMode="ordered", levels=300), "celStatusBadLevels"),
])
def test_family_checks_raise(kw, status):
    img = _rgb(c=1)[:, :, 0]
    dst = np.full_like(img, 3)
    with pytest.raises(celcc.Error) as e:
        celcc.celiReduceBits_8u_C1R(img, dst, **kw)
    assert e.value.name == status
    assert (dst == 3).all()


def test_bad_size_raises():
    # A 1-row image is below the 4:2:0 encoder's minimum of 2 x 2.
    img = _rgb(h=1, w=8)
    with pytest.raises(celcc.Error) as e:
        celcc.celiBGRToYCbCr420_8u_C3P3R(img)
    assert e.value.name == "celStatusBadSize"


def test_bad_grid_raises():
    raw = np.zeros((8, 8), np.uint8)
    with pytest.raises(celcc.Error) as e:
        celcc.celiCFAToRGB_8u_C1C3R(raw, grid=7)
    assert e.value.name == "celStatusBadArgument"


def test_enum_names_are_checked():
    raw = np.zeros((8, 8), np.uint8)
    with pytest.raises(ValueError, match="RGGB"):
        celcc.celiCFAToRGB_8u_C1C3R(raw, grid="RGBG")


def test_positive_status_warns_and_returns_result():
    img = _rgb(h=5, w=7)
    with pytest.warns(celcc.StatusWarning) as rec:
        planes = celcc.celiRGBToYCbCr420_8u_C3P3R(img)
    w = rec[0].message
    assert w.status == 35 and w.name == "celStatusOddSize" and w.export == "celiRGBToYCbCr420_8u_C3P3R"
    assert [p.shape for p in planes] == [(5, 7), (3, 4), (3, 4)]


def test_warning_can_be_made_an_error():
    img = _rgb(h=5, w=7)
    with warnings.catch_warnings():
        warnings.simplefilter("error", celcc.StatusWarning)
        with pytest.raises(celcc.StatusWarning):
            celcc.celiRGBToYCbCr420_8u_C3P3R(img)


def test_no_warning_on_success():
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        celcc.celiRGBToYCbCr420_8u_C3P3R(_rgb(h=6, w=8))


# ---- Refusals before the call ---------------------------------------------------------

REFUSALS = [
    ("wrong dtype", TypeError, lambda s, d: (s.astype(np.uint16), d)),
    ("wrong channel count", ValueError, lambda s, d: (s[:, :, :2], d)),
    ("destination of another size", ValueError, lambda s, d: (s[:, :-1], d)),
    ("samples not adjacent", ValueError, lambda s, d: (s[:, :, ::-1], d)),
    ("pixels not contiguous", ValueError, lambda s, d: (np.repeat(s, 2, axis=1)[:, ::2], d)),
    ("read-only destination", ValueError, lambda s, d: (s, _read_only(d))),
    ("destination of wrong dtype", TypeError, lambda s, d: (s, d.view(np.int8))),
    ("not an array", TypeError, lambda s, d: (s.tolist(), d)),
]


def _read_only(a):
    a.flags.writeable = False
    return a


@pytest.mark.parametrize("what,exc,make", REFUSALS, ids=[r[0] for r in REFUSALS])
def test_refused_with_nothing_written(what, exc, make):
    src = _rgb(h=6, w=10)
    dst = np.full((6, 10, 3), 0x5A, np.uint8)
    s, d = make(src, dst)
    with pytest.raises(exc):
        celcc.celiRGBToYCbCr_8u_C3R(s, d)
    assert (dst == 0x5A).all()


def test_planes_refused():
    y = np.zeros((6, 8), np.uint8)
    c = np.zeros((3, 4), np.uint8)
    out = np.full((6, 8, 3), 9, np.uint8)
    with pytest.raises(ValueError, match="takes 3 arrays"):
        celcc.celiYCbCr420ToRGB_8u_P3C3R([y, c], out)
    with pytest.raises(ValueError, match="shape"):
        celcc.celiYCbCr420ToRGB_8u_P3C3R([y, c, np.zeros((3, 3), np.uint8)], out)
    with pytest.raises(TypeError, match="sequence"):
        celcc.celiYCbCr420ToRGB_8u_P3C3R(y, out)
    assert (out == 9).all()


def test_planes_sharing_one_step_must_share_it():
    # celiRGBToYCbCr_8u_C3P3R takes one step for its three planes.
    src = _rgb(h=4, w=8)
    a = np.zeros((4, 8), np.uint8)
    b = np.zeros((4, 16), np.uint8)[:, :8]
    with pytest.raises(ValueError, match="share one row step"):
        celcc.celiRGBToYCbCr_8u_C3P3R(src, [a, b, a.copy()])
    assert not a.any() and not b.any()


def test_unknown_keyword_and_missing_keyword():
    img = _rgb()
    with pytest.raises(TypeError, match="unexpected keyword"):
        celcc.celiRGBToYCbCr_8u_C3R(img, gamma=2)
    with pytest.raises(TypeError, match="levels"):
        celcc.celiReduceBits_8u_C3R(img, noise=0, ditherMode=0)


def test_numbers_length_checked():
    img = _rgb().astype(np.float32)
    with pytest.raises(ValueError, match="3 numbers"):
        celcc.celiColorToGray_32f_C3C1R(img, coeffs=[1.0, 2.0])


@pytest.mark.parametrize("ret,name,params,doc", [e for e in ENTRIES if image_params(read_params(e[2]))][::7],
                         ids=lambda v: v if isinstance(v, str) and v.startswith("celi") else "")
def test_every_shape_refuses_wrong_dtype(ret, name, params, doc):
    """Across the list: a source of the wrong sample type is refused and the
    given destination is left as it was."""
    fn = getattr(celcc, name)
    sides = fn.signature.sides
    src, dst = sides[0], [s for s in sides if s.role in ("dst", "inout")][-1]
    wrong = np.dtype(np.uint16) if src.dtype != np.uint16 else np.dtype(np.uint8)
    h, w = 8, 12
    _, _, tokens = name_parts(name)
    srcs = [np.zeros(s, wrong) for s in plane_shapes(tokens[0], name_parts(name)[0], h, w)]
    dsts = [np.full(s, 1, dst.dtype) for s in plane_shapes(tokens[-1], name_parts(name)[1], h, w)]
    kw = {k: (4 if k == "levels" else 0) for k, d, _ in fn.signature.keywords() if d is inspect.Parameter.empty}
    if src is dst:  # in place: the one image is the wrong one
        with pytest.raises(TypeError, match="dtype"):
            fn(srcs[0] if len(srcs) == 1 else srcs, **kw)
        return
    with pytest.raises(TypeError, match="dtype"):
        fn(srcs[0] if len(srcs) == 1 else srcs, dsts[0] if len(dsts) == 1 else dsts, **kw)
    for d in dsts:
        assert (d == 1).all()
