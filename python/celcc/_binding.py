"""Every export of libcelccy8 as a Python function over NumPy arrays.

Nothing here names an export.  Each entry of the generated ``_exports``
(made at build time from the library's export list) is read for:

* the parameter names and array lengths (from the parameter text),
* the types as the compiler sees them (kind, size, constness),
* the layout and sampling of each side (from the exported name: the type
  token, the layout token such as ``C3P3R``, and the colour models on each
  side of ``To`` with their ``422``/``420``/``411`` numbers),

and from those the roles of the parameters are derived:

==================  =====================================================
image               pointer with a ``<name>Step`` parameter: an ndarray
                    (one plane or one interleaved image) or, for planar
                    and two-plane layouts, a sequence of ndarrays
step                ``<name>Step``: taken from the array's row stride
                    (in bytes; in elements of the array's type for the
                    v210 decoders, the one family that counts them so)
roi size            ``roiSize``: taken from the first source's shape
roi width, height   ``roiWidth``, ``roiHeight`` (the 64-bit forms' separate
                    size arguments): likewise
frame size          ``srcSize`` beside a ``srcRoi`` rectangle: the source
                    is the whole frame; the rectangle is a keyword
scratch             ``scratch``: sized by the family's ``GetBufferSize``
                    export and allocated for the call (or given)
output value        other non-constant pointer to a number: returned
array of numbers    constant pointer to numbers (``coeffs[3]``): keyword,
                    ``None`` passes a null pointer
number, enum        keyword argument; enums also take their names
==================  =====================================================

v210 sources are 2-D ``uint32`` arrays of whole 6-pixel groups, ``(H, 4 *
ceil(W / 6))`` words; the width is the keyword ``width`` (default: 6
pixels a group) and the destination an ``(H, W)`` array of 16-bit samples.

An export whose parameters do not fit these roles is still bound: it then
takes its arguments in C order (ndarrays become pointers, sequences of
ndarrays pointer arrays, tuples structures) and says so in its help.
"""
import ctypes
import inspect
import re
import warnings

import numpy as np

from ._exports import ENUMS, EXPORTS, STRUCTS
from ._library import load

__all__ = ["Error", "StatusWarning", "STATUS", "bind_all", "exports", "signature"]

# ---- Statuses -----------------------------------------------------------------

STATUS = {name: value for name, value, _ in ENUMS.get("CelStatus", [])}
_STATUS_NAME = {value: name for name, value, _ in ENUMS.get("CelStatus", [])}
_STATUS_TEXT = {value: text for _, value, text in ENUMS.get("CelStatus", [])}


def _describe(status, export):
    name = _STATUS_NAME.get(status, "unknown status")
    text = _STATUS_TEXT.get(status, "")
    return "%s: %s (%d)%s" % (export, name, status, ": " + text if text else "")


class Error(Exception):
    """A negative status: nothing was written.  ``status`` is the number,
    ``name`` its name in celcc.h, ``export`` the function that returned it."""

    def __init__(self, status, export, name=None):
        self.status = status
        self.name = name or _STATUS_NAME.get(status, "unknown status")
        self.export = export
        if name and status not in _STATUS_NAME:
            super().__init__("%s: %s (%d)" % (export, name, status))
        else:
            super().__init__(_describe(status, export))


class StatusWarning(UserWarning):
    """A positive status: the call did its work and reports something off
    (``celStatusOddSize``: the part of the size that fits the subsampling
    was converted).  Issued through ``warnings.warn``; the result is
    returned as usual.  ``warnings.simplefilter("error", celcc.StatusWarning)``
    turns it into an exception."""

    def __init__(self, status, export):
        self.status = status
        self.name = _STATUS_NAME.get(status, "unknown status")
        self.export = export
        super().__init__(_describe(status, export))


# ---- C types --------------------------------------------------------------------

_INTS = {(True, 1): ctypes.c_int8, (True, 2): ctypes.c_int16, (True, 4): ctypes.c_int32, (True, 8): ctypes.c_int64,
         (False, 1): ctypes.c_uint8, (False, 2): ctypes.c_uint16, (False, 4): ctypes.c_uint32,
         (False, 8): ctypes.c_uint64}
_FLOATS = {4: ctypes.c_float, 8: ctypes.c_double}
_NP = {("int", 1): np.int8, ("int", 2): np.int16, ("int", 4): np.int32, ("int", 8): np.int64,
       ("uint", 1): np.uint8, ("uint", 2): np.uint16, ("uint", 4): np.uint32, ("uint", 8): np.uint64,
       ("float", 4): np.float32, ("float", 8): np.float64}
_FIELD_TYPES = {"int32_t": ctypes.c_int32, "int64_t": ctypes.c_int64, "uint32_t": ctypes.c_uint32,
                "uint64_t": ctypes.c_uint64, "int": ctypes.c_int, "float": ctypes.c_float,
                "double": ctypes.c_double, "char": ctypes.c_char, "const char*": ctypes.c_char_p}
_struct_cache = {}


