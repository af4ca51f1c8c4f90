"""What a lab script does every day: each channel's own state, the automatic log, silence
when asked."""

import os

import vesk4710


def test_every_channel_that_is_on_is_shown_on_with_its_probe(inst):
    assert vesk4710.read_channel_states(inst) == [1, 2]
    second = inst.GetChannelReference(2)
    assert second.Enabled and second.Probe.Serial == "TC2002"


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


def test_without_the_console_nothing_is_written(capfd):
    inst = vesk4710.connect(console=False)
    assert inst.QueryInfo()
    # Refused (locked), which the channel tells the user about: here, nobody.
    assert not inst.GetChannelReference(1).UpdateSerialNumber()
    assert capfd.readouterr() == ("", "")
