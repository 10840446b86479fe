"""Examples in docstrings run and print what they say, those of the compiled module too."""

import doctest
import importlib
import inspect
import pkgutil
from collections.abc import Iterator
from pathlib import Path
from types import ModuleType
from typing import Any

import pytest

import kr0

OPTIONS = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE


def modules() -> Iterator[ModuleType]:
    """The package's modules, those that can be imported here."""
    yield kr0
    for found in pkgutil.walk_packages(kr0.__path__, "kr0.", onerror=lambda _: None):
        if found.name.endswith("__main__"):
            continue
        try:
            yield importlib.import_module(found.name)
        except ImportError as error:
            # Left out is only what says which package of others it misses.
            if error.name is None or error.name.split(".")[0] == "kr0":
                raise


def is_of(value: Any, module: ModuleType) -> bool:
    """Whether a member is the module's own; properties and the like belong to their class."""
    return getattr(value, "__module__", module.__name__) == module.__name__


def described(module: ModuleType) -> Iterator[tuple[str, str]]:
    """Names of a module and of its classes' members, each with its docstring."""
    if module.__doc__:
        yield module.__name__, module.__doc__
    for name, value in vars(module).items():
        if not is_of(value, module) or not (inspect.isclass(value) or inspect.isroutine(value)):
            continue
        if value.__doc__:
            yield f"{module.__name__}.{name}", value.__doc__
        if inspect.isclass(value):
            for member, inner in vars(value).items():
                text = getattr(inner, "__doc__", None)
                if isinstance(text, str) and member != "__doc__":
                    yield f"{module.__name__}.{name}.{member}", text


def examples() -> list[Any]:
    """All docstrings with examples."""
    found = []
    for module in modules():
        for name, text in described(module):
            if ">>>" in text:
                found.append(pytest.param(module, name, text, id=name))
    return found


def small_library(folder: Path) -> dict[str, Any]:
    """What examples find beside the names of their module: a model, and documents of it."""
    package = kr0.PackageBuilder("http://www.example.org/library", "library")
    book = package.class_("Book").property("title", "String", required=True)
    book.property("pages", "Integer")
    package.class_("Library").property("books", "Book", many=True, composite=True)
    registry = kr0.Registry(package)
    model = kr0.Model(registry)
    library = model.create("library.Library")
    library.create("books", title="Moby Dick", pages=635)
    library.create("books", title="Emma", pages=474)
    kr0.save(model, folder / "library.krz")
    document = (folder / "library.krz").read_bytes()
    (folder / "damaged.krz").write_bytes(document[: len(document) // 2])
    return {"kr0": kr0, "folder": folder, "registry": registry, "model": model}


@pytest.mark.parametrize("module, name, text", examples())
def test_example(module: ModuleType, name: str, text: str, tmp_path: Path,
                 monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    known = vars(module) | small_library(tmp_path)
    test = doctest.DocTestParser().get_doctest(text, known, name, None, 0)
    assert test.examples
    said: list[str] = []
    result = doctest.DocTestRunner(optionflags=OPTIONS).run(test, out=said.append)
    assert result.failed == 0, "".join(said)


def test_the_compiled_module_has_examples() -> None:
    assert any(name.startswith("kr0._core.") for _, name, _ in (one.values for one in examples()))


def test_every_public_name_has_a_docstring() -> None:
    without = [name for name in kr0.__all__
               if callable(getattr(kr0, name)) and not (getattr(kr0, name).__doc__ or "").strip()]
    assert not without
