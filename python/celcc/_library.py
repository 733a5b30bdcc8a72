"""Finding and loading libcelccy8.

Tried in this order, first hit wins:
1. the environment variable CELCC_LIBRARY (a path to the shared library);
2. the path recorded when the package was built or installed by CMake
   (``_config``: absolute in the build tree, relative to the package once
   installed), if that file exists;
3. ``libcelccy8.so`` beside this package (a copy made by a packager);
4. the system's search (``ctypes.util.find_library("celccy8")``, then the
   plain file name, which the dynamic loader looks up in its usual places).

ctypes.CDLL functions release the global interpreter lock for the length
of each call, so threads that call the library run at the same time.
"""
import ctypes
import ctypes.util
import os

try:
    from . import _config
except ImportError:  # installed by pip alone: no path was recorded
    _config = None

__all__ = ["load", "library_path", "load_formats"]

_lib = None
_path = None


def _candidates():
    env = os.environ.get("CELCC_LIBRARY")
    if env:
        yield env
        return
    here = os.path.dirname(os.path.abspath(__file__))
    recorded = _recorded("LIBRARY")
    if recorded:
        yield recorded
    for name in sorted(os.listdir(here)):
        if name.startswith("libcelccy8.so"):
            yield os.path.join(here, name)
    found = ctypes.util.find_library("celccy8")
    if found:
        yield found
    yield "libcelccy8.so"


def _recorded(key):
    """The path CMake recorded: absolute in the build tree, relative to
    this folder once installed; None when it does not exist."""
    here = os.path.dirname(os.path.abspath(__file__))
    for path in (getattr(_config, key, None),
                 getattr(_config, key + "_RELATIVE", None) and os.path.join(here, getattr(_config, key + "_RELATIVE"))):
        if path and os.path.exists(path):
            return os.path.normpath(path)
    return None


def load():
    """The loaded library (a ctypes.CDLL), loaded on first use."""
    global _lib, _path
    if _lib is None:
        errors = []
        for cand in _candidates():
            try:
                _lib = ctypes.CDLL(cand)
                _path = cand
                break
            except OSError as e:
                errors.append("%s: %s" % (cand, e))
        if _lib is None:
            raise ImportError("celcc: cannot load libcelccy8 (set CELCC_LIBRARY to its path). Tried:\n  "
                              + "\n  ".join(errors))
    return _lib


def library_path():
    """The path or name the library was loaded from."""
    load()
    return _path


_fmt = None


def load_formats():
    """libcelccfmt, the front ends' table of conversions, or None when it
    cannot be found.  Looked up as the image library is: CELCCFMT_LIBRARY,
    the recorded path, beside the package, the system's search."""
    global _fmt
    if _fmt is None:
        load()  # the table's library needs libcelccy8 loaded first
        cands = []
        env = os.environ.get("CELCCFMT_LIBRARY")
        if env:
            cands.append(env)
        recorded = _recorded("FORMATS_LIBRARY")
        if recorded:
            cands.append(recorded)
        if _path and os.path.dirname(_path):
            here = os.path.dirname(_path)
            cands += [os.path.join(here, n) for n in sorted(os.listdir(here)) if n.startswith("libcelccfmt.so")]
        found = ctypes.util.find_library("celccfmt")
        if found:
            cands.append(found)
        cands.append("libcelccfmt.so")
        for cand in cands:
            try:
                _fmt = ctypes.CDLL(cand)
                break
            except OSError:
                continue
    return _fmt
