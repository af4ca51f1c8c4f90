"""Shared fixtures. The ctest entry gives each run a fresh home for the simulator's state and
the settings."""

import pytest

import vesk4710


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
    instrument = connect()
    assert instrument.QueryInfo()
    return instrument
