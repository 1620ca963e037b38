"""Arguments the extension cannot take, named: pybind11 says only that no signature fits; the functions of
the package say which argument is wrong and why (TypeError for a type, ValueError for a number too large)."""

import functools
import os

INT_RANGE = (-2**31, 2**31 - 1)  # the C++ int of shots, sub-shots, counts and sizes


def split_top(text, separator=","):
    """Splits at separators outside brackets and quotes."""
    parts, depth, quote, start = [], 0, None, 0
    for i, ch in enumerate(text):
        if quote:
            quote = None if ch == quote else quote
        elif ch in "'\"":
            quote = ch
        elif ch in "([{":
            depth += 1
        elif ch in ")]}":
            depth -= 1
        elif ch == separator and depth == 0:
            parts.append(text[start:i].strip())
            start = i + 1
    parts.append(text[start:].strip())
    return [p for p in parts if p]


def parameters(doc):
    """[(name, type, has_default, keyword_only)] from the signature line pybind11 puts first in a
    docstring, or None for an overloaded function or a docstring without one."""
    line = (doc or "").split("\n", 1)[0]
    if "(" not in line or ") -> " not in line:
        return None
    found, keyword_only = [], False
    for part in split_top(line[line.index("(") + 1:line.rindex(") -> ")]):
        if part == "*":
            keyword_only = True
            continue
        if part.startswith("*"):
            return None
        declaration, _, default = (p.strip() for p in part.partition(" = "))
        name, _, annotation = (p.strip() for p in declaration.partition(":"))
        found.append((name, annotation, bool(default), keyword_only))
    return found


def mismatch(annotation, value):
    """Why pybind11 would refuse value for the annotation: (exception class, text), or None."""
    if annotation.startswith("Optional[") and annotation.endswith("]"):
        return None if value is None else mismatch(annotation[9:-1], value)
    if annotation.startswith("List[") and annotation.endswith("]"):
        if isinstance(value, (str, bytes)) or not hasattr(type(value), "__getitem__") or not hasattr(value, "__len__"):
            return TypeError, f"must be a sequence of {annotation[5:-1]}, not {type(value).__name__}"
        return next((m for m in (mismatch(annotation[5:-1], item) for item in value) if m), None)
    if annotation == "int":
        if isinstance(value, float) or not hasattr(type(value), "__index__"):
            return TypeError, f"must be int, not {type(value).__name__}"
        if not INT_RANGE[0] <= value.__index__() <= INT_RANGE[1]:
            return ValueError, f"= {value} does not fit a 32-bit integer"
    elif annotation == "float":
        if not (hasattr(type(value), "__float__") or hasattr(type(value), "__index__")) or isinstance(value, str):
            return TypeError, f"must be a number, not {type(value).__name__}"
    elif annotation == "str":
        if not isinstance(value, (str, bytes)):
            return TypeError, f"must be str, not {type(value).__name__}"
    elif annotation == "os.PathLike":
        if not isinstance(value, (str, bytes, os.PathLike)):
            return TypeError, f"must be a path (str or os.PathLike), not {type(value).__name__}"
    elif annotation == "bool":
        if value is not None and not hasattr(type(value), "__bool__"):
            return TypeError, f"must be bool, not {type(value).__name__}"
    elif annotation.startswith("anadata."):
        if type(value).__name__ != annotation.rsplit(".", 1)[1]:
            return TypeError, f"must be {annotation.rsplit('.', 1)[1]}, not {type(value).__name__}"
    return None


def explain(name, params, args, kwargs, setter=False):
    """The exception that names the argument of the call that no signature takes, or None; a property
    setter's says "Record.shot must be int, not str"."""
    positional = [p for p in params if not p[3]]
    if len(args) > len(positional):
        return TypeError(f"{name}() takes at most {len(positional) - 1} positional arguments "
                         f"({len(args) - 1} given)")
    given = {p[0]: value for p, value in zip(positional, args)}
    for key, value in kwargs.items():
        if key not in {p[0] for p in params}:
            return TypeError(f"{name}() got an unexpected keyword argument '{key}'")
        if key in given:
            return TypeError(f"{name}() got multiple values for argument '{key}'")
        given[key] = value
    for param, annotation, has_default, _ in params:
        if param not in given:
            if not has_default:
                return TypeError(f"{name}() missing required argument '{param}'")
            continue
        why = mismatch(annotation, given[param])
        if why:
            return why[0](f"{name} {why[1]}" if setter else f"{name}(): argument '{param}' {why[1]}")
    return None


def explained(function, name, params, setter=False):
    @functools.wraps(function)
    def call(*args, **kwargs):
        try:
            return function(*args, **kwargs)
        except TypeError as e:
            if "): incompatible " not in str(e):
                raise
            better = explain(name, params, args, kwargs, setter)
            if better is None:
                raise
            raise better from None

    call.named_arguments = True
    return call


def named(function):
    """The extension's function wrapped so that an argument of the wrong type or range is named."""
    params = parameters(function.__doc__)
    return explained(function, function.__name__, params) if params else function


def name_bad_arguments(*classes):
    """Wraps the methods, constructors and property setters of the extension's classes in place, so
    that an argument of the wrong type or range is named."""
    for owner in classes:
        for attr, value in list(vars(owner).items()):
            if attr.startswith("__") and attr != "__init__":
                continue
            qualname = f"{owner.__name__}.{attr}"
            if isinstance(value, property) and value.fset is not None:
                params = parameters(value.fset.__doc__)
                if params and not getattr(value.fset, "named_arguments", False):
                    fset = explained(value.fset, qualname, params, setter=True)
                    setattr(owner, attr, property(value.fget, fset, value.fdel, value.__doc__))
            elif type(value).__name__ == "instancemethod" and not getattr(value, "named_arguments", False):
                params = parameters(value.__doc__)
                if params and len(params) > 1:
                    setattr(owner, attr, explained(value, qualname, params))
