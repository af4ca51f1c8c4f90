"""The example script runs against the simulator and writes its CSV."""

import csv
import pathlib
import subprocess
import sys

EXAMPLE = pathlib.Path(__file__).resolve().parents[1] / "examples" / "read_channels.py"


def test_read_channels_for_two_seconds(tmp_path):
    out = tmp_path / "readings.csv"
    done = subprocess.run(
        [sys.executable, str(EXAMPLE), "--seconds", "2", "--output", str(out)],
        capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stderr
    with open(out, newline="", encoding="utf-8") as f:
        rows = list(csv.DictReader(f))
    assert [r["channel"] for r in rows] == ["1", "2", "1", "2"]
    assert all(float(r["value"]) == float(r["value"]) for r in rows)
