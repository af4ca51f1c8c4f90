"""Files of readings as analysis tools read them: a download and `vesk4710 read --csv`, each
loaded with pandas as it is and checked against what the simulator served."""

import os
import re
import subprocess

import pytest

import vesk4710

CLI = os.environ.get("VESK4710_CLI", "vesk4710")


def run(*args, cwd):
    # The download's raw transfer file lands in cwd too.
    env = dict(os.environ, TMPDIR=str(cwd))
    done = subprocess.run([CLI, *args], cwd=cwd, env=env, capture_output=True, text=True,
                          timeout=60)
    assert done.returncode == 0, done.stderr
    return done.stdout


def load(pd, path):
    frame = pd.read_csv(path, comment="#")
    # Every time carries its offset: read as instants, they need no time zone guessed.
    frame["instant"] = pd.to_datetime(frame["time"], utc=True)
    assert frame["time"].str.match(r"^\d{4}-\d\d-\d\dT[\d:.]+[-+]\d\d:\d\d$").all()
    return frame


def test_download_and_read_files_load_with_their_types_and_values(tmp_path):
    pd = pytest.importorskip("pandas")
    run("download", "--folder", str(tmp_path), cwd=tmp_path)
    (name,) = [n for n in os.listdir(tmp_path) if n.endswith(".csv")]
    raw = (tmp_path / "TMPDWNLD.LOG").read_bytes().decode()
    served = [line.split(",") for line in raw.split("\r") if line]
    log = load(pd, tmp_path / name)
    assert list(log.columns[:7]) == [
        "sequence", "time", "channel", "label_number", "label", "value", "unit"]
    assert [str(log[c].dtype) for c in ("sequence", "channel", "label_number", "value")] == [
        "int64", "int64", "int64", "float64"]
    assert len(log) == len(served) > 0
    for row, line in zip(log.itertuples(), served):
        seq, date, clock, channel, label_number, label, value, unit = line
        assert (row.sequence, row.channel, row.label_number) == (
            int(seq), int(channel), int(label_number))
        assert row.time.startswith(date.replace("/", "-") + "T" + clock)
        assert (row.label, row.value, row.unit) == (label, float(value), unit)

    csv = tmp_path / "read.csv"
    csv.write_text(run("read", "--csv", "--count", "2", "--every", "0.2", cwd=tmp_path))
    live = load(pd, csv)
    assert [str(live[c].dtype) for c in ("sequence", "channel", "value")] == [
        "int64", "int64", "float64"]
    assert list(live["sequence"]) == [1, 2, 3, 4]
    assert list(live["channel"]) == [1, 2, 1, 2]
    assert list(live["unit"]) == ["C"] * 4
    # Sub-second times, a round apart.
    gap = (live["instant"][2] - live["instant"][0]).total_seconds()
    assert 0.15 < gap < 5
    assert live["value"][0] == pytest.approx(25, abs=1) and live["value"][1] == pytest.approx(
        150, abs=1)


def test_measurement_text_keeps_the_digits_sent(inst):
    # The simulator sends temperatures with four places, trailing zeros included.
    text = vesk4710.measurement_text(inst, 1)
    assert re.fullmatch(r"-?\d+\.\d{4}", text) and float(text) == pytest.approx(25, abs=1)
