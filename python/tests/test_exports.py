"""Every export of the list is reachable from Python, with its doc line."""
import inspect
import pydoc

import pytest

import celcc
from conftest import ENTRIES

NAMES = [e[1] for e in ENTRIES]


def test_binding_has_exactly_the_list():
    assert len(NAMES) >= 100 and len(set(NAMES)) == len(NAMES)
    assert celcc.exports() == NAMES


@pytest.mark.parametrize("ret,name,params,doc", ENTRIES, ids=NAMES)
def test_export_reachable(ret, name, params, doc):
    fn = getattr(celcc, name, None)
    assert callable(fn), "%s is not bound" % name
    assert name in celcc.__all__
    # help() shows the list's doc line and the C parameters.
    assert doc in fn.__doc__ and name + "(" in fn.__doc__
    assert doc in pydoc.render_doc(fn, renderer=pydoc.plaintext)
    # Bound with roles, not as a raw call in C order.
    assert not fn.signature.raw, "%s fell back to a raw call: %s" % (name, fn.signature.why_raw)


def test_module_help_signature_version_and_statuses():
    text = pydoc.render_doc(celcc, renderer=pydoc.plaintext)
    for name in NAMES[:5] + NAMES[-5:]:
        assert name in text
    sig = inspect.signature(celcc.celiGrayToRGB_8u_C1C4R)
    assert list(sig.parameters)[:2] == ["src", "dst"]
    assert sig.parameters["alphaValue"].kind is inspect.Parameter.KEYWORD_ONLY
    v = celcc.version()
    assert v["tierTag"] == "y8" and v["releaseMajor"] == 2019 and isinstance(v["versionLabel"], (bytes, str))
    assert (celcc.STATUS["celStatusOk"], celcc.STATUS["celStatusNullPointer"], celcc.STATUS["celStatusOddSize"]) == \
        (0, -8, 35)
