# SPDX-License-Identifier: MIT
"""Writes the type stubs of the built vesk4710 module from the module itself.

    python3 gen_stubs.py MODULE_DIR OUTPUT

Signatures come from the ones pybind11 puts at the head of each docstring, so the stubs
cannot drift from the binding. Standard library only: it runs at build time."""

import enum
import inspect
import os
import re
import sys
import tempfile

MODULE = "vesk4710"
OPEN, CLOSE = "([{<", ")]}>"

# What pybind11 cannot say of values the binding passes as plain Python objects: each entry
# narrows the type in the module's own signature ("Class.member" or "Class.member.parameter"),
# and one that no longer narrows it stops the build.
HINTS = {
    "Dispatch.invoke.kind": "str | MemberKind | None",
    "ListBox.items": "list[tuple[str, int]]",
    "CalibrationGrid.cells": "list[list[str]]",
    "Recorder.status": "list[dict[str, Any]]",
    "CVesk4710.__init__.passcode": "Callable[[], str | None] | None",
    "CVesk4710.__init__.progress": "Callable[[str, float], bool | None] | None",
    "CVesk4710.__init__.message": "Callable[[str, int, str], int | None] | None",
    "CVesk4710.CalDate": "datetime.date",
    "CVesk4710.Units": "E4710Units | int",
    "CVesk4710.FillRTLSUnitsList": "list[tuple[str, int]]",
    "CVesk4710.FillUnitsList": "list[tuple[str, int]]",
    "CVesk4710.FillChannelList": "list[tuple[str, int]]",
    "CVesk4710.GetChannelReference": "CVesk4710Channel | None",
    "CVesk4710.Communications": "Dispatch | None",
    "CVesk4710.SetRegistry.vData": "Registry | None",
    "CVesk4710.Registry": "Registry | None",
    "CVesk4710.FillCalibrationGrid.grid": "CalibrationGrid | None",
    "CVesk4710.UpdateCalParameters.grid": "CalibrationGrid | None",
    "CVesk4710Card.SetRegistry.value": "Registry | None",
    "CVesk4710Card.Registry": "Registry | None",
    "CVesk4710Card.SetBaseUnit.value": "CVesk4710 | None",
    "CVesk4710Card.BaseUnit": "CVesk4710 | None",
    "CVesk4710Card.ModuleType": "E4710ModuleType | int",
    "CVesk4710Channel.CalDate": "datetime.date",
    "CVesk4710Channel.SetModule.module": "CVesk4710Card | None",
    "CVesk4710Channel.Module": "CVesk4710Card | None",
    "CVesk4710Channel.SetRegistry.registry": "Registry | None",
    "CVesk4710Channel.Registry": "Registry | None",
    "CVesk4710Channel.RJCType": "E4710RJCType | int",
    "CVesk4710Channel.SetBaseUnit.instrument": "CVesk4710 | None",
    "CVesk4710Channel.BaseUnit": "CVesk4710 | None",
    "CVesk4710Channel.ProbeType": "EProbeType | int",
    "CVesk4710Channel.FillConversionTypeList": "list[tuple[str, int]] | None",
    "CVesk4710Channel.FillProbeTypeList": "list[tuple[str, int]] | None",
    "CVesk4710Channel.FillResolutionList": "list[tuple[str, int]] | None",
    "CVesk4710Channel.FillRJCTypeList": "list[tuple[str, int]] | None",
    "connect.trace": "str | None",
    "connect": "CVesk4710",
}
used = set()
shadowed = set()  # class names a member hides inside some class body: stubs use an alias


def hinted(key, generated):
    hint = HINTS.get(key)
    if hint is None:
        return generated
    used.add(key)
    if generated not in ("Any", "list", "dict") and not hint.startswith(generated + " |"):
        raise SystemExit("%s: the hint for %s (%s) does not narrow %s" % (sys.argv[0], key, hint,
                                                                        generated))
    return hint


def aliased(text):
    return re.sub(r"\b(%s)\b" % "|".join(sorted(shadowed)), r"_\1", text) if shadowed else text


def split_top(text, sep=","):
    """Splits at separators outside brackets and quotes."""
    parts, depth, quote, start = [], 0, None, 0
    for i, c in enumerate(text):
        if quote:
            quote = None if c == quote and text[i - 1] != "\\" else quote
        elif c in "'\"":
            quote = c
        elif c in OPEN:
            depth += 1
        elif c in CLOSE and not (c == ">" and text[i - 1] == "-"):
            depth -= 1
        elif depth == 0 and text.startswith(sep, i):
            parts.append(text[start:i].strip())
            start = i + len(sep)
    parts.append(text[start:].strip())
    return [p for p in parts if p]


