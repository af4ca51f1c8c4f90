"""What a lab script does every day: each channel's own state, unprotected changes without
the passcode, silence when asked."""

import os

import vesk4710


def test_every_channel_that_is_on_is_shown_on_with_its_probe(inst):
    assert vesk4710.read_channel_states(inst) == [1, 2]
    second = inst.GetChannelReference(2)
    assert second.Enabled and second.Probe.Serial == "TC2002"


def test_an_unprotected_change_needs_no_passcode(inst, messages):
    assert inst.QueryPasscodeState()
    assert inst.PasscodeState == vesk4710.E4710PasscodeState.PS_DISABLED  # locked
    channel = inst.GetChannelReference(1)
    assert channel.QueryInfo()
    before = channel.MINOP
    channel.MINOP = before + 3
    assert channel.UpdateMINOP() and channel.QueryMINOP()
    assert channel.MINOP == before + 3 and not messages
    channel.MINOP = before
    assert channel.UpdateMINOP()


def test_the_automatic_log_downloads_and_an_empty_one_says_so(inst, tmp_path):
    inst.Registry.set("DownloadFolder", str(tmp_path))
    result = vesk4710.download_auto_log(inst)
    assert result.outcome == "written" and result.readings == result.count > 0
    with open(result.files[0], encoding="utf-8") as f:
        assert "# log: auto\n" in f.read()
    assert inst.ClearAutoLog()
    empty = vesk4710.download_auto_log(inst)
    assert empty.outcome == "no_readings" and not empty.files
    assert len(os.listdir(tmp_path)) == 1


def test_kelvin_is_a_named_unit_the_instrument_keeps(inst):
    inst.Units = vesk4710.UNITS_KELVIN
    assert inst.UpdateUnits() and inst.QueryUnits()
    assert inst.Units == vesk4710.UNITS_KELVIN == 2
    inst.Units = vesk4710.UNITS_DEGREESC
    assert inst.UpdateUnits()


def test_without_the_console_nothing_is_written(capfd):
    inst = vesk4710.connect(console=False)
    assert inst.QueryInfo()
    channel = inst.GetChannelReference(1)
    # Refused (locked), which the channel tells the user about: here, nobody.
    assert not channel.UpdateSerialNumber()
    assert capfd.readouterr() == ("", "")
