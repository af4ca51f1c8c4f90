"""The error class and how numbers, texts, enumerations and dates cross into Python."""

import datetime

import pytest

import vesk4710


def test_library_errors_carry_all_five_fields(inst):
    with pytest.raises(vesk4710.AutomationError) as err:
        inst.Modules(7)
    e = err.value
    assert (e.number, e.source, e.help_file, e.help_context) == (
        vesk4710.OBJECT_ERROR_BASE + 1002, "CVesk4710 - Modules", inst.HelpFile, inst.DVCICommError)
    assert "0x800403EA" in str(e) and e.source in str(e)
    with pytest.raises(vesk4710.AutomationError) as err:
        inst.invoke("QueryMeasurement", object())
    assert err.value.number == 13


def test_integers_overflow_round_half_to_even_and_texts_that_are_not_utf8_round_trip():
    ch = vesk4710.CVesk4710Channel()
    with pytest.raises(vesk4710.AutomationError) as err:
        ch.Resolution = 40000
    assert err.value.number == 6
    ch.Resolution = 2.5  # half to even, as automation coercion rounds
    assert ch.Resolution == 2
    ch.RJCTemperatureFormat = b"\xff\xfe0.00".decode("utf-8", "surrogateescape")
    assert ch.RJCTemperatureFormat.encode("utf-8", "surrogateescape") == b"\xff\xfe0.00"


def test_properties_hand_out_members_and_take_plain_ints(inst):
    for given, member in ((1, vesk4710.SM_SCAN), (vesk4710.SM_SIMULTANEOUS,) * 2):
        inst.ScanMode = given
        assert inst.ScanMode is member
    with pytest.raises(TypeError):
        inst.ScanMode = "scan"
    inst.Units = 2  # kelvin has no member
    assert inst.Units == 2 and type(inst.Units) is int
    inst.Units = vesk4710.UNITS_DEGREESF
    assert inst.Units is vesk4710.E4710Units.UNITS_DEGREESF


def test_dates_are_datetime_values():
    inst = vesk4710.CVesk4710()
    inst.SystemClock = clock = datetime.datetime(2024, 3, 7, 12, 34, 56)
    inst.CalDate = datetime.date(2023, 2, 28)
    assert inst.SystemClock == inst.invoke("SystemClock") == clock
    assert inst.CalDate == inst.invoke("CalDate") == datetime.date(2023, 2, 28)