def type_text(text):
    """pybind11's type names in the style of the stubs: builtin generics and X | None."""
    text = text.strip().replace(MODULE + ".", "")
    m = re.fullmatch(r"(\w+)\[(.*)\]", text, re.S)
    if not m:
        return "Any" if text == "object" else text
    head, args = m.group(1), split_top(m.group(2))
    if head == "Optional":
        return type_text(args[0]) + " | None"
    if head == "Union":
        return " | ".join(type_text(a) for a in args)
    if head == "Callable":
        inner = args[0][1:-1]
        params = ", ".join(type_text(a) for a in split_top(inner))
        return "Callable[[%s], %s]" % (params, type_text(args[1]))
    head = {"List": "list", "Tuple": "tuple", "Dict": "dict", "Set": "set"}.get(head, head)
    return "%s[%s]" % (head, ", ".join(type_text(a) for a in args))


def default_text(text):
    """A default the stub can spell, or '...' for one only the binding knows."""
    m = re.fullmatch(r"<(\w+)\.(\w+): -?\d+>", text)
    if m:
        return "%s.%s" % m.groups()
    try:
        compile(text, "<default>", "eval")
    except SyntaxError:
        return "..."
    return text if re.fullmatch(r"[\w.'\"\[\]{}() ,+-]*", text) else "..."


def parameters(text, method, key):
    out = []
    for i, p in enumerate(split_top(text)):
        if method and i == 0:
            out.append("self")
            continue
        if p in ("*", "/"):
            out.append(p)
            continue
        name, _, rest = p.partition(":")
        kind, _, default = rest.partition("=") if rest else ("", "", "")
        if not rest and "=" in name:
            name, _, default = name.partition("=")
        name = name.strip()
        if name.startswith("*") and not kind:
            kind = "Any"
        if kind:
            kind = aliased(hinted("%s.%s" % (key, name.lstrip("*")), type_text(kind)))
        item = name + (": " + kind if kind else "")
        if default:
            item += " = " + default_text(default.strip())
        out.append(item)
    return out


SIGNATURE = re.compile(r"^(?:\d+\. )?(\w+)\((.*)\)(?: -> (.+))?$")


def signatures(doc, name):
    """The signatures pybind11 wrote into a docstring (one per overload), each with its prose."""
    sigs = []
    for line in (doc or "").splitlines():
        m = SIGNATURE.match(line.strip())
        if m and m.group(1) == name:
            sigs.append((m.group(2), m.group(3) or "None", []))
        elif sigs:
            sigs[-1][2].append(line)
    return [(args, ret, "\n".join(prose).strip()) for args, ret, prose in sigs]


def docstring(text, indent):
    if not text:
        return []
    pad = " " * indent
    text = inspect.cleandoc(text).replace("\\", "\\\\").replace('"""', '\\"\\"\\"')
    lines = text.splitlines()
    if len(lines) == 1:
        return [pad + '"""%s"""' % lines[0]]
    return [pad + '"""' + lines[0]] + [(pad + l).rstrip() for l in lines[1:]] + [pad + '"""']


def function(name, obj, indent, method, key, decorator=None):
    pad = " " * indent
    sigs = signatures(obj.__doc__, name)
    if not sigs:
        raise SystemExit("%s: no signature in the docstring of %s" % (sys.argv[0], name))
    out = []
    for args, ret, prose in sigs:
        if len(sigs) > 1:
            out.append(pad + "@overload")
        if decorator:
            out.append(pad + decorator)
        params = parameters(args, method and decorator != "@staticmethod", key)
        ret = aliased(hinted(key, type_text(ret)))
        out.append("%sdef %s(%s) -> %s:" % (pad, name, ", ".join(params), ret))
        out += docstring(prose, indent + 4) + [pad + "    ..."]
        out.append("")
    return out


def prop(name, obj, indent, key):
    pad = " " * indent
    ret = "Any"
    m = re.match(r"\(.*\) -> (.+)$", (obj.fget.__doc__ or "").splitlines()[0])
    if m:
        ret = type_text(m.group(1))
    ret = aliased(hinted(key, ret))
    out = [pad + "@property", "%sdef %s(self) -> %s:" % (pad, name, ret)]
    out += docstring(obj.__doc__, indent + 4) + [pad + "    ...", ""]
    if obj.fset is not None:
        out += [pad + "@%s.setter" % name,
                "%sdef %s(self, value: %s) -> None: ..." % (pad, name, ret), ""]
    return out


def annotation(value):
    if isinstance(value, type):
        return value.__name__
    return str(value).replace("typing.", "")


