"""The type stubs describe the module as built, so editors complete every member and show
the enumerations' true values."""

import ast
import inspect
import pathlib
import re
import sys

import pytest
import vesk4710

# The build writes them next to the module, from the module.
STUBS = pathlib.Path(vesk4710.__file__).with_name("vesk4710.pyi")
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import gen_stubs  # noqa: E402


def _target(node):
    return node.target.id if isinstance(node, ast.AnnAssign) else node.targets[0].id


def _stub_tree():
    tree = ast.parse(STUBS.read_text(encoding="utf-8"))
    classes, enums, names = {}, {}, set()
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            body = [n for n in node.body
                    if isinstance(n, (ast.FunctionDef, ast.AnnAssign, ast.Assign))]
            classes[node.name] = {n.name if isinstance(n, ast.FunctionDef) else _target(n)
                                  for n in body}
            if any(getattr(base, "id", None) == "IntEnum" for base in node.bases):
                enums[node.name] = {_target(n): ast.literal_eval(n.value)
                                    for n in body if isinstance(n, ast.Assign)}
            names.add(node.name)
        elif isinstance(node, ast.FunctionDef):
            names.add(node.name)
        elif isinstance(node, ast.AnnAssign):
            names.add(node.target.id)
    return classes, enums, names


def test_every_public_name_and_member_has_a_stub():
    classes, _, names = _stub_tree()
    public = {n for n in dir(vesk4710) if not n.startswith("_")} | {"__version__"}
    assert public - names == set()
    assert names - public == set()
    for name, members in classes.items():
        cls = getattr(vesk4710, name)
        if issubclass(cls, BaseException):
            continue
        own = {n for n, _ in inspect.getmembers(cls)
               if (not n.startswith("_") or n == "__init__") and n in cls.__dict__}
        init = cls.__dict__.get("__init__")
        if init is not None and not (init.__doc__ or "").startswith("__init__("):
            own.discard("__init__")  # no constructor: Python cannot make one
        if issubclass(cls, int):  # IntEnum: its members only
            own = set(cls.__members__)
        assert own - members == set(), name
        assert members - own == set(), name


def test_enumerations_have_the_stubbed_values_and_share_members_with_the_module():
    _, enums, _ = _stub_tree()
    assert "E4710Units" in enums and "EProbeType" in enums
    for name, values in enums.items():
        cls = getattr(vesk4710, name)
        assert {m.name: m.value for m in cls} == values, name
        for member in values:
            # The module-level names are the stubbed ones (checked above) and the same objects.
            if hasattr(vesk4710, member):
                assert getattr(vesk4710, member) is cls[member], member


def _params(doc, name):
    """Parameter names of each signature pybind11 wrote for name, self left out."""
    found = []
    for line in (doc or "").splitlines():
        m = re.match(r"(?:\d+\. )?%s\((.*)\)( -> |$)" % re.escape(name), line)
        if m:
            names = re.findall(r"(?:^|, )(\*{0,2}\w+)(?=: |=|,|$)", m.group(1))
            found.append([n.lstrip("*") for n in names if n not in ("self", "arg0")])
    return found


def test_stubbed_functions_take_the_module_s_parameters():
    tree = ast.parse(STUBS.read_text(encoding="utf-8"))
    checked = 0
    for node in ast.walk(tree):
        owner = None if node in tree.body else next(
            (c for c in tree.body if isinstance(c, ast.ClassDef) and node in c.body), None)
        if not isinstance(node, ast.FunctionDef) or node.decorator_list:
            continue
        where = getattr(vesk4710, owner.name) if owner else vesk4710
        obj = getattr(where, node.name)
        expected = _params(obj.__doc__, node.name)
        if not expected:
            continue  # a Python-level class: its signature is inspect's
        a = node.args
        stub = [p.arg for p in a.posonlyargs + a.args + a.kwonlyargs if p.arg != "self"]
        stub += [p.arg for p in (a.vararg, a.kwarg) if p is not None]
        assert sorted(stub) in [sorted(e) for e in expected], (owner and owner.name, node.name)
        checked += 1
    assert checked > 100


def test_a_hint_for_a_missing_member_or_that_widens_a_type_stops_the_generator(monkeypatch):
    for key, hint in (("CVesk4710.NoSuchMember", "int"), ("CVesk4710.Model", "int")):
        monkeypatch.setattr(gen_stubs, "HINTS", {**gen_stubs.HINTS, key: hint})
        monkeypatch.setattr(gen_stubs, "used", set())
        with pytest.raises(SystemExit, match=key):
            gen_stubs.generate(vesk4710)
