"""Python results equal C results byte for byte.

Every export that takes images, run on random arrays at an odd and an
even size, once with destinations allocated by the binding and once with
sources and destinations that are regions inside larger arrays with
reversed rows (after a source of the wrong sample type is refused with
nothing written).  The reference is the same export called through ctypes
with pointers and steps built here; both runs start from identical
buffers, and the whole buffers, margins included, must come out identical.
"""
import ctypes
import warnings
import zlib

import numpy as np
import pytest

import celcc
from celcc import _binding
from conftest import (_SAMPLE, ENTRIES, SCRATCH_NAMES, embedded, image_params, name_parts, plane_shapes, pointer,
                      random_array, read_params)

IMAGE_ENTRIES = [e for e in ENTRIES if image_params(read_params(e[2]))]
SIZES = [(13, 37), (16, 40)]

# Values for the scalar keywords, by parameter name; a name not here gets 0
# (Python and C are then still compared on the same arguments).
# The 64-bit forms' size arguments, taken from the image like roiSize.
SIZE_NAMES = ("roiWidth", "roiHeight")

SCALARS = {
    "alphaValue": lambda rng, dt: random_array(rng, (), dt).item() if dt is not None else 200,
    "grid": lambda rng, dt: int(rng.integers(0, 4)),
    "noise": lambda rng, dt: int(rng.integers(0, 3)) * 20,
    "ditherMode": lambda rng, dt: int(rng.integers(1, 5)),  # error diffusion and ordered
    "levels": lambda rng, dt: 5,
    "vMin": lambda rng, dt: 0.0,
    "vMax": lambda rng, dt: 1.0,
}
NUMBERS = {"coeffs": [0.25, 0.5, 0.25], "scale": [0.75, 1.0, 1.25],  # scale: VNG gains B, G, R
           "twist": [[0.9, 0.2, -0.1, 3.0], [0.1, 0.8, 0.1, -2.0], [-0.2, 0.3, 1.1, 0.5], [0.0, 0.1, 0.0, 0.9]]}


