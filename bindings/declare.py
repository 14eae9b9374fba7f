#!/usr/bin/env python3
"""Writes what the bindings declare of the interface in C, from its header.

    bindings/declare.py            writes python/quillet/_declarations.py and node/declarations.js
    bindings/declare.py --check    tells whether they are what it would write: status 1 when they are not
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent
HEADER = ROOT.parent / "include" / "quillet" / "quillet_c.h"
NOTE = "Written by bindings/declare.py from quillet_c.h: change that, not this."

C_TYPES = {"int32_t": "c_int32", "uint32_t": "c_uint32", "int64_t": "c_int64", "double": "c_double"}
NUMBER_POINTERS = ("int32_t*", "int64_t*", "double*")


class Header:
    """What the header declares, each type in the words of C. Whatever it does not understand is an error."""

    def __init__(self, text):
        text = re.sub(r"//.*", "", text)
        rest = re.sub(r"^#.*|extern \"C\" \{|^\}$", "", text, flags=re.MULTILINE)

        def take(pattern):
            nonlocal rest
            found = re.findall(pattern, rest, re.DOTALL)
            rest = re.sub(pattern, "", rest, flags=re.DOTALL)
            return found

        self.enums = {name: re.findall(r"QUILLET_(\w+) = (-?\d+)", body)
                      for name, body in take(r"enum (\w+) \{(.*?)\};")}
        self.structs = {name: parameters(body.replace(";", ",").rstrip(" ,\n"))
                        for name, body in take(r"typedef struct (\w+) \{(.*?)\} \w+;")}
        self.handles = take(r"typedef struct (\w+) \w+;")
        self.callbacks = [(name, result, parameters(body))
                          for result, name, body in take(r"typedef (\w+) \(\*(\w+)\)\((.*?)\);")]
        self.functions = [(name, one_type(result), parameters(body))
                          for result, name, body in take(r"QUILLET_API ([\w ]+\*? ?)\b(\w+)\((.*?)\);")]
        if rest.strip():
            sys.exit(f"declare.py: does not understand {rest.strip()[:80]!r}")


def one_type(text):
    return " ".join(text.split()).replace(" *", "*")


def parameters(text):
    """The (type, name) of each parameter or member."""
    found = [re.fullmatch(r"(.*?)(\w+)", one.strip(), re.DOTALL) for one in text.split(",") if one.strip() != "void"]
    return [(one_type(one[1]), one[2]) for one in found]


def class_name(name):
    return "".join(word.capitalize() for word in name.split("_")[1:])


def python(header):
    def of(c_type):
        if c_type in C_TYPES:
            return C_TYPES[c_type]
        if c_type in NUMBER_POINTERS:
            return f"POINTER({C_TYPES[c_type[:-1]]})"
        bare = re.sub(r"^const |\*$", "", c_type)
        if bare == "char":
            return "c_char_p"
        if bare in header.structs:
            return f"POINTER({class_name(bare)})"
        if c_type in [name for name, *_ in header.callbacks]:
            return class_name(c_type)
        if c_type.endswith("*") and bare in ("void", "uint8_t", *header.handles):
            return "c_void_p"
        return "None" if c_type == "void" else sys.exit(f"declare.py: what is {c_type}?")

    lines = [f'"""{NOTE}"""', "", "from ctypes import CFUNCTYPE, POINTER, Structure",
             "from ctypes import c_char_p, c_double, c_int32, c_int64, c_uint32, c_void_p", "from enum import IntEnum"]
    for name, members in header.enums.items():
        lines += ["", "", f"class {class_name(name)}(IntEnum):", *(f"    {one} = {value}" for one, value in members)]
    lines.append("")
    for name, result, body in header.callbacks:
        lines += ["", f"{class_name(name)} = CFUNCTYPE({', '.join(map(of, [result, *(one for one, _ in body)]))})"]
    for name, members in header.structs.items():
        lines += ["", "", f"class {class_name(name)}(Structure):", "    _fields_ = ["]
        lines += [*(f'        ("{one}", {of(c_type)}),' for c_type, one in members), "    ]"]
    lines += ["", "", "# The result and the arguments of each function.", "FUNCTIONS = {"]
    for name, result, body in header.functions:
        arguments = ", ".join(of(one) for one, _ in body)
        lines.append(f'    "{name[len("quillet_"):]}": ({of(result)}, [{arguments}]),')
    return "\n".join([*lines, "}", ""])


def node(header):
    def argument(c_type, name):
        is_written = c_type in NUMBER_POINTERS or c_type[:-1] in header.structs
        pointer = "*" if c_type in [one for one, *_ in header.callbacks] else ""
        return f"{'_Inout_ ' if is_written else ''}{c_type}{pointer} {name}"

    def prototype(name, result, body):
        return f"  '{result} {name}({', '.join(argument(*one) for one in body)})',"

    lines = [f"// {NOTE}", "'use strict';", "", "// In the words of C, which koffi reads.", "module.exports = {",
             "enums: {"]
    for name, members in header.enums.items():
        lines += [f"  {class_name(name)}: {{", *(f"    {one}: {value}," for one, value in members), "  },"]
    lines += ["},", f"handles: {header.handles!r},", "callbacks: ["]
    lines += [*(prototype(*one) for one in header.callbacks), "],", "structs: {"]
    for name, members in header.structs.items():
        lines += [f"  {name}: {{", *(f"    {one}: '{c_type}'," for c_type, one in members), "  },"]
    return "\n".join([*lines, "},", "functions: [", *(prototype(*one) for one in header.functions), "],", "};", ""])


def main():
    header = Header(HEADER.read_text(encoding="utf-8"))
    status = 0
    for path, text in ((ROOT / "python/quillet/_declarations.py", python(header)),
                       (ROOT / "node/declarations.js", node(header))):
        if "--check" not in sys.argv:
            path.write_text(text, encoding="utf-8", newline="\n")
        elif path.read_text(encoding="utf-8") != text:
            print(f"{path} is not what {HEADER} says: run bindings/declare.py", file=sys.stderr)
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
