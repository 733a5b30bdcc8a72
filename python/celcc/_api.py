"""Short forms for the main jobs, over the generated per-export functions.

The exports are picked by name from the bound list, so a new type or
layout form of a family is used as soon as it is in the export list.
"""
import ctypes
import warnings

import numpy as np

from . import _binding, _library

__all__ = ["convert", "demosaic", "reduce_bits", "bitmap", "tone_map", "formats", "route"]

_TYPE_TOKENS = {np.dtype(np.uint8): "8u", np.dtype(np.uint16): "16u", np.dtype(np.int16): "16s",
                np.dtype(np.int32): "32s", np.dtype(np.float32): "32f", np.dtype(np.float64): "64f"}


def _functions():
    import celcc
    return {n: getattr(celcc, n) for n in _binding.exports()}


def _token(dtype):
    dt = np.dtype(dtype)
    if dt not in _TYPE_TOKENS:
        raise TypeError("no sample type token for dtype %s" % dt)
    return _TYPE_TOKENS[dt]


# The demosaicers by algorithm: export name pattern (sample token filled
# in), channel order of its destination.
_DEMOSAICERS = {
    "bilinear": ("celiCFAToRGB_%s_C1C3R", "RGB"),
    "vng": ("celiCFAToBGRA_VNG_%s_C1C4R_L", "BGRA"),
    "ahd": ("celiDemosaicAHD_%s_C1C3R", "RGB"),
}


