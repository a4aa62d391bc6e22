import os
import shutil

import pytest


@pytest.fixture(scope="session")
def units():
    """Addresses of the simulated S-parameter units that run.sh starts (port 1024)."""
    listed = os.environ.get("TARN_TEST_UNITS")
    if not listed:
        pytest.skip("no simulated units: run through tests/python/run.sh (ctest -R lab.python)")
    return listed.split(",")


@pytest.fixture(scope="session")
def tarnctl():
    tool = os.environ.get("TARNCTL") or shutil.which("tarnctl")
    if not tool:
        pytest.skip("tarnctl not found: set TARNCTL")
    return tool
