"""A session against the embedded simulator as Python sees it: the object tree, downloads and
the late-bound interface."""

import os

import vesk4710


def test_query_info_fills_the_object_tree_with_python_values(inst, messages):
    numbers = []
    for idx in range(inst.NumModules):
        card = inst.Modules(idx)
        assert isinstance(card, vesk4710.CVesk4710Card) and card.BaseUnit is inst
        for c in range(card.NumChannels):
            ch = card.Channels(c)
            assert ch.Module is card
            assert inst.GetChannelReference(ch.ActualChannel) is ch
            numbers.append(ch.ActualChannel)
    assert numbers == [1, 2]
    assert [n for _, n in inst.FillChannelList()] == [1, 2]
    assert messages == []


def test_downloads_return_their_results(inst, tmp_path):
    inst.Registry.set("DownloadFolder", str(tmp_path))
    assert inst.QueryDemandLogStatus()
    # ok, labelnum, written; the file's readings and decimals: the tool's download test.
    assert inst.DownloadLog(resol=2) == (True, 0, True)
    assert len(os.listdir(tmp_path)) == 1

    result = inst.DownloadLogFiles(opt=vesk4710.DOWNLOAD_MULTIPLE_FILES)
    assert result.outcome == "written" and result.readings == result.count > 0
    assert len(result.files) >= 2
    assert all(os.path.dirname(f) == str(tmp_path) for f in result.files)


def test_invoke_reads_writes_calls_and_hands_back_by_reference(inst):
    inst.put("Resolution", 2)
    assert inst.Resolution == 2
    inst.invoke("Resolution", 3, kind="let")
    assert inst.invoke("Resolution") == 3
    ch = inst.invoke("GetChannelReference", 2)
    assert ch is inst.GetChannelReference(2)
    assert isinstance(inst.invoke("QueryMeasurement", 1), float)
    ok, (label,) = inst.invoke("QueryLoggingLabel", "", byref=True)
    assert ok is True and label == inst.QueryLoggingLabel()[1]
    _, (filled,) = inst.invoke("FillChannelList", None, byref=True)
    assert isinstance(filled, vesk4710.ListBox) and filled.items() == inst.FillChannelList()
    registry = inst.invoke("Registry")
    assert isinstance(registry, vesk4710.Registry)
    card = vesk4710.CVesk4710Card()
    card.invoke("SetRegistry", registry)
    assert card.Registry is not None
    assert inst.invoke("Communications").class_name == "Communications"
