"""Shared fixture of the Python tests: a scratch directory as the working directory, removed afterwards."""

import pathlib
import tempfile

import pytest


@pytest.fixture
def workdir(monkeypatch):
    with tempfile.TemporaryDirectory(prefix="anadata-python-") as path:
        monkeypatch.chdir(path)
        yield pathlib.Path(path)