def _numbers(p):
    """The values of an array of numbers, as many as the parameter has."""
    v = NUMBERS[p.name]
    if p.name == "twist":
        return [x for row in v[:p.length // 4] for x in row]
    return v


def _sides(name, params):
    """[(role, token, model, [image params])] in C order, read by the tests."""
    imgs = image_params(read_params(params))
    src_model, dst_model, tokens = name_parts(name)
    inout = [p for p in imgs if p.name.startswith("srcDst")]
    sides = [("src", tokens[0], src_model, [p for p in imgs if p.const_data]), ("inout", tokens[0], src_model, inout),
             ("dst", tokens[-1], dst_model, [p for p in imgs if not p.const_data and p not in inout])]
    return [s for s in sides if s[3]]


def _written(sides):
    return sides["dst"] if "dst" in sides else sides["inout"]


def _sample_dtype(p):
    return np.dtype(_SAMPLE[p.base])


def _make_inputs(rng, name, params, h, w, view):
    """Per side (src, inout, dst): its parameters, sample type and planes,
    each (Python's array, its whole buffer, the reference's array, its whole
    buffer; Python's None where the binding allocates); the region (for
    frame-based exports) and the keywords."""
    ps = read_params(params)
    names = {p.name for p in ps}
    frame = "srcSize" in names and any(p.base.startswith("CelRect") for p in ps)
    rect = (1, 2, w - 3, h - 4) if (frame and view) else (0, 0, w, h)
    sides = {}
    for role, token, model, plist in _sides(name, params):
        dt = _sample_dtype(plist[0])
        planes = []
        for shape in plane_shapes(token, model, *((rect[3], rect[2]) if role == "dst" and frame else (h, w))):
            seed = int(rng.integers(1 << 30))  # Python's and the reference's buffers start equal

            def make():
                r = np.random.default_rng(seed)
                return embedded(r, shape, dt) if view else (random_array(r, shape, dt),) * 2
            if role == "src":
                planes.append(make() * 2)
            elif role == "dst" and not view:
                planes.append((None, None) + (np.zeros(shape, dt),) * 2)
            else:
                planes.append(make() + make())
        sides[role] = (plist, dt, planes)
    kw = {}
    dst_dt = _written(sides)[1]
    for p in ps:
        # Rows of scratch: generous, as the doc lines size them by the width.
        if p.name in SCRATCH_NAMES and p.name + "Step" in names and p.stars == 1:
            kw[p.name] = np.zeros((64, 4 * (w + 64)), _sample_dtype(p))
    for p in ps:
        if p.stars == 0 and not p.base.startswith(("CelSize", "CelRect")) and not p.name.endswith("Step") \
                and p.name not in SIZE_NAMES:
            kw[p.name] = SCALARS.get(p.name, lambda rng, dt: 0)(rng, dst_dt)
        if p.stars == 1 and p.const_data and p.name + "Step" not in names and p.name in NUMBERS:
            kw[p.name] = _numbers(p)
    if frame:
        kw["srcRoi"] = rect
    if "v210" in name:
        kw["width"] = w  # the words hold whole groups; the width says how much of them
    return sides, rect, kw


def _reference(ref_lib, name, params, sides, h, w, rect, kw):
    """The export called through ctypes with hand-built arguments."""
    fn = getattr(celcc, name)
    cfunc = getattr(ref_lib, name)
    cfunc.argtypes = fn.c_function.argtypes
    cfunc.restype = ctypes.c_int
    ps = read_params(params)
    by_name = {p.name: p for p in ps}
    keep, args = [], []

    def held(obj):  # alive until the call
        keep.append(obj)
        return obj

    def planes_of(p):
        for plist, dt, planes in sides.values():
            for j, q in enumerate(plist):
                if q.name == p.name:
                    return [pl[2] for pl in planes] if q.stars == 2 else [planes[j][2]]
        return None

    for p, ctype in zip(ps, cfunc.argtypes):
        owner = by_name.get(p.name[:-4]) if p.name.endswith("Step") else None
        if p.name in SCRATCH_NAMES and owner is None and p.name + "Step" in by_name:
            args.append(pointer(held(np.zeros_like(kw[p.name]))))
        elif owner is not None and owner.name in SCRATCH_NAMES and owner.name in kw:
            args.append(kw[owner.name].strides[0])
        elif owner is not None and planes_of(owner) is not None:
            planes = planes_of(owner)
            if p.length:
                step_t = ctypes.c_int64 if p.base == "int64_t" else ctypes.c_int
                args.append(ctypes.addressof(held((step_t * len(planes))(*[a.strides[0] for a in planes]))))
            elif "v210" in name:  # steps in elements
                args.append(planes[0].strides[0] // planes[0].itemsize)
            else:
                args.append(planes[0].strides[0])
        elif planes_of(p) is not None:
            planes = planes_of(p)
            if p.stars == 2:
                args.append(ctypes.addressof(held((ctypes.c_void_p * len(planes))(*[pointer(a) for a in planes]))))
            else:
                args.append(pointer(planes[0]))
        elif p.base.startswith("CelSize"):
            args.append(ctype(w, h))
        elif p.name in SIZE_NAMES:
            args.append(w if p.name == "roiWidth" else h)
        elif p.base.startswith("CelRect"):
            args.append(ctype(*rect))
        elif p.name in kw and p.stars == 0:
            args.append(kw[p.name])
        elif p.name in kw:
            args.append(pointer(held(np.asarray(kw[p.name], dtype=_sample_dtype(p)))))
        elif p.stars == 1 and not p.const_data:
            args.append(pointer(held(np.zeros(1 << 20, np.uint8))))  # more than any scratch the tests need
        else:
            args.append(None)
    return cfunc(*args)


def _python_call(name, sides, kw, given):
    def arrays(side):
        return side[2][0][0] if len(side[2]) == 1 else [pl[0] for pl in side[2]]
    args = [arrays(sides["src"] if "src" in sides else sides["inout"])] + ([arrays(sides["dst"])] if given and "dst" in sides else [])
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        try:
            result = getattr(celcc, name)(*args, **kw)
        except celcc.Error as e:
            return None, e.status
    statuses = [w.message.status for w in caught if isinstance(w.message, celcc.StatusWarning)]
    return result, statuses[0] if statuses else 0


def _usable(name, size):
    """The size, one pixel wider where the binding refuses its width."""
    h, w = size
    return (h, w + 1) if _binding.width_refused(name, w) else (h, w)


@pytest.mark.parametrize("view", [False, True], ids=["allocated", "regions"])
@pytest.mark.parametrize("size", SIZES, ids=["odd", "even"])
@pytest.mark.parametrize("ret,name,params,doc", IMAGE_ENTRIES, ids=[e[1] for e in IMAGE_ENTRIES])
def test_python_equals_c(ret, name, params, doc, size, view, ref_lib):
    """Destinations allocated by the binding, or given as regions with
    offsets and reversed rows (their margins as C leaves them)."""
    h, w = _usable(name, size)
    rng = np.random.default_rng(zlib.crc32(name.encode()) + (7 * h if view else h))
    sides, rect, kw = _make_inputs(rng, name, params, h, w, view=view)
    written = _written(sides)[2]
    before = [pl[1].copy() for pl in written] if view else []
    if view:  # a source of another sample type is refused, the given destinations left as they were
        src = "src" if "src" in sides else "inout"
        wrong = np.dtype(np.uint16 if sides[src][1] != np.uint16 else np.uint8)
        bad = dict(sides, **{src: sides[src][:2] + ([(pl[0].astype(wrong),) + pl[1:] for pl in sides[src][2]],)})
        with pytest.raises(TypeError, match="dtype"):
            _python_call(name, bad, kw, given=True)
        assert all(pl[1].tobytes() == b.tobytes() for pl, b in zip(written, before))
    expected_status = _reference(ref_lib, name, params, sides, h, w, rect, kw)
    result, status = _python_call(name, sides, kw, given=view)
    # Exports that refuse negative steps refuse them from Python too.
    assert status == expected_status
    outs = [] if expected_status < 0 else [result] if isinstance(result, np.ndarray) else list(result)
    if view:
        for (_, whole, _, ref_whole), orig in zip(written, before):
            assert whole.tobytes() == ref_whole.tobytes(), "%s: region or its margin differs from C" % name
            assert expected_status >= 0 or whole.tobytes() == orig.tobytes()
        assert all(got is pl[0] for got, pl in zip(outs, written))
    elif expected_status >= 0:
        refs = [pl[2] for pl in written]
        assert len(outs) == len(refs)
        for got, want in zip(outs, refs):
            assert got.shape == want.shape and got.dtype == want.dtype
            assert got.tobytes() == want.tobytes(), "%s: allocated destination differs from C" % name

