"""Shared fixtures: every run gets its own simulator state and settings, so runs do not
leak into each other or into the user's files."""

import os
import shutil
import tempfile

import pytest

# The simulator and the settings store read these when a session opens.
_HOME = tempfile.mkdtemp(prefix="vesk4710-pytest-")
os.environ["HOME"] = _HOME
os.environ["XDG_STATE_HOME"] = os.path.join(_HOME, "state")
os.environ["XDG_CONFIG_HOME"] = os.path.join(_HOME, "config")

import vesk4710  # noqa: E402  (after the environment is set)


def pytest_unconfigure(config):
    shutil.rmtree(_HOME, ignore_errors=True)


class Messages(list):
    """Message boxes as (prompt, style, caption); each is answered OK / Yes."""

    def __call__(self, prompt, style, caption):
        self.append((prompt, style, caption))
        return vesk4710.ANSWER_YES if style & 7 == vesk4710.MB_YES_NO else vesk4710.ANSWER_OK

    def texts(self):
        return "\n".join(prompt for prompt, _, _ in self)


@pytest.fixture
def messages():
    return Messages()


@pytest.fixture
def connect(messages):
    # Sessions on the embedded simulator with silent console services.
    def open_session(**options):
        options.setdefault("console", False)
        options.setdefault("message", messages)
        return vesk4710.connect(**options)

    return open_session


@pytest.fixture
def inst(connect):
    # An instrument whose device information has been read.
    instrument = connect()
    assert instrument.QueryInfo()
    return instrument
