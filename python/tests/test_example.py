"""The README's example runs on the real photograph."""
import os
import sys
from pathlib import Path

import pytest

EXAMPLES = Path(__file__).resolve().parents[1] / "examples"


def test_astronaut_example(tmp_path, capsys):
    pytest.importorskip("skimage.io")
    sys.path.insert(0, str(EXAMPLES))
    try:
        import astronaut
    finally:
        sys.path.pop(0)
    if not os.path.exists(astronaut.PHOTO):
        pytest.skip("the photograph is not installed")
    err = astronaut.main(str(tmp_path))
    assert 0 < err < 4  # 4:2:0 loses a little colour, no more
    for name in ("roundtrip", "gray", "poster"):
        assert (tmp_path / ("astronaut-%s.png" % name)).stat().st_size > 1000
    out = capsys.readouterr().out
    assert "(256, 256)" in out and "[0, 85, 170, 255]" in out