def _struct_class(type_name, abi):
    """A ctypes.Structure for a struct of celcc.h, from its fields there; a
    struct the header does not spell out becomes words of its alignment."""
    key = (type_name, abi["size"], abi.get("align"))
    if key in _struct_cache:
        return _struct_cache[key]
    fields = []
    for ftype, fname, n in STRUCTS.get(type_name, []):
        ct = _FIELD_TYPES.get(ftype, ctypes.c_void_p if ftype.endswith("*") else None)
        if ct is None:
            fields = []
            break
        fields.append((fname, ct * n if n else ct))
    cls = type(type_name or "Struct", (ctypes.Structure,), {"_fields_": fields})
    if not fields or ctypes.sizeof(cls) != abi["size"]:
        word = _INTS[(True, abi.get("align", 4))]
        count = abi["size"] // ctypes.sizeof(word)
        cls = type(type_name or "Struct", (ctypes.Structure,), {"_fields_": [("f%d" % i, word) for i in range(count)]})
    _struct_cache[key] = cls
    return cls


def _ctype(abi, type_name):
    kind = abi["kind"]
    if kind in ("int", "uint"):
        return _INTS[(kind == "int", abi["size"])]
    if kind == "enum":
        return _INTS[(abi.get("signed", True), abi["size"])]
    if kind == "float":
        return _FLOATS[abi["size"]]
    if kind == "pointer":
        return ctypes.c_void_p
    if kind == "struct":
        return _struct_class(type_name, abi)
    if kind == "void":
        return None
    raise TypeError("no ctypes type for %r" % (abi,))


def _np_dtype(abi):
    """The NumPy dtype of a number type, or None."""
    k = abi["kind"]
    if k in ("int", "uint", "float"):
        t = _NP.get((k, abi["size"]))
        return np.dtype(t) if t else None
    return None


# ---- Parameters -------------------------------------------------------------------

_PARAM = re.compile(r"^(?P<type>.*?)\s*\b(?P<name>\w+)\s*(?P<dims>(?:\[\s*\d*\s*\]\s*)*)$")


class Param:
    """One C parameter: name, declared type text, array length, ABI."""

    def __init__(self, text, abi):
        m = _PARAM.match(text.strip())
        if not m:
            raise ValueError("cannot read parameter %r" % text)
        self.text = " ".join(text.split())
        self.name = m.group("name")
        self.type_text = " ".join(m.group("type").split())
        # array length: the product of the dimensions (a matrix twist[3][4]: 12)
        dims = [int(d) for d in re.findall(r"\[\s*(\d*)\s*\]", m.group("dims")) if d]
        self.length = None
        for d in dims:
            self.length = d * (self.length or 1)
        self.abi = abi
        words = [w for w in re.split(r"[\s*]+", self.type_text) if w and w != "const"]
        self.type_name = words[0] if words else ""
        self.ctype = _ctype(abi, self.type_name)

    @property
    def is_pointer(self):
        return self.abi["kind"] == "pointer"

    def pointee(self, depth=1):
        a = self.abi
        for _ in range(depth):
            if a["kind"] != "pointer":
                return None
            a = a["to"]
        return a


def _split_params(text):
    inner = text.strip()
    if inner.startswith("(") and inner.endswith(")"):
        inner = inner[1:-1]
    inner = inner.strip()
    if inner in ("", "void"):
        return []
    return [p for p in inner.split(",")]


# ---- Layouts from the name ------------------------------------------------------

_LAYOUT_TOKEN = re.compile(r"AC4|AP4|C1|C2|C3|C4|P2|P3|P4")
_SAMPLING = re.compile(r"1620|422|420|411")
_CHANNELS = {"C1": 1, "C2": 2, "C3": 3, "C4": 4, "AC4": 4}
_PLANES = {"P2": 2, "P3": 3, "P4": 4, "AP4": 4}


# Decoders from packed 4:2:2 that read the whole pair of an odd width's last
# pixel (its chroma lies in the pair's other half), and the gamma encoder,
# which reads and writes the pixel one past each row when width % 4 == 2:
# (H, W, C) arrays cannot hold what those widths touch, so they are refused.
_WHOLE_PAIRS = re.compile(r"^celi(YCbCr|YCrCb|CbYCr)422To(RGB|BGR)(_709HDTV)?_8u_C2")
_PAST_ROW = "celiRGBToCbYCr422Gamma_8u_C3C2R"


def width_refused(name, w):
    """The reason the binding refuses width w for export `name`, or None."""
    if w % 2 and _WHOLE_PAIRS.match(name):
        return "a packed 4:2:2 row holds whole pixel pairs and this export reads the last pixel's pair: " \
               "give an even width"
    if w % 4 == 2 and name == _PAST_ROW:
        return "with width % 4 == 2 this export reads and writes the pixel past each row's end: " \
               "give another width"
    return None


