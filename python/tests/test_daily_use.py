"""What a lab script does every day: each channel's own state, silence when asked."""

import vesk4710


def test_every_channel_that_is_on_is_shown_on_with_its_probe(inst):
    assert vesk4710.read_channel_states(inst) == [1, 2]
    second = inst.GetChannelReference(2)
    assert second.Enabled and second.Probe.Serial == "TC2002"


def test_without_the_console_nothing_is_written(capfd):
    inst = vesk4710.connect(console=False)
    assert inst.QueryInfo()
    # Refused (locked), which the channel tells the user about: here, nobody.
    assert not inst.GetChannelReference(1).UpdateSerialNumber()
    assert capfd.readouterr() == ("", "")
