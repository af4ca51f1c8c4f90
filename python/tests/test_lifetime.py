"""Objects Python keeps after their owners are gone fail with the library's error."""

import gc
import weakref


def test_channels_outlive_their_instrument_and_module(connect, messages):
    inst = connect()
    assert inst.QueryInfo()
    ch = inst.GetChannelReference(2)
    card = ch.Module
    assert ch.BaseUnit is inst
    lone = inst.Modules(0).Channels(0)  # its module is not kept either
    ref = weakref.ref(inst)
    del inst
    gc.collect()

    assert ref() is None  # nothing keeps the instrument alive
    assert ch.BaseUnit is None and card.BaseUnit is None
    assert lone.Module is None and lone.BaseUnit is None
    assert not ch.QueryInfo()
    assert "424" in messages.texts() and "released" in messages.texts()
    messages.clear()
    assert lone.invoke("QueryInfo") is False
    assert "424" in messages.texts()
    messages.clear()
    assert not ch.UpdateInfo()
    assert messages
    assert ch.ActualChannel == ch.invoke("ActualChannel") == 2
