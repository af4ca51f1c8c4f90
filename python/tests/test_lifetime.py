"""Objects Python keeps after their owners are gone fail with the library's error."""

import gc
import weakref

import vesk4710


def _drop(inst):
    ref = weakref.ref(inst)
    del inst
    gc.collect()
    return ref


class TestLifetime:
    def test_channel_outlives_its_instrument(self, connect, messages):
        inst = connect()
        assert inst.QueryInfo()
        ch = inst.GetChannelReference(2)
        card = ch.Module
        assert ch.BaseUnit is inst
        del inst
        gc.collect()

        assert ch.BaseUnit is None
        assert card.BaseUnit is None
        assert not ch.QueryInfo()
        assert "424" in messages.texts() and "released" in messages.texts()
        messages.clear()
        assert not ch.UpdateInfo()
        assert messages
        # Its own values are still there.
        assert ch.ActualChannel == 2
        assert ch.invoke("ActualChannel") == 2

    def test_channel_outlives_instrument_and_module(self, connect, messages):
        inst = connect()
        assert inst.QueryInfo()
        ch = inst.Modules(0).Channels(0)
        del inst
        gc.collect()
        assert ch.Module is None and ch.BaseUnit is None
        assert ch.invoke("QueryInfo") is False
        assert "424" in messages.texts()

    def test_nothing_keeps_the_instrument_alive(self, connect):
        inst = connect()
        assert inst.QueryInfo()
        channels = [inst.GetChannelReference(n) for n in (1, 2)]
        ref = weakref.ref(inst)
        del inst
        gc.collect()
        assert ref() is None
        assert all(ch.BaseUnit is None for ch in channels)

    def test_a_channel_made_alone_has_no_instrument(self, messages):
        ch = vesk4710.CVesk4710Channel()
        assert ch.BaseUnit is None and ch.Module is None
        assert ch.Probe is not None
