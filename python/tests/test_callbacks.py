"""Python's own progress, passcode and message handling, signals and threads."""

import signal
import socket
import threading
import time

import pytest

import vesk4710


class Stop(Exception):
    pass


def test_progress_reports_cancels_or_raises_and_the_session_goes_on(connect, messages):
    seen = []
    assert connect(progress=lambda text, percent: seen.append(percent)).QueryInfo()
    assert seen and all(0.0 <= p <= 100.0 for p in seen) and max(seen) == pytest.approx(100.0)

    def stop(text, percent):
        raise Stop(text)

    raising = connect(progress=stop)
    with pytest.raises(Stop):
        raising.QueryInfo()
    assert messages == []  # the exception tells it, not a message box
    assert raising.QueryIdentification() and raising.Model == "4710"
    cancelling = connect(progress=lambda text, percent: percent < 30)
    assert not cancelling.QueryInfo()
    assert messages  # told the query was aborted
    assert cancelling.QueryIdentification()  # still usable


def test_passcodes_from_a_queue_or_a_prompt_and_a_bad_answer(connect, messages, tmp_path):
    queued = connect(passcodes=["9999", "1234"], trace=str(tmp_path / "io.log"))
    assert queued.QueryInfo() and queued.ValidatePasscode()
    assert queued.Passcode == "1234"
    assert "A47100" in (tmp_path / "io.log").read_text(errors="replace")  # the trace
    answers, asked = iter(["0000", "1234"]), []
    prompted = connect(passcode=lambda: asked.append(True) or next(answers))
    assert prompted.QueryInfo() and prompted.ValidatePasscode()
    assert len(asked) == 2 and prompted.Passcode == "1234"
    assert "incorrect" in messages.texts()
    cancelled = connect(passcode=lambda: None)
    assert cancelled.QueryInfo() and not cancelled.ValidatePasscode()
    bad = connect(passcode=lambda: 1234)
    assert bad.QueryInfo()
    with pytest.raises(TypeError):
        bad.ValidatePasscode()


def test_a_signal_ends_a_wait_for_a_new_reading(inst):
    def on_alarm(signum, frame):
        raise Stop()

    assert inst.QueryInterval()
    before, inst.Interval = inst.Interval, vesk4710.INT_1_MIN
    assert inst.UpdateInterval()
    previous = signal.signal(signal.SIGALRM, on_alarm)
    started = time.monotonic()
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.2)
        with pytest.raises(Stop):
            for _ in range(3):  # the first call may find a reading nobody has fetched yet
                inst.QueryMeasurement(1, True)
        assert time.monotonic() - started < 5
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
    inst.Interval = before
    assert inst.UpdateInterval() and isinstance(inst.QueryMeasurement(1), float)


@pytest.mark.parametrize("by_name", [False, True])
def test_a_call_waiting_on_the_instrument_lets_other_threads_run(connect, by_name):
    # A listener that never answers: the request waits out its whole time-out.
    with socket.socket() as silent:
        silent.bind(("127.0.0.1", 0))
        silent.listen()
        inst = connect(device="tcp://127.0.0.1:%d" % silent.getsockname()[1], timeout_ms=2500)
        entering = threading.Event()
        errors = []

        def query():
            entering.set()
            try:
                inst.invoke("QueryUnits") if by_name else inst.QueryUnits()
            except vesk4710.AutomationError as e:
                errors.append(e)

        waiting = threading.Thread(target=query)
        started = time.monotonic()
        waiting.start()
        entering.wait()
        time.sleep(0.2)
        ran, still_waiting = time.monotonic() - started, waiting.is_alive()
        waiting.join()
    assert ran < 1.2 and still_waiting, "the waiting call held every other thread up"
    assert len(errors) == 1 and "did not reply" in errors[0].description


def test_threads_sharing_one_instrument_take_turns(connect):
    progress_threads = set()
    inst = connect(progress=lambda text, percent: progress_threads.add(threading.get_ident()))
    assert inst.QueryInfo()
    failures = []

    def repeat(times, step):
        try:
            for _ in range(times):
                assert step()
        except Exception as e:  # noqa: BLE001  (reported below)
            failures.append(e)

    def read():
        return (inst.Model == "4710" and inst.NumChannels == 2
                and isinstance(inst.QueryMeasurement(1), float)
                and inst.GetChannelReference(1).Probe.Serial == "S1001")

    threads = [threading.Thread(target=repeat, args=args)
               for args in ((15, inst.QueryInfo), (150, read), (150, read))]
    for t in threads:
        t.start()
    for t in threads:
        t.join(timeout=120)
    assert not any(t.is_alive() for t in threads), "a thread never finished"
    assert failures == []
    assert threading.get_ident() in progress_threads and len(progress_threads) == 2