def demosaic(raw, pattern, *, algorithm="bilinear", roi=None, out=None):
    """Bayer mosaic (H, W) of uint8 or uint16 -> interleaved R, G, B (h, w, 3).

    pattern: the frame's top-left 2x2 block, "RGGB", "BGGR", "GRBG" or
    "GBRG" (or its CelBayerGrid number).  algorithm: "bilinear" (edge-directed
    green inside the frame), "vng" (threshold-based variable number of
    gradients) or "ahd" (adaptive homogeneity-directed), where the library
    has that export.  roi: (x, y, width, height) of the region to convert,
    in frame coordinates; the whole frame when omitted.  out: a destination
    of shape (height, width, 3) to write into (bilinear only; the others
    give a new array).  VNG's B, G, R, A result is returned as R, G, B; AHD's
    scratch rows and the columns its border strips may write past the
    region are allocated here.
    """
    if not isinstance(raw, np.ndarray):
        raise TypeError("demosaic: raw must be a numpy.ndarray")
    if algorithm not in _DEMOSAICERS:
        raise ValueError("demosaic: algorithm must be one of %s" % ", ".join(_DEMOSAICERS))
    pattern_name, order = _DEMOSAICERS[algorithm]
    name = pattern_name % _token(raw.dtype)
    funcs = _functions()
    if name not in funcs:
        raise TypeError("demosaic: no %s demosaicer for %s samples in this library (%s)" % (
            algorithm, raw.dtype, name))
    fn = funcs[name]
    if algorithm == "bilinear":
        return fn(raw, out, grid=pattern, srcRoi=roi)
    if out is not None:
        raise TypeError("demosaic: out is taken by the bilinear demosaicer only")
    h, w = raw.shape[:2]
    x, y, rw, rh = (0, 0, w, h) if roi is None else (int(v) for v in roi)
    if algorithm == "vng":
        bgra = fn(raw, grid=pattern, srcRoi=(x, y, rw, rh))
        return np.ascontiguousarray(bgra[..., 2::-1])
    # AHD: 30 scratch rows of (max(width, 5) + 6) samples and 16 bytes, and
    # a destination wide and high enough for the strips' overshoot, cut to
    # the region afterwards.
    item = raw.dtype.itemsize
    buffer = np.zeros((30, max(rw, 5) + 6 + -(-16 // item)), raw.dtype)
    margin = 8
    wide = np.zeros((rh + margin, rw + margin, 3), raw.dtype)
    fn(raw, wide[:rh, :rw], grid=pattern, srcRoi=(x, y, rw, rh), buffer=buffer)
    return np.ascontiguousarray(wide[:rh, :rw])


_CHANNEL_LAYOUTS = {1: "C1", 3: "C3", 4: "C4"}
# The command-line tool's names of the error-diffusion modes.
_DITHER_ALIASES = {"fs": "FloydSteinberg", "floyd-steinberg": "FloydSteinberg", "jjn": "JarvisJudiceNinke",
                   "jarvis": "JarvisJudiceNinke"}


def reduce_bits(img, levels, dither="none", *, noise=0, dtype=None, keep_alpha=False, out=None):
    """Maps every sample onto `levels` equally spaced values of its range.

    img: (H, W) or (H, W, 3 or 4) array of uint8, uint16, int16 or float32
    (floats in 0..1).  dither: "none" (or "off"), "ordered", or error
    diffusion "fs" (Floyd-Steinberg), "jjn" (Jarvis-Judice-Ninke) or
    "stucki"; the other CelDitherMode names are passed on as they are.
    noise: 0..100, the amplitude of the noise added to the dither.  dtype: the destination
    sample type (uint8, uint16 or int16), the source's when omitted, uint8
    for float sources.  keep_alpha: with four channels, quantise only the
    first three and leave the destination's fourth untouched (the AC4 forms).
    out: a destination array to write into.  The scratch memory the
    library needs is allocated for the call.
    """
    if not isinstance(img, np.ndarray):
        raise TypeError("reduce_bits: img must be a numpy.ndarray")
    channels = 1 if img.ndim == 2 else img.shape[2] if img.ndim == 3 else 0
    if channels not in _CHANNEL_LAYOUTS:
        raise ValueError("reduce_bits: img must be (H, W) or (H, W, 1, 3 or 4), not %s" % (img.shape,))
    layout = "AC4" if channels == 4 and keep_alpha else _CHANNEL_LAYOUTS[channels]
    src_t = _token(img.dtype)
    if dtype is None:
        dtype = out.dtype if out is not None else (np.uint8 if img.dtype.kind == "f" else img.dtype)
    dst_t = _token(dtype)
    types = src_t if src_t == dst_t else src_t + dst_t
    name = "celiReduceBits_%s_%sR" % (types, layout)
    funcs = _functions()
    if name not in funcs:
        forms = sorted(n for n in funcs if n.startswith("celiReduceBits_"))
        raise TypeError("reduce_bits: no form %s; the library has %s" % (name, ", ".join(forms)))
    if dither is None or (isinstance(dither, str) and dither.lower() == "none"):
        dither = "off"
    elif isinstance(dither, str):
        dither = _DITHER_ALIASES.get(dither.lower(), dither)
    return funcs[name](img, out, noise=noise, ditherMode=dither, levels=levels)


def bitmap(gray, threshold=127, dither="none"):
    """8-bit gray (H, W) -> one bit a pixel, (H, ceil(W / 8)) uint8.

    A bit is set where the sample is above `threshold` (dither "none"), or
    by integer Stucki error diffusion ("stucki"); the first pixel of a byte
    is its highest bit, as numpy.packbits lays bits out.  The bits past the
    width are 0.  celiReduceBits_8u1u_C1R, its scratch allocated here.
    """
    if not isinstance(gray, np.ndarray) or gray.ndim != 2 or gray.dtype != np.uint8:
        raise TypeError("bitmap: gray must be a (H, W) numpy.ndarray of uint8")
    if dither not in ("none", "off", "stucki"):
        raise ValueError("bitmap: dither must be \"none\" or \"stucki\", not %r" % (dither,))
    h, w = gray.shape
    # the export's destination is laid out as (H, W) bytes; each row's bitmap
    # is its first ceil(W / 8) bytes, and the bytes after them stay 0
    rows = np.zeros((h, w), np.uint8)
    _functions()["celiReduceBits_8u1u_C1R"](gray, rows, dstBitOffset=0, reserved0=0, reserved1=0,
                                            threshold=int(threshold),
                                            ditherMode="off" if dither != "stucki" else "Stucki")
    return np.ascontiguousarray(rows[:, :(w + 7) // 8])


def tone_map(img, method="linear"):
    """float32 (H, W) or (H, W, 3) -> uint8 of the same shape.

    method "linear": every sample times 255 / (largest sample), low byte of
    the truncated product; "mean": times 255 / (twice the mean), saturated.
    The channels of a colour image share one scale.  A scale base below
    zero raises nothing: celcc.StatusWarning is issued and the result is all
    zero (the export writes nothing).
    """
    if not isinstance(img, np.ndarray) or img.dtype != np.float32 or img.ndim not in (2, 3):
        raise TypeError("tone_map: img must be a (H, W) or (H, W, C) numpy.ndarray of float32")
    if method not in ("linear", "mean"):
        raise ValueError("tone_map: method must be \"linear\" or \"mean\", not %r" % (method,))
    flat = np.ascontiguousarray(img).reshape(img.shape[0], -1)  # channels as one wider row
    name = "celiToneMapLinear_32f8u_C1R" if method == "linear" else "celiToneMapMean_32f8u_C1R"
    return _functions()[name](flat).reshape(img.shape)


# ---- convert(): routes of the front ends' table of conversions -------------------
#
# The formats, the exports that join them and the route finder live in
# libcelccfmt (formats/); these are its C structures, as celcc_formats.h
# declares them.

class _Plane(ctypes.Structure):
    _fields_ = [("unitBytes", ctypes.c_int32), ("unitWidth", ctypes.c_int32), ("unitHeight", ctypes.c_int32)]


class _Format(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("aliases", ctypes.c_char_p), ("doc", ctypes.c_char_p),
                ("sample", ctypes.c_int32), ("sampleBytes", ctypes.c_int32), ("model", ctypes.c_int32),
                ("channels", ctypes.c_int32), ("alignWidth", ctypes.c_int32), ("alignHeight", ctypes.c_int32),
                ("planeCount", ctypes.c_int32), ("plane", _Plane * 3)]


class _Image(ctypes.Structure):
    _fields_ = [("format", ctypes.c_int32), ("width", ctypes.c_int32), ("height", ctypes.c_int32),
                ("plane", ctypes.c_void_p * 3), ("step", ctypes.c_int32 * 3)]


class _Call(ctypes.Structure):
    _fields_ = [("exportName", ctypes.c_char_p), ("status", ctypes.c_int32)]


class _Report(ctypes.Structure):
    _fields_ = [("count", ctypes.c_int32), ("call", _Call * 2)]


_fmt_lib = None


def _table():
    global _fmt_lib
    if _fmt_lib is None:
        lib = _library.load_formats()
        if lib is None:
            raise RuntimeError("celcc.convert: libcelccfmt (the table of conversions) was not found; "
                               "set CELCCFMT_LIBRARY to its path")
        lib.celccfmt_format_count.restype = ctypes.c_int
        lib.celccfmt_format.restype = ctypes.POINTER(_Format)
        lib.celccfmt_format.argtypes = [ctypes.c_int]
        lib.celccfmt_format_find.restype = ctypes.c_int
        lib.celccfmt_format_find.argtypes = [ctypes.c_char_p]
        lib.celccfmt_plane_size.restype = ctypes.c_int
        lib.celccfmt_plane_size.argtypes = [ctypes.c_int] * 4 + [ctypes.POINTER(ctypes.c_int32)] * 2 + [
            ctypes.POINTER(ctypes.c_int64)]
        lib.celccfmt_route.restype = ctypes.c_int
        lib.celccfmt_route.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_int32 * 2]
        lib.celccfmt_route_text.restype = ctypes.c_int
        lib.celccfmt_route_text.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_size_t]
        lib.celccfmt_convert.restype = ctypes.c_int
        lib.celccfmt_convert.argtypes = [ctypes.POINTER(_Image), ctypes.POINTER(_Image), ctypes.POINTER(_Report)]
        lib.celccfmt_convert_prefer.restype = ctypes.c_int
        lib.celccfmt_convert_prefer.argtypes = [ctypes.POINTER(_Image), ctypes.POINTER(_Image), ctypes.c_char_p,
                                                ctypes.POINTER(_Report)]
        lib.celccfmt_route_prefer.restype = ctypes.c_int
        lib.celccfmt_route_prefer.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_int32 * 2]
        lib.celccfmt_route_text_prefer.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p,
                                                   ctypes.c_size_t]
        lib.celccfmt_status_name.restype = ctypes.c_char_p
        lib.celccfmt_status_name.argtypes = [ctypes.c_int]
        _fmt_lib = lib
    return _fmt_lib


_SAMPLE_DTYPES = {1: np.dtype(np.uint8), 2: np.dtype(np.uint16), 3: np.dtype(np.float32), 4: np.dtype(np.int16),
                  5: np.dtype(np.int32)}


def formats():
    """{name: (aliases, doc)} of the pixel formats convert() knows, from the
    table of conversions."""
    lib = _table()
    out = {}
    for i in range(lib.celccfmt_format_count()):
        f = lib.celccfmt_format(i).contents
        out[f.name.decode()] = (f.aliases.decode(), f.doc.decode())
    return out


def _format_id(lib, name):
    fid = lib.celccfmt_format_find(str(name).encode())
    if fid < 0:
        raise ValueError("convert: unknown pixel format %r; the table knows %s" % (name, ", ".join(formats())))
    return fid


def _plane_shapes(lib, fid, fmt, w, h):
    """The array shape of every plane of a w x h image: plane 0 by pixels
    ((H, W) or (H, W, samples a pixel)), the others by units of the plane
    ((rows, units) or (rows, units, samples a unit))."""
    shapes = []
    for p in range(fmt.planeCount):
        pw, ph, rb = ctypes.c_int32(), ctypes.c_int32(), ctypes.c_int64()
        st = lib.celccfmt_plane_size(fid, w, h, p, ctypes.byref(pw), ctypes.byref(ph), ctypes.byref(rb))
        if st != 0:
            raise ValueError("convert: %s has no %d x %d image (%s)" % (
                fmt.name.decode(), w, h, lib.celccfmt_status_name(st).decode()))
        across = w if p == 0 else pw.value
        samples = rb.value // fmt.sampleBytes
        if across <= 0 or samples % across:
            raise ValueError("convert: width %d does not fit the layout of %s" % (w, fmt.name.decode()))
        per = samples // across
        shapes.append((ph.value, across) if per == 1 else (ph.value, across, per))
    return shapes


def _planes(v, fmt, what):
    if fmt.planeCount == 1:
        if not isinstance(v, np.ndarray):
            raise TypeError("convert: %s of %s must be a numpy.ndarray" % (what, fmt.name.decode()))
        return [v]
    if isinstance(v, np.ndarray):
        raise TypeError("convert: %s of %s takes a sequence of %d planes" % (what, fmt.name.decode(),
                                                                            fmt.planeCount))
    planes = list(v)
    if len(planes) != fmt.planeCount:
        raise ValueError("convert: %s of %s takes %d planes, got %d" % (what, fmt.name.decode(), fmt.planeCount,
                                                                       len(planes)))
    return planes


def _image(fid, fmt, w, h, planes):
    img = _Image()
    img.format, img.width, img.height = fid, w, h
    for i, a in enumerate(planes):
        img.plane[i] = a.ctypes.data
        img.step[i] = int(a.strides[0])
    return img


# The table's preference for interlaced pictures: 4:2:0 <-> 4:2:2 field by field.
_INTERLACE = b"_Interlace_"


def convert(img, src_format, dst_format, out=None, interlaced=False):
    """Converts an image between two pixel formats of the front ends' table
    of conversions (formats/), by the route the table finds: one export, or
    two through an intermediate image.

    src_format, dst_format: format names or aliases, any case ("RGB24" or
    "RGB", "I420", "NV12", "YUY2", "GRAY8", "XYZ48", ...; celcc.formats()
    lists them).  img: one array for a one-plane format, (H, W) or
    (H, W, samples a pixel) (packed 4:2:2 is (H, W, 2)); a sequence of
    planes otherwise, chroma planes by their units ((H/2, W/2) for I420,
    (H/2, W/2, 2) for NV12).  Rows may be any slice (negative steps too);
    samples must be contiguous within a row.  out: destination planes to
    write into; allocated when omitted.  interlaced: the picture holds two
    fields (even and odd rows): 4:2:0 <-> 4:2:2 then goes field by field
    through the interlace-aware exports (heights of a multiple of 4), and no
    step mixes the fields where a route can avoid it.  Returns the
    destination (an array, or a tuple of planes).

    A negative status raises celcc.Error naming the status and the export
    (or the table's own status, such as celFmtNoRoute); a positive one is a
    celcc.StatusWarning.  celcc.route(src, dst) tells the route taken.
    """
    lib = _table()
    sid, did = _format_id(lib, src_format), _format_id(lib, dst_format)
    sf, df = lib.celccfmt_format(sid).contents, lib.celccfmt_format(did).contents
    src = _planes(img, sf, "the source")
    a0 = src[0]
    if not isinstance(a0, np.ndarray) or a0.ndim < 2:
        raise TypeError("convert: the source's first plane must be a 2-D or 3-D numpy.ndarray")
    h, w = int(a0.shape[0]), int(a0.shape[1])
    for f in (sf, df):
        if w % f.alignWidth or h % f.alignHeight:
            raise ValueError("convert: %s needs a width that is a multiple of %d and a height of %d, not %d x %d"
                             % (f.name.decode(), f.alignWidth, f.alignHeight, w, h))
    sshapes = _plane_shapes(lib, sid, sf, w, h)
    dshapes = _plane_shapes(lib, did, df, w, h)
    sdt, ddt = _SAMPLE_DTYPES[sf.sample], _SAMPLE_DTYPES[df.sample]
    for i, (a, shape) in enumerate(zip(src, sshapes)):
        _binding._check_array(a, shape, sdt, "convert", "source plane %d" % i, False)
    if out is None:
        dst = [np.zeros(shape, ddt) for shape in dshapes]
    else:
        dst = _planes(out, df, "the destination")
    for i, (a, shape) in enumerate(zip(dst, dshapes)):
        _binding._check_array(a, shape, ddt, "convert", "destination plane %d" % i, True)
    si, di = _image(sid, sf, w, h, src), _image(did, df, w, h, dst)
    report = _Report()
    st = lib.celccfmt_convert_prefer(ctypes.byref(si), ctypes.byref(di), _INTERLACE if interlaced else None,
                                     ctypes.byref(report))
    calls = [(report.call[i].exportName.decode(), report.call[i].status) for i in range(report.count)]
    if st < 0:
        failed = [n for n, s in calls if s == st]
        raise _binding.Error(st, failed[0] if failed else "celccfmt_convert (%s -> %s)" % (
            sf.name.decode(), df.name.decode()), lib.celccfmt_status_name(st).decode())
    for n, s in calls:
        if s > 0:
            warnings.warn(_binding.StatusWarning(s, n), stacklevel=2)
    return dst[0] if len(dst) == 1 else tuple(dst)


def route(src_format, dst_format, interlaced=False):
    """The route convert() takes, as the table writes it, e.g.
    "RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R)"; interlaced as in convert()."""
    lib = _table()
    sid, did = _format_id(lib, src_format), _format_id(lib, dst_format)
    edges = (ctypes.c_int32 * 2)()
    prefer = _INTERLACE if interlaced else None
    n = lib.celccfmt_route_prefer(sid, did, prefer, edges)
    if n < 0:
        raise _binding.Error(n, "celccfmt_route (%s -> %s)" % (src_format, dst_format),
                             lib.celccfmt_status_name(n).decode())
    buf = ctypes.create_string_buffer(1024)
    lib.celccfmt_route_text_prefer(sid, did, prefer, buf, 1024)
    return buf.value.decode()
