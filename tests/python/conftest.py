"""What every suite needs: a folder of its own, and the program."""
import os
import subprocess

import pytest


@pytest.fixture(autouse=True)
def own_folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)


@pytest.fixture
def program():
    """Runs the program; returns its standard output."""

    def run(*arguments):
        command = [os.environ["OPTDOE"], *map(str, arguments)]
        environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
        return subprocess.run(command, check=True, capture_output=True, text=True, env=environment).stdout

    return run
