"""Files of readings as analysis tools read them: a download and `vesk4710 read --csv`, each
loaded with pandas as it is and checked against what the simulator served."""

import os
import subprocess

import pytest


def run(*args, cwd):
    # The download's raw transfer file lands in cwd too.
    done = subprocess.run([os.environ.get("VESK4710_CLI", "vesk4710"), *args], cwd=cwd,
                          env=dict(os.environ, TMPDIR=str(cwd)), capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_download_and_read_files_load_with_their_types_and_values(tmp_path):
    pd = pytest.importorskip("pandas")
    run("download", "--folder", str(tmp_path), cwd=tmp_path)
    (name,) = [n for n in os.listdir(tmp_path) if n.endswith(".csv")]
    (tmp_path / "read.csv").write_text(run("read", "--csv", "-n", "2", "--every", "0.2",
                                           cwd=tmp_path))
    log, live = (pd.read_csv(tmp_path / n, comment="#", float_precision="round_trip")
                 for n in (name, "read.csv"))
    for frame, ints in ((log, ["sequence", "channel", "label_number"]), (live, ["sequence"])):
        assert all(str(frame[c].dtype) == "int64" for c in ints) and frame.value.dtype == float
        assert frame.time.str.match(r"^\d{4}-\d\d-\d\dT[\d:.]+[-+]\d\d:\d\d$").all()
    served = [line.split(",") for line in
              (tmp_path / "TMPDWNLD.LOG").read_bytes().decode().split("\r") if line]
    assert [[str(r.sequence), r.time[:19], str(r.channel), str(r.label_number), r.label,
             r.value, r.unit] for r in log.itertuples()] == [
        [s, d.replace("/", "-") + "T" + t, c, n, lab, float(v), u]
        for s, d, t, c, n, lab, v, u in served]
    assert list(live.sequence) == [1, 2, 3, 4]
    # Sub-second times with their offset, a round apart.
    when = pd.to_datetime(live.time, utc=True)
    assert 0.15 < (when[2] - when[0]).total_seconds() < 5
