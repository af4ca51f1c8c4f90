"""The type stubs describe the module as built, so editors complete every member."""

import ast
import inspect
import pathlib

import vesk4710

# The build writes them next to the module, from the module.
STUBS = pathlib.Path(vesk4710.__file__).with_name("vesk4710.pyi")


def _name(node):
    if isinstance(node, (ast.ClassDef, ast.FunctionDef)):
        return node.name
    return node.target.id if isinstance(node, ast.AnnAssign) else node.targets[0].id


def _stub_tree():
    tree = ast.parse(STUBS.read_text(encoding="utf-8"))
    classes, names = {}, set()
    for node in tree.body:
        if isinstance(node, (ast.ClassDef, ast.FunctionDef, ast.AnnAssign)):
            names.add(_name(node))
        if isinstance(node, ast.ClassDef):
            body = [n for n in node.body
                    if isinstance(n, (ast.FunctionDef, ast.AnnAssign, ast.Assign))]
            classes[node.name] = {_name(n) for n in body}
    return classes, names


def test_every_public_name_and_member_has_a_stub():
    classes, names = _stub_tree()
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
