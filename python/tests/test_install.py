"""The package installs: with the library by `cmake --install`, and on its
own by `pip install ./python`, offline."""
import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from conftest import ROOT, SANITIZED

BUILD = os.environ.get("CELCC_BUILD_DIR")
pytestmark = pytest.mark.skipif(SANITIZED, reason="an installed package is used without the sanitizers")


def _check(python, cwd, **extra):
    """The library path the package found and a gray sample, in an environment
    without the build's own settings (but `extra`)."""
    env = {k: v for k, v in os.environ.items() if k not in ("PYTHONPATH", "CELCC_LIBRARY", "CELCCFMT_LIBRARY", "LD_PRELOAD")}
    code = ("import numpy as np, celcc; y = celcc.celiRGBToGray_8u_C3C1R(np.full((4, 6, 3), 200, np.uint8)); "
            "print(celcc.library_path()); print(int(y[0, 0]))")
    out = subprocess.run([str(python), "-c", code], env=dict(env, **extra), check=True, capture_output=True, text=True,
                         cwd=str(cwd)).stdout.split()
    assert int(out[1]) == 200
    return Path(out[0])


@pytest.mark.skipif(not BUILD, reason="needs the build directory (CELCC_BUILD_DIR)")
def test_cmake_install_puts_a_working_package_under_the_prefix(tmp_path):
    prefix = tmp_path / "prefix"
    subprocess.run(["cmake", "--install", BUILD, "--prefix", str(prefix)], check=True, capture_output=True)
    inits = list(prefix.glob("lib*/python3*/*-packages/celcc/__init__.py"))
    assert len(inits) == 1, "package not installed under %s" % prefix
    # the installed library, found from the package, not the build's
    assert _check(sys.executable, tmp_path, PYTHONPATH=str(inits[0].parent.parent)).resolve().is_relative_to(prefix.resolve())


def test_pip_install_offline(tmp_path):
    pytest.importorskip("setuptools")
    try:
        subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", str(tmp_path / "venv")],
                       check=True, capture_output=True)
    except subprocess.CalledProcessError as e:
        pytest.skip("no venv for %s: %s" % (sys.executable, e.stderr.decode()[-200:]))
    src = tmp_path / "src"
    shutil.copytree(ROOT / "python", src / "python", ignore=shutil.ignore_patterns("__pycache__", "build", "*.egg-info"))
    shutil.copytree(ROOT / "include", src / "include")
    py = tmp_path / "venv" / "bin" / "python"
    r = subprocess.run([str(py), "-m", "pip", "install", "--no-index", "--no-build-isolation", str(src / "python")],
                       capture_output=True, text=True)
    assert r.returncode == 0, r.stdout[-2000:] + r.stderr[-2000:]
    _check(py, tmp_path, CELCC_LIBRARY=os.environ["CELCC_LIBRARY"])
