"""What a lab script does every day: each channel's own state, unprotected changes without
the passcode, silence when asked."""

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
