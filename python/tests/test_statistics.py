"""vesk4710.Statistics judges a bath as `vesk4710 watch` and the desktop app do."""

import pytest

import vesk4710


def test_figures_and_verdicts_cross_in_the_units_python_uses():
    # 1 mK/min of drift in readings a second apart (the C++ suite checks the figures in full).
    stats = vesk4710.Statistics(window=399, max_sd=0.01, max_drift=0.002)
    assert stats.mean is None and stats.state == "collecting"
    start = 1.7e9
    for i in range(400):
        assert stats.add(start + i, 25.0 + 0.001 * i / 60 + 0.0005 * (1, -1, -1, 1)[i % 4])
    assert stats.count == 400
    assert stats.drift == pytest.approx(0.001, abs=1e-9)  # per minute
    assert stats.mean == pytest.approx(25.0 + 0.001 * 399 / 120, abs=1e-9) and stats.stdev > 0
    assert stats.state == "stable" and stats.stable
    assert stats.stable_since == start + 399  # seconds, as given
    assert stats.stable_for(start + 459) == 60

    stats.max_drift = 0.0005
    assert stats.state == "unstable" and stats.stable_since is None
    assert not stats.add(start, 25.0)  # older than the newest
    with pytest.raises(ValueError):
        vesk4710.Statistics(max_sd=-1)