def exception_class(name, cls):
    base = cls.__bases__[0].__name__
    out = ["class %s(%s):" % (name, base)]
    out += docstring(cls.__doc__, 4) + [""]
    for field, kind in cls.__dict__.get("__annotations__", {}).items():
        out.append("    %s: %s" % (field, annotation(kind)))
    init = cls.__dict__.get("__init__")
    if init is not None:
        sig = inspect.signature(init)
        params = ["self"]
        for p in list(sig.parameters.values())[1:]:
            item = p.name + (": " + annotation(p.annotation) if p.annotation is not p.empty else "")
            if p.default is not p.empty:
                item += " = " + repr(p.default)
            params.append(item)
        out.append("    def __init__(%s) -> None: ..." % ", ".join(params))
    return out + ["", ""]


def enum_class(name, cls):
    out = ["class %s(IntEnum):" % name]
    if cls.__doc__ and cls.__doc__ != "An enumeration.":
        out += docstring(cls.__doc__, 4) + [""]
    out += ["    %s = %d" % (m.name, m.value) for m in cls]
    return out + ["", ""]


def extension_class(name, cls):
    bases = [b.__name__ for b in cls.__bases__ if b.__module__ == MODULE]
    out = ["class %s%s:" % (name, "(%s)" % ", ".join(bases) if bases else "")]
    out += docstring(cls.__doc__, 4) + [""]
    for member, obj in cls.__dict__.items():
        public = not member.startswith("_") or member == "__init__"
        if not public:
            continue
        key = "%s.%s" % (name, member)
        if isinstance(obj, property):
            out += prop(member, obj, 4, key)
        elif isinstance(obj, staticmethod):
            out += function(member, obj.__func__, 4, True, key, "@staticmethod")
        elif callable(obj):
            if member == "__init__" and not signatures(obj.__doc__, member):
                continue  # no constructor: Python cannot make one
            out += function(member, obj, 4, True, key)
    return out + [""]


def generate(module):
    body = []
    names = [n for n in module.__dict__ if not n.startswith("_")]
    classes = [n for n in names if isinstance(getattr(module, n), type)]
    # Errors and enumerations first: the classes' signatures name them.
    order = sorted(classes, key=lambda n: (not issubclass(getattr(module, n), BaseException),
                                           not issubclass(getattr(module, n), enum.Enum)))
    for n in classes:
        shadowed.update(set(classes) & set(getattr(module, n).__dict__))
    body += ["__version__: str", ""]
    for n in names:
        if n not in classes and not callable(getattr(module, n)):
            body.append("%s: %s" % (n, type(getattr(module, n)).__name__))
    body.append("")
    for n in order:
        cls = getattr(module, n)
        if issubclass(cls, BaseException):
            body += exception_class(n, cls)
        elif issubclass(cls, enum.Enum):
            body += enum_class(n, cls)
        else:
            body += extension_class(n, cls)
    body += ["_%s = %s" % (n, n) for n in sorted(shadowed)] + ["", ""] if shadowed else []
    for n in names:
        obj = getattr(module, n)
        if n not in classes and callable(obj):
            body += function(n, obj, 0, False, n)
    if set(HINTS) - used:
        raise SystemExit("%s: hints for members the module lacks: %s" % (sys.argv[0], ", ".join(
            sorted(set(HINTS) - used))))
    text = "\n".join(body)
    head = ['"""Type stubs of the vesk4710 module, written by gen_stubs.py from the built module.',
            "", inspect.cleandoc(module.__doc__ or ""), '"""', "", "import datetime",
            "from enum import IntEnum"]
    typing = [n for n in ("Any", "Callable", "overload") if re.search(r"\b%s\b" % n, text)]
    if typing:
        head.append("from typing import " + ", ".join(typing))
    return "\n".join(head + ["", ""]) + text.rstrip() + "\n"


def main():
    if len(sys.argv) != 3:
        raise SystemExit("usage: gen_stubs.py MODULE_DIR OUTPUT")
    sys.path.insert(0, sys.argv[1])
    module = __import__(MODULE)
    text = generate(module)
    compile(text, sys.argv[2], "exec")  # a stub that does not parse must not be written
    folder = os.path.dirname(os.path.abspath(sys.argv[2]))
    fd, tmp = tempfile.mkstemp(dir=folder, prefix=".stubs-")
    try:
        with os.fdopen(fd, "w", encoding="utf-8") as f:
            f.write(text)
        os.chmod(tmp, 0o644)  # a temporary file is private; the stubs are not
        os.replace(tmp, sys.argv[2])
    except BaseException:
        os.unlink(tmp)
        raise


if __name__ == "__main__":
    main()