def _ceil_div(a, b):
    return -(-a // b)


def _v210_words(w):
    """Words of a v210 row of w pixels in whole groups (6 pixels in 4 words)."""
    return 4 * _ceil_div(w, 6)


def _chroma_dims(sampling, h, w):
    """Rows and columns of a chroma plane of an h x w (luma) image, rounded
    up: a plane that holds every chroma sample an odd size can touch."""
    if sampling == "420":
        return _ceil_div(h, 2), _ceil_div(w, 2)
    if sampling == "422":
        return h, _ceil_div(w, 2)
    if sampling == "411":
        return h, _ceil_div(w, 4)
    if sampling == "1620":
        return _ceil_div(h, 4), _ceil_div(w, 4)
    return h, w


def parse_name(name):
    """(source model text, destination model text, type token, [layout
    tokens], in place, long sizes) of an exported name; layout tokens empty
    when the name has none."""
    parts = name.split("_")
    op = re.sub(r"^(celi|cels|celcc)", "", parts[0])
    long_form = parts[-1] == "L"
    if long_form:
        parts = parts[:-1]
    layout = parts[-1] if len(parts) > 1 else ""
    types = parts[-2] if len(parts) > 2 else ""
    tokens = _LAYOUT_TOKEN.findall(layout)
    in_place = bool(re.search(r"I(P\d)?R?$", layout)) and bool(tokens)
    sides = re.split(r"To(?=[A-Z0-9])", op, maxsplit=1)
    src_model = sides[0]
    dst_model = sides[1] if len(sides) > 1 else sides[0]
    return src_model, dst_model, types, tokens, in_place, long_form


class _Unbindable(Exception):
    pass


class Side:
    """One Python argument standing for one image: an interleaved array, or
    a sequence of plane arrays (planar and two-plane layouts)."""

    def __init__(self, role, token, sampling, pointers, steps):
        self.role = role            # "src", "dst" or "inout"
        self.token = token
        self.sampling = sampling
        self.pointers = pointers    # [Param], C order
        self.steps = steps          # [Param or None], one per pointer
        # A side of separate pointers (srcY, srcCbCr) is named by their
        # common stem (src).
        self.name = pointers[0].name
        if len(pointers) > 1:
            stem = self.name
            while stem and not all(q.name.startswith(stem) for q in pointers):
                stem = stem[:-1]
            self.name = stem or self.name
        depth = 2 if pointers[0].pointee()["kind"] == "pointer" else 1
        self.planar_array = depth == 2
        self.dtype = _np_dtype(pointers[0].pointee(depth))
        if self.dtype is None:
            raise _Unbindable("image of no number type")
        if token in _CHANNELS or token == "V210":
            if len(pointers) != 1 or self.planar_array:
                raise _Unbindable("interleaved layout with planes")
            self.nplanes = 1
        elif token in _PLANES:
            self.nplanes = _PLANES[token]
            if self.planar_array:
                if len(pointers) != 1 or (pointers[0].length or self.nplanes) != self.nplanes:
                    raise _Unbindable("plane array of another length")
            elif len(pointers) != self.nplanes:
                raise _Unbindable("planes and pointers do not match")
        else:
            raise _Unbindable("no layout token")
        self.contiguous = all(s is None for s in steps)
        if not self.contiguous and any(s is None for s in steps):
            raise _Unbindable("images with and without steps on one side")

    def shapes(self, h, w):
        """The shapes this side's arrays must have for an h x w region."""
        t = self.token
        if t == "V210":
            return [(h, _v210_words(w))]
        if t in _CHANNELS:
            c = _CHANNELS[t]
            return [(h, w) if c == 1 else (h, w, c)]
        ch, cw = _chroma_dims(self.sampling, h, w)
        if t == "P2":
            return [(h, w), (ch, cw, 2)]
        shapes = [(h, w), (ch, cw), (ch, cw)]
        if self.nplanes == 4:
            shapes.append((h, w))
        return shapes

    def describe(self):
        if self.token == "V210":
            return "%s array (H, 4 * ceil(W / 6)) of v210 words, whole groups of 6 pixels" % self.dtype.name
        if self.token in _CHANNELS:
            c = _CHANNELS[self.token]
            return "%s array (H, W%s)" % (self.dtype.name, "" if c == 1 else ", %d" % c)
        if self.token == "P2":
            return "pair (Y plane (H, W), chroma pairs %s) of %s" % (
                {"420": "(ceil(H/2), ceil(W/2), 2)", "411": "(H, ceil(W/4), 2)"}.get(self.sampling,
                                                                                     "(H, ceil(W/2), 2)"),
                self.dtype.name)
        chroma = {"420": "(ceil(H/2), ceil(W/2))", "422": "(H, ceil(W/2))", "411": "(H, ceil(W/4))",
                  "1620": "(ceil(H/4), ceil(W/4))"}.get(self.sampling, "(H, W)")
        return "sequence of %d %s planes: (H, W), %s, %s%s" % (
            self.nplanes, self.dtype.name, chroma, chroma, ", (H, W)" if self.nplanes == 4 else "")


# ---- The signature of one export --------------------------------------------------------

_SCRATCH_NAMES = {"scratch", "pBuffer", "buffer", "pScratch"}


class Signature:
    """What the binding derived for one export."""

    def __init__(self, entry):
        self.name = entry["name"]
        self.ret_text = entry["ret"]
        self.params_text = entry["params"]
        self.doc = entry["doc"]
        self.ret_abi = entry["ret_type"]
        texts = _split_params(entry["params"])
        self.params = [Param(t, a) for t, a in zip(texts, entry["param_types"])]
        if len(texts) != len(entry["param_types"]):
            raise ValueError("%s: parameter text and types disagree" % self.name)
        self.restype = _ctype(self.ret_abi, re.sub(r"[\s*]|const", "", self.ret_text)) \
            if self.ret_abi["kind"] != "pointer" else ctypes.c_void_p
        self.returns_status = self.ret_text.strip() == "CelStatus"
        # v210: steps in elements, the width a keyword (the words do not tell it).
        self.v210 = "v210" in self.name
        self.roles = {}
        self.sides = []
        self.raw = False
        self.why_raw = ""
        try:
            self._derive()
        except _Unbindable as e:
            self.raw = True
            self.why_raw = str(e)
            self.roles = {}
            self.sides = []

    # Roles from names and types.
    def _derive(self):
        by_name = {p.name: p for p in self.params}
        src_model, dst_model, _, tokens, in_place, _ = parse_name(self.name)
        images = []
        steps_used = set()
        for p in self.params:
            if not p.is_pointer:
                continue
            step = by_name.get(p.name + "Step")
            target = p.pointee()
            if step is not None and p.name in _SCRATCH_NAMES and not p.abi["const"]:
                continue  # rows of scratch, see below
            if step is not None and (target["kind"] != "pointer" or p.pointee(2)["kind"] != "pointer"):
                images.append((p, step))
                steps_used.add(step.name)
            elif step is None and p.name.startswith(("src", "dst")) and not p.name.endswith("Step") and tokens:
                # An image whose steps the export derives from the width
                # (the forms without a trailing R): contiguous arrays.
                base = p.pointee(2) if target["kind"] == "pointer" else target
                if base is None or _np_dtype(base) is None:
                    raise _Unbindable("image %s of no number type" % p.name)
                images.append((p, None))
        for p in self.params:
            role = None
            if any(p is q for q, _ in images):
                role = "image"
            elif p.name in steps_used:
                role = "step"
            elif p.is_pointer and p.name in _SCRATCH_NAMES and p.name + "Step" in by_name:
                if _np_dtype(p.pointee()) is None:
                    raise _Unbindable("scratch rows of no number type")
                role = "scratch rows"
            elif p.name.endswith("Step") and self.roles.get(p.name[:-4]) == "scratch rows":
                role = "scratch step"
            elif p.abi["kind"] == "struct":
                fields = len(STRUCTS.get(p.type_name, [])) or None
                if p.name == "roiSize":
                    role = "roi"
                elif p.name.endswith("Size") and fields in (2, None):
                    role = "frame"
                elif p.name.endswith(("Roi", "Rect")):
                    role = "rect"
                else:
                    role = "struct"
            elif p.is_pointer:
                t = p.pointee()
                if t["kind"] == "pointer" or t["kind"] == "void" or t["kind"] == "struct":
                    raise _Unbindable("pointer parameter %s of no known role" % p.name)
                if p.name.startswith(("src", "dst")) and not p.name.endswith("Step"):
                    raise _Unbindable("image %s without a layout token" % p.name)
                if not p.abi["const"] and p.name in _SCRATCH_NAMES:
                    role = "scratch"
                elif not p.abi["const"]:
                    role = "output"
                else:
                    role = "numbers"
            elif p.name in ("roiWidth", "roiHeight"):
                role = "roi " + p.name[3:].lower()
            else:
                role = "scalar"
            self.roles[p.name] = role
        if not images:
            return
        if not tokens:
            raise _Unbindable("images but no layout token in the name")
        src_tok, dst_tok = tokens[0], tokens[-1]
        src_samp = (_SAMPLING.findall(src_model) or [None])[0]
        dst_samp = (_SAMPLING.findall(dst_model) or [None])[0]
        if src_tok == "C2":
            src_samp = src_samp or "422"
        if dst_tok == "C2":
            dst_samp = dst_samp or "422"
        if self.v210:
            # words in, one 16-bit sample a pixel out (luma, or a 5-6-5 word)
            src_tok, dst_tok = "V210", "C1"
        groups = {"src": [], "dst": [], "inout": []}
        for p, step in images:
            if p.name.startswith("srcDst") or (in_place and not p.pointee()["kind"] == "pointer" and
                                                not p.abi["const"] and len(images) == 1):
                groups["inout"].append((p, step))
            elif p.abi["const"] or (p.pointee()["kind"] == "pointer" and p.pointee()["const"]):
                groups["src"].append((p, step))
            else:
                groups["dst"].append((p, step))
        for role, tok, samp in (("src", src_tok, src_samp), ("inout", src_tok, src_samp), ("dst", dst_tok, dst_samp)):
            g = groups[role]
            if not g:
                continue
            self.sides.append(Side(role, tok, samp, [p for p, _ in g], [s for _, s in g]))
        if not groups["src"] and not groups["inout"]:
            raise _Unbindable("no source image to take the size from")
        if "frame" in self.roles.values() and "rect" not in self.roles.values():
            raise _Unbindable("a frame size without a region")

    # Keyword arguments.
    def keywords(self):
        """[(name, default or inspect.Parameter.empty, help text)]."""
        out = []
        if self.v210 and self.sides:
            out.append(("width", None, "int, pixels of a row; None: 6 a group of 4 words of src"))
        dst_sides = [s for s in self.sides if s.role == "dst"]
        for p in self.params:
            role = self.roles.get(p.name)
            if role == "scalar":
                default = inspect.Parameter.empty
                if p.name == "alphaValue" and dst_sides:
                    default = None
                enum = ENUMS.get(p.type_name)
                hint = p.text
                if enum:
                    hint += " (one of %s, or its number)" % ", ".join(repr(_short(n, enum)) for n, _, _ in enum)
                if default is None:
                    hint += "; None: the opaque value of the destination type"
                out.append((p.name, default, hint))
            elif role in ("numbers",):
                out.append((p.name, None, p.text + "; a sequence of numbers, or None for a null pointer"))
            elif role == "rect":
                out.append((p.name, None, p.text + "; (x, y, width, height) in frame coordinates, None: the frame"))
            elif role in ("roi", "frame", "struct") and not self.sides:
                out.append((p.name, inspect.Parameter.empty, p.text + "; a tuple of its fields"))
            elif role == "scratch":
                out.append((p.name, None, p.text + "; None: allocated for the call"))
            elif role == "scratch rows":
                out.append((p.name, inspect.Parameter.empty,
                            p.text + "; a writeable 2-D %s array of scratch rows (its size: see the doc line); "
                            "the step comes from its strides" % _np_dtype(p.pointee()).name))
        return out


def _short(name, enum):
    """The short name of an enum constant: the name less the prefix that all
    constants of its enumeration share (celBayerRGGB -> RGGB)."""
    names = [n for n, _, _ in enum]
    prefix = names[0]
    for n in names[1:]:
        while not n.startswith(prefix):
            prefix = prefix[:-1]
    return name[len(prefix):] or name


def _enum_value(value, type_name, pname, export):
    enum = ENUMS.get(type_name)
    if isinstance(value, str) and enum:
        key = value.lower()
        for n, v, _ in enum:
            if key in (n.lower(), _short(n, enum).lower()):
                return v
        raise ValueError("%s: %s=%r is none of %s" % (export, pname, value,
                                                        ", ".join(_short(n, enum) for n, _, _ in enum)))
    return int(value)


# ---- Array checks -----------------------------------------------------------------

def _check_array(a, shape, dtype, export, what, writeable):
    if not isinstance(a, np.ndarray):
        raise TypeError("%s: %s must be a numpy.ndarray, not %s" % (export, what, type(a).__name__))
    if a.dtype != dtype:
        raise TypeError("%s: %s must have dtype %s, not %s" % (export, what, dtype.name, a.dtype))
    ashape = a.shape
    if len(shape) == 2 and a.ndim == 3 and ashape[2] == 1:
        ashape = ashape[:2]
    if tuple(ashape) != tuple(shape):
        raise ValueError("%s: %s must have shape %s, not %s" % (export, what, tuple(shape), a.shape))
    item = a.itemsize
    st = a.strides
    if len(shape) == 3 and shape[2] > 1 and st[2] != item:
        raise ValueError("%s: %s: the samples of a pixel must be adjacent (strides %s)" % (export, what, st))
    pixel = item * (shape[2] if len(shape) == 3 else 1)
    if shape[1] > 1 and st[1] != pixel:
        raise ValueError("%s: %s: the pixels of a row must be contiguous (strides %s)" % (export, what, st))
    if writeable and not a.flags.writeable:
        raise ValueError("%s: %s is read-only" % (export, what))


# ---- Building the function ------------------------------------------------------------

def _make_function(signature, cfunc, lib_funcs):
    """The Python function of one export.  The work per parameter is chosen
    here, once: a call runs one small function per C parameter."""
    if signature.raw:
        return _make_raw(signature, cfunc)
    name = signature.name
    params = signature.params
    roles = signature.roles
    sides = signature.sides
    nsides = len(sides)
    src_sides = [s for s in sides if s.role in ("src", "inout")]
    dst_sides = [s for s in sides if s.role == "dst"]
    first = src_sides[0] if src_sides else None
    first_index = sides.index(first) if first is not None else -1
    has_frame = "frame" in roles.values()
    rect_name = _rect_name(signature)
    kw_spec = signature.keywords()
    kw_names = frozenset(k for k, _, _ in kw_spec)
    required_kw = [k for k, d, _ in kw_spec if d is inspect.Parameter.empty]
    side_names = [s.name for s in sides]
    returned = [i for i, s in enumerate(sides) if s.role in ("dst", "inout")]
    outputs = [p.name for p in params if roles[p.name] == "output"]
    buffer_size = _buffer_size_function(signature, lib_funcs)
    ops = [_param_op(signature, p, sides, dst_sides, buffer_size) for p in params]
    checks = [(i, s, s.role != "src", s.nplanes == 1, has_frame and s.role != "src") for i, s in enumerate(sides)]
    v210 = signature.v210

    def call(*args, **kwargs):
        nargs = len(args)
        if nargs > nsides:
            raise TypeError("%s takes at most %d image arguments (%d given)" % (name, nsides, nargs))
        values = list(args) + [None] * (nsides - nargs)
        if kwargs:
            for i in range(nargs, nsides):
                values[i] = kwargs.pop(side_names[i], None)
            for k in kwargs:
                if k not in kw_names:
                    raise TypeError("%s got unexpected keyword %s; it takes %s" % (
                        name, k, ", ".join(sorted(kw_names)) or "none"))
        for k in required_kw:
            if k not in kwargs:
                raise TypeError("%s needs the keyword argument %s" % (name, k))
        # The region: from the first source's first plane.
        h = w = 0
        if first is not None:
            v0 = values[first_index]
            if v0 is None:
                raise TypeError("%s: the source image %s is required" % (name, first.name))
            a0 = v0 if first.nplanes == 1 else _seq(v0, first, name)[0]
            if not isinstance(a0, np.ndarray) or a0.ndim < 2:
                raise TypeError("%s: %s must be a 2-D or 3-D numpy.ndarray" % (name, first.name))
            h, w = a0.shape[0], a0.shape[1]
            if v210:
                words = w
                w = kwargs.get("width")
                w = words // 4 * 6 if w is None else int(w)
                if words % 4 or _v210_words(w) != words:
                    raise ValueError("%s: %d words a row do not hold whole groups of %d pixels (4 * ceil(W / 6))" % (
                        name, words, w))
        refused = width_refused(name, w)
        if refused:
            raise ValueError("%s: %s" % (name, refused))
        rect = None
        if has_frame:
            r = kwargs.get(rect_name)
            rect = (0, 0, w, h) if r is None else tuple(int(x) for x in r)
            if len(rect) != 4:
                raise ValueError("%s: the region must be (x, y, width, height)" % name)
            if rect[2] < 0 or rect[3] < 0:
                raise ValueError("%s: the region's width and height must not be negative" % name)
        # Arrays: checked, allocated where omitted.
        arrays = []
        for i, s, writes, single, by_rect in checks:
            shapes = s.shapes(rect[3], rect[2]) if by_rect else s.shapes(h, w)
            v = values[i]
            if v is None:
                if s.role != "dst":
                    raise TypeError("%s: the source image %s is required" % (name, s.name))
                planes = [_allocate(shape, s.dtype) for shape in shapes]
            else:
                planes = [v] if single else _seq(v, s, name)
                for j, a in enumerate(planes):
                    _check_array(a, shapes[j], s.dtype, name, s.name if single else "%s[%d]" % (s.name, j), writes)
                    if s.contiguous and not a.flags.c_contiguous:
                        raise ValueError("%s: %s must be contiguous: this form derives its steps from the width" % (
                            name, s.name))
            if s.contiguous and s.sampling == "420" and w % 2:
                raise ValueError("%s: this form derives the chroma step from width / 2: give an even width" % name)
            arrays.append(planes)
        # Arguments in C order; `keep` holds what must outlive the call.
        keep = {}
        ctx = (arrays, kwargs, w, h, rect, keep)
        cargs = [op(ctx) for op in ops]
        status = cfunc(*cargs)
        if status:
            if not signature.returns_status:
                pass
            elif status < 0:
                raise Error(status, name)
            else:
                warnings.warn(StatusWarning(status, name), stacklevel=2)
        results = [arrays[i][0] if sides[i].nplanes == 1 else tuple(arrays[i]) for i in returned]
        if outputs:
            results += [_scalar_out(keep[o]) for o in outputs]
        if not results:
            return None
        return results[0] if len(results) == 1 else tuple(results)

    return call


def _address(a, _from_buffer=ctypes.c_char.from_buffer, _addressof=ctypes.addressof):
    """Address of an array's first element (the cheaper road for the common
    contiguous, writeable array; ``ctypes.data`` for the rest)."""
    flags = a.flags
    if flags.c_contiguous and flags.writeable and a.size:
        return _addressof(_from_buffer(a))
    return a.ctypes.data


def _step_limits(ctype):
    bits = 8 * ctypes.sizeof(ctype)
    return -(1 << (bits - 1)), (1 << (bits - 1)) - 1


def _param_op(signature, p, sides, dst_sides, buffer_size):
    """The function that makes the C argument of parameter `p` from the
    call's context (arrays, keywords, w, h, region, kept objects)."""
    name = signature.name
    role = signature.roles[p.name]
    where = None
    for si, s in enumerate(sides):
        for i, q in enumerate(s.pointers):
            if q is p:
                where = (si, i, s)
        for i, q in enumerate(s.steps):
            if q is p:
                where = (si, i, s)
    if role == "image":
        si, i, s = where
        if s.planar_array:
            arr_t = ctypes.c_void_p * s.nplanes

            def op(c):
                return ctypes.cast(arr_t(*[_address(a) for a in c[0][si]]), ctypes.c_void_p)
            return op
        return lambda c: _address(c[0][si][i])
    if role == "step":
        si, i, s = where
        if p.is_pointer:
            ct = ctypes.c_int64 if p.pointee()["size"] == 8 else ctypes.c_int32
            lo, hi = _step_limits(ct)

            def op(c):
                steps = [a.strides[0] for a in c[0][si]]
                for st in steps:
                    if not lo <= st <= hi:
                        raise ValueError("%s: the row step %d of %s does not fit %s" % (name, st, s.name, p.text))
                return ctypes.cast((ct * len(steps))(*steps), ctypes.c_void_p)
            return op
        lo, hi = _step_limits(p.ctype)
        shared = s.planar_array
        elements = signature.v210

        def op(c):
            planes = c[0][si]
            st = planes[i].strides[0] if not shared else planes[0].strides[0]
            if elements:
                item = planes[i].itemsize
                if st % item:
                    raise ValueError("%s: the row step %d of %s is not a whole number of elements" % (name, st, s.name))
                st //= item
            if shared:
                for a in planes:
                    if a.strides[0] != st:
                        raise ValueError("%s: the planes of %s must share one row step (%s)" % (
                            name, s.name, sorted({b.strides[0] for b in planes})))
            if not lo <= st <= hi:
                raise ValueError("%s: the row step %d of %s does not fit %s" % (name, st, s.name, p.text))
            return st
        return op
    if role in ("roi", "frame") and sides:
        ct = p.ctype
        return lambda c: ct(c[2], c[3])
    if role in ("roi width", "roi height") and sides:
        at = 2 if role == "roi width" else 3
        return lambda c: c[at]
    if role == "rect":
        ct = p.ctype
        return lambda c: ct(*c[4])
    if role == "scalar":
        pname = p.name
        enum = p.abi["kind"] == "enum"
        opaque = _opaque(dst_sides[0].dtype) if (pname == "alphaValue" and dst_sides) else 0

        def op(c):
            v = c[1].get(pname)
            if v is None and pname == "alphaValue":
                v = opaque
            if enum:
                v = _enum_value(v, p.type_name, pname, name)
            return v
        return op
    if role == "numbers":
        dt = _np_dtype(p.pointee())

        def op(c):
            v = c[1].get(p.name)
            if v is None:
                return None
            arr = np.ascontiguousarray(np.asarray(v, dtype=dt).ravel())
            if p.length and arr.size != p.length:
                raise ValueError("%s: %s needs %d numbers, got %d" % (name, p.name, p.length, arr.size))
            c[5][p.name] = arr
            return arr.ctypes.data
        return op
    if role == "scratch":
        def op(c):
            v = c[1].get(p.name)
            if v is None:
                size = buffer_size(_known_values(signature, c)) if buffer_size else 0
                v = np.zeros(max(size, 1), np.uint8)
            elif not isinstance(v, np.ndarray) or not v.flags.writeable or not v.flags.c_contiguous:
                raise TypeError("%s: %s must be a writeable contiguous numpy.ndarray" % (name, p.name))
            c[5][p.name] = v
            return v.ctypes.data
        return op
    if role == "scratch rows":
        dt = _np_dtype(p.pointee())

        def op(c):
            v = c[1].get(p.name)
            if not isinstance(v, np.ndarray) or v.ndim != 2 or v.dtype != dt:
                raise TypeError("%s: %s must be a 2-D numpy.ndarray of %s" % (name, p.name, dt.name))
            if not v.flags.writeable or (v.shape[1] > 1 and v.strides[1] != v.itemsize):
                raise ValueError("%s: %s must be writeable with contiguous rows" % (name, p.name))
            return v.ctypes.data
        return op
    if role == "scratch step":
        owner = p.name[:-4]
        return lambda c: c[1][owner].strides[0]
    if role == "output":
        dt = _np_dtype(p.pointee()) or np.dtype(np.uint8)

        def op(c):
            out = np.zeros(p.length or 1, dt)
            c[5][p.name] = out
            return out.ctypes.data
        return op
    if p.abi["kind"] == "struct":
        return lambda c: p.ctype(*c[1][p.name])
    return lambda c: c[1].get(p.name)


def _known_values(signature, c):
    """The values a family's GetBufferSize export may want, by C name: the
    call's keywords, with the enums resolved, and the region's size."""
    out = {}
    for p in signature.params:
        if signature.roles.get(p.name) == "scalar" and p.name in c[1]:
            v = c[1][p.name]
            out[p.name] = _enum_value(v, p.type_name, p.name, signature.name) if p.abi["kind"] == "enum" else v
    out["_size"] = (c[2], c[3])
    return out


_SLACK_ROWS = 8


def _allocate(shape, dtype):
    """A zeroed, contiguous destination of `shape`, viewed on a buffer with
    a few spare rows behind it: a family whose documented writes reach a
    little past its region (the demosaicers' border strips) then writes into
    memory that belongs to the array's base, never outside the allocation."""
    row = int(np.prod(shape[1:])) if len(shape) > 1 else 1
    base = np.zeros((shape[0] + _SLACK_ROWS) * row, dtype)
    return base[:shape[0] * row].reshape(shape)


def _scalar_out(arr):
    return arr[0].item() if arr.size == 1 else arr


def _rect_name(signature):
    for p in signature.params:
        if signature.roles.get(p.name) == "rect":
            return p.name
    return None


def _seq(v, side, export):
    if isinstance(v, np.ndarray):
        raise TypeError("%s: %s takes a sequence of %d arrays (%s)" % (export, side.name, side.nplanes,
                                                                     side.describe()))
    planes = list(v)
    if len(planes) != side.nplanes:
        raise ValueError("%s: %s takes %d arrays, got %d" % (export, side.name, side.nplanes, len(planes)))
    return planes


def _opaque(dtype):
    if dtype.kind == "f":
        return 1.0
    return int(np.iinfo(dtype).max)


_CHANNEL_CODES = {"C1": 1, "C3": 3, "C4": 4, "AC4": 9}


def _buffer_size_function(signature, lib_funcs):
    """For an export with a scratch parameter: a function of the call's
    values that asks the family's GetBufferSize export for the size."""
    if "scratch" not in signature.roles.values():
        return None
    family = signature.name.split("_")[0]
    sizer = lib_funcs.get(family + "GetBufferSize")
    if sizer is None:
        return None
    sizer_spec, sizer_c = sizer
    _, _, _, tokens, _, _ = parse_name(signature.name)
    code = _CHANNEL_CODES.get(tokens[0] if tokens else "", 1)

    def size(known):
        args = []
        out = None
        for p in sizer_spec.params:
            if p.name in known and sizer_spec.roles.get(p.name) != "output":
                args.append(known[p.name])
            elif p.name == "channelCode":
                args.append(code)
            elif sizer_spec.roles.get(p.name) == "output":
                out = ctypes.c_int64() if p.pointee()["size"] == 8 else ctypes.c_int32()
                args.append(ctypes.addressof(out))
            elif p.abi["kind"] == "struct":
                args.append(p.ctype(*known["_size"]))
            else:
                args.append(0)
        st = sizer_c(*args)
        if st < 0:
            raise Error(st, sizer_spec.name)
        return int(out.value) if out is not None else 0

    return size


def _make_raw(signature, cfunc):
    """An export whose roles the binding cannot tell: arguments in C order."""
    def call(*args):
        if len(args) != len(signature.params):
            raise TypeError("%s takes %d arguments in C order (%d given)" % (signature.name, len(signature.params), len(args)))
        keep = []
        cargs = []
        for p, v in zip(signature.params, args):
            if isinstance(v, np.ndarray):
                cargs.append(v.ctypes.data)
            elif p.is_pointer and isinstance(v, (list, tuple)) and v and isinstance(v[0], np.ndarray):
                arr = (ctypes.c_void_p * len(v))(*[a.ctypes.data for a in v])
                keep.append(arr)
                cargs.append(ctypes.cast(arr, ctypes.c_void_p))
            elif p.abi["kind"] == "struct" and isinstance(v, (list, tuple)):
                cargs.append(p.ctype(*v))
            elif p.abi["kind"] == "enum":
                cargs.append(_enum_value(v, p.type_name, p.name, signature.name))
            else:
                cargs.append(v)
        status = cfunc(*cargs)
        if signature.returns_status:
            if status < 0:
                raise Error(status, signature.name)
            if status > 0:
                warnings.warn(StatusWarning(status, signature.name), stacklevel=2)
        return status
    return call


def _make_struct_return(signature, cfunc):
    """An export that returns a pointer to a structure of celcc.h: the
    structure's fields as a dict (text fields decoded)."""
    type_name = re.sub(r"const|\*|\s", "", signature.ret_text)
    cls = _struct_class(type_name, signature.ret_abi["to"])

    def call():
        ptr = cfunc()
        if not ptr:
            return None
        rec = ctypes.cast(ptr, ctypes.POINTER(cls)).contents
        out = {}
        for fname, _ in cls._fields_:
            v = getattr(rec, fname)
            if isinstance(v, bytes):
                v = v.split(b"\0", 1)[0].decode("utf-8", "replace")
            out[fname] = v
        return out
    return call


# ---- Docs ---------------------------------------------------------------------------

def _doc(signature):
    lines = ["%s %s%s" % (signature.ret_text, signature.name, signature.params_text), "", signature.doc, ""]
    if signature.raw:
        lines.append("Arguments in C order (the binding found no image roles: %s); returns the status." % signature.why_raw)
        return "\n".join(lines)
    if signature.ret_abi["kind"] == "pointer":
        lines.append("Returns the record's fields as a dict.")
        return "\n".join(lines)
    for s in signature.sides:
        if s.role == "src":
            lines.append("%s: source, %s." % (s.name, s.describe()))
        elif s.role == "inout":
            lines.append("%s: source and destination, %s, changed in place." % (s.name, s.describe()))
        else:
            text = s.describe()
            if "frame" in signature.roles.values():
                text = text.replace("(H, W", "(h, w")
            lines.append("%s: destination, %s; written in place when given, allocated when omitted." % (
                s.name, text))
    if "frame" in signature.roles.values():
        lines.append("The source is the whole frame (H, W); the destination covers the region (h, w).")
    elif signature.sides:
        lines.append("H, W: the rows and columns of the first source; its row steps come from the strides.")
    for k, _, hint in signature.keywords():
        lines.append("%s: %s" % (k, hint))
    outs = [p.name for p in signature.params if signature.roles.get(p.name) == "output"]
    res = [s.name for s in signature.sides if s.role in ("dst", "inout")] + outs
    if res:
        lines.append("Returns %s." % ", ".join(res))
    if signature.returns_status:
        lines.append("A negative status raises celcc.Error; a positive one issues celcc.StatusWarning.")
    return "\n".join(lines)


def _signature(signature):
    P = inspect.Parameter
    if signature.raw:
        return inspect.Signature([P(p.name, P.POSITIONAL_ONLY) for p in signature.params])
    ps = []
    for s in signature.sides:
        ps.append(P(s.name, P.POSITIONAL_OR_KEYWORD, default=None if s.role == "dst" else P.empty))
    for k, d, _ in signature.keywords():
        ps.append(P(k, P.KEYWORD_ONLY, default=d))
    return inspect.Signature(ps)


# ---- Everything -------------------------------------------------------------------------

_specs = None


def exports():
    """The names of all exports, in the order of the export list."""
    return [e["name"] for e in EXPORTS]


def signature(name):
    """The derived Signature of one export."""
    _all_specs()
    return _specs[name]


def _all_specs():
    global _specs
    if _specs is None:
        _specs = {e["name"]: Signature(e) for e in EXPORTS}
    return _specs


def bind_all():
    """{name: Python function} for every export of the list."""
    lib = load()
    signatures = _all_specs()
    cfuncs = {}
    for name, sp in signatures.items():
        f = getattr(lib, name)
        f.restype = sp.restype
        f.argtypes = [p.ctype for p in sp.params]
        cfuncs[name] = (sp, f)
    out = {}
    for name, (sp, f) in cfuncs.items():
        if sp.ret_abi["kind"] == "pointer" and sp.ret_abi["to"]["kind"] == "struct" and not sp.params:
            fn = _make_struct_return(sp, f)
        else:
            fn = _make_function(sp, f, cfuncs)
        fn.__name__ = fn.__qualname__ = name
        fn.__module__ = "celcc"
        fn.__doc__ = _doc(sp)
        fn.__signature__ = _signature(sp)
        fn.c_function = f
        fn.signature = sp
        out[name] = fn
    return out
