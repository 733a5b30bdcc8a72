"""pip install ./python: the package celcc, its data module made here.

The data module (celcc/_exports.py) is made from the export list as the
CMake build makes it: gen/abi.cpp is compiled against the headers and its
output turned into Python by gen/make_module.py.  The headers are taken
from CELCC_INCLUDE if set, else from the source tree beside this file
(../include), else from /usr/local/include or /usr/include (where
`cmake --install` puts them).  Nothing is downloaded: setuptools and a C++
compiler (CXX, default c++) are all it needs.

The package loads libcelccy8 at import: from CELCC_LIBRARY, or wherever
the dynamic loader finds it (after `cmake --install`, for instance).
"""
import os
import shutil
import subprocess
import sys
import tempfile

from setuptools import setup
from setuptools.command.build_py import build_py

HERE = os.path.dirname(os.path.abspath(__file__))


def _include_dir():
    cands = [os.environ.get("CELCC_INCLUDE"), os.path.join(HERE, "..", "include"), "/usr/local/include",
             "/usr/include"]
    for c in cands:
        if c and os.path.exists(os.path.join(c, "celcc", "exports.inc")) and os.path.exists(
                os.path.join(c, "celcc.h")):
            return os.path.abspath(c)
    raise SystemExit("celcc: cannot find celcc.h and celcc/exports.inc (set CELCC_INCLUDE)")


def make_exports(target):
    include = _include_dir()
    sys.path.insert(0, os.path.join(HERE, "gen"))
    import make_module
    work = tempfile.mkdtemp(prefix="celcc-gen-")
    try:
        exe = os.path.join(work, "abi")
        cxx = os.environ.get("CXX", "c++")
        subprocess.check_call([cxx, "-std=c++17", "-I", include, os.path.join(HERE, "gen", "abi.cpp"), "-o", exe])
        abi = subprocess.check_output([exe]).decode("utf-8")
        with open(os.path.join(include, "celcc.h"), encoding="utf-8") as f:
            header = f.read()
        exports, enums, structs = make_module.build(abi, header)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        make_module.write(exports, enums, structs, target)
    finally:
        shutil.rmtree(work, ignore_errors=True)


class BuildWithExports(build_py):
    def run(self):
        super().run()
        make_exports(os.path.join(self.build_lib, "celcc", "_exports.py"))


setup(
    name="celcc",
    version="2019.0.0",
    description="libcelccy8's image colour conversions on NumPy arrays",
    packages=["celcc"],
    python_requires=">=3.7",
    install_requires=["numpy"],
    cmdclass={"build_py": BuildWithExports},
)
