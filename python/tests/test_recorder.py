"""The recorder inside a Python program: it records the embedded simulator while the same
program talks to the instrument through the recorder's endpoint."""

import sqlite3
import time

import vesk4710


def test_records_while_a_client_uses_the_endpoint(tmp_path):
    db = tmp_path / "bath.db"
    with vesk4710.Recorder(str(db), device="sim:31", channels=[1, 2], every="20ms",
                           name="bath", serve="tcp://127.0.0.1:0") as recorder:
        assert recorder.running
        inst = vesk4710.connect(recorder.endpoints[0])
        assert inst.QueryIdentification(True) and inst.Serial == "A47100"
        deadline = time.monotonic() + 5
        while recorder.rounds < 3 and time.monotonic() < deadline:
            time.sleep(0.01)
        assert recorder.status()[0]["state"] == "recording"
    status = recorder.status()[0]
    assert status["name"] == "bath" and status["state"] == "stopped"
    with sqlite3.connect(db) as conn:
        rows = conn.execute("SELECT channel, unit, value_text, value FROM readings_view").fetchall()
    assert status["readings"] == len(rows) > 0
    assert {r[0] for r in rows} == {1, 2}
    assert all(float(text) == value for _, _, text, value in rows)

