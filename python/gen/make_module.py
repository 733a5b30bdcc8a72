"""Writes celcc/_exports.py, the data the binding is made from.

Inputs: the JSON that the `abi` program prints (every entry of the export
list with its parameter text, doc line and the compiler's view of each
parameter type) and the public header, whose enumerations (statuses, Bayer
grids, dither modes, ...) give the names of values.  The output is plain
Python data; nothing in it is written by hand.

Usage: make_module.py ABI_JSON CELCC_H OUTPUT
"""
import json
import pprint
import re
import sys

# An enumeration may carry a macro for its underlying type between its name
# and the brace (CEL_ENUM_INT32: a fixed 32-bit type in C++).
_ENUM = re.compile(r"typedef\s+enum\s+(\w+)\s*(?:\w+\s*)?\{(.*?)\}\s*(\w+)\s*;", re.S)
_ENUMERATOR = re.compile(r"^\s*(\w+)\s*=\s*(-?(?:0x[0-9a-fA-F]+|\d+))\s*,?\s*(?:/\*\s*(.*?)\s*\*/)?\s*$")


def parse_enums(header_text):
    """{enum type: [(name, value, comment), ...]} of every `typedef enum` with
    explicit values (the header gives every value explicitly)."""
    enums = {}
    for m in _ENUM.finditer(header_text):
        members = []
        for line in m.group(2).splitlines():
            e = _ENUMERATOR.match(line)
            if e:
                members.append((e.group(1), int(e.group(2), 0), e.group(3) or ""))
        enums[m.group(3)] = members
    return enums


_STRUCT = re.compile(r"typedef\s+struct\s+(\w+)\s*\{(.*?)\}\s*(\w+)\s*;", re.S)
_FIELD = re.compile(r"^\s*(.+?)\s*\b(\w+)\s*(?:\[\s*(\d+)\s*\])?\s*;")


def parse_structs(header_text):
    """{struct type: [(field type text, field name, array length or 0), ...]}."""
    structs = {}
    for m in _STRUCT.finditer(header_text):
        body = re.sub(r"/\*.*?\*/", "", m.group(2), flags=re.S)
        fields = []
        for line in body.split(";"):
            f = _FIELD.match(line + ";")
            if f:
                fields.append((" ".join(f.group(1).split()), f.group(2), int(f.group(3) or 0)))
        structs[m.group(3)] = fields
    return structs


def build(abi_json_text, header_text):
    exports = json.loads(abi_json_text)["exports"]
    return exports, parse_enums(header_text), parse_structs(header_text)


def write(exports, enums, structs, path):
    with open(path, "w", encoding="utf-8") as f:
        f.write('"""Generated from the export list and celcc.h at build time: do not edit."""\n\n')
        f.write("EXPORTS = " + pprint.pformat(exports, width=120, sort_dicts=False) + "\n\n")
        f.write("ENUMS = " + pprint.pformat(enums, width=120, sort_dicts=False) + "\n\n")
        f.write("STRUCTS = " + pprint.pformat(structs, width=120, sort_dicts=False) + "\n")


def main(argv):
    if len(argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    with open(argv[1], encoding="utf-8") as f:
        abi = f.read()
    with open(argv[2], encoding="utf-8") as f:
        header = f.read()
    exports, enums, structs = build(abi, header)
    write(exports, enums, structs, argv[3])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
