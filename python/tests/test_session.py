"""A session against the embedded simulator: identification, device information, readings,
a channel update, a log download and the late-bound interface."""

import csv
import datetime
import math
import os

import pytest

import vesk4710
from conftest import SIM_PASSCODE


class TestIdentification:
    def test_query_info_fills_the_object_model(self, inst, messages):
        assert inst.Model == "4710"
        assert "4710" in inst.Identification
        assert inst.Serial
        assert inst.Firmware >= inst.MinFirmwareRequired
        assert inst.NumChannels == 2
        assert inst.NumModules == 2
        assert isinstance(inst.CalDate, datetime.date)
        assert not isinstance(inst.CalDate, datetime.datetime)
        assert isinstance(inst.Units, vesk4710.E4710Units)
        assert messages == []

    def test_modules_and_channels_are_numbered_across_the_instrument(self, inst):
        numbers = []
        for idx in range(inst.NumModules):
            card = inst.Modules(idx)
            assert isinstance(card, vesk4710.CVesk4710Card)
            assert card.BaseUnit is inst
            for c in range(card.NumChannels):
                ch = card.Channels(c)
                assert ch.Module is card
                numbers.append(ch.ActualChannel)
                assert inst.GetChannelReference(ch.ActualChannel) is ch
        assert numbers == [1, 2]
        assert [n for _, n in inst.FillChannelList()] == [1, 2]

    def test_identification_without_query_info(self, connect):
        fresh = connect()
        assert fresh.Model == "4710" and fresh.Identification == ""  # start-up defaults
        assert fresh.QueryIdentification() and "4710" in fresh.Identification


class TestReadings:
    def test_both_channels_give_finite_readings_and_others_raise(self, inst):
        for chan in (1, 2):
            value = inst.QueryMeasurement(chan)
            assert isinstance(value, float) and math.isfinite(value)
        with pytest.raises(vesk4710.AutomationError) as err:
            inst.QueryMeasurement(9)
        assert err.value.source.startswith("CVesk4710")


class TestChannelUpdate:
    def test_passcode_prompt_then_channel_update_reaches_the_instrument(self, connect,
                                                                         messages):
        asked = []
        answers = iter(["0000", SIM_PASSCODE])

        def passcode():
            asked.append(True)
            return next(answers)

        inst = connect(passcode=passcode)
        assert inst.QueryInfo()
        assert inst.ValidatePasscode()
        assert len(asked) == 2
        assert inst.Passcode == SIM_PASSCODE
        assert "incorrect" in messages.texts()

        ch = inst.GetChannelReference(2)
        assert ch.QueryInfo()
        choices = [d for _, d in ch.FillResolutionList() if d >= 0]
        new_resolution = next(d for d in choices if d != ch.Resolution)
        ch.Resolution = new_resolution
        ch.Probe.Serial = "PY-2"
        assert ch.Changed
        messages.clear()
        assert ch.UpdateInfo(), messages.texts()

        # A second session sees what the first one wrote.
        other = connect()
        assert other.QueryInfo()
        again = other.GetChannelReference(2)
        assert again.QueryInfo()
        assert again.Resolution == new_resolution
        assert again.Probe.Serial == "PY-2"

    def test_protected_update_without_passcode_fails_and_says_why(self, inst, messages):
        ch = inst.GetChannelReference(1)
        assert ch.QueryInfo()
        ch.Probe.Serial = "NOPE"
        assert not ch.UpdateInfo()
        assert "passcode" in messages.texts()
        # The object stays usable.
        assert ch.QueryInfo()


class TestDownload:
    def _rows(self, path):
        with open(path, encoding="utf-8", newline="") as f:
            return [row for row in csv.reader(f) if row]

    def test_demand_log_lands_in_the_download_folder(self, inst, tmp_path, messages):
        inst.Registry.set("DownloadFolder", str(tmp_path))
        assert inst.QueryDemandLogStatus()
        held = inst.DemandLogCount
        assert held > 0
        ok, labelnum, written = inst.DownloadLog(resol=2)
        assert ok and written and labelnum == 0
        files = sorted(os.listdir(tmp_path))
        assert len(files) == 1
        rows = self._rows(tmp_path / files[0])
        assert len(rows) >= held
        # Every reading row ends in value,unit with the decimals asked for.
        readings = [r for r in rows if r[-1] in ("C", "F", "K", "OHM", "mV")]
        assert len(readings) == held
        assert all(len(r[-2].split(".")[1]) == 2 for r in readings)

    def test_one_file_per_label_for_scripts(self, inst, tmp_path):
        inst.Registry.set("DownloadFolder", str(tmp_path))
        result = inst.DownloadLogFiles(opt=vesk4710.DOWNLOAD_MULTIPLE_FILES)
        assert result.outcome == "written"
        assert len(result.files) >= 2
        assert all(os.path.dirname(f) == str(tmp_path) for f in result.files)
        assert result.readings == result.count > 0


class TestLateBound:
    def test_member_table_in_interface_order(self):
        members = vesk4710.CVesk4710().members()
        assert members[0].name == "DVCICommError" and members[0].dispid == 1
        assert members[-1].name == "Communications"
        ids = [m.dispid for m in members]
        assert ids == sorted(ids)
        kinds = {(m.name, m.kind) for m in members}
        assert ("Model", vesk4710.MemberKind.Get) in kinds
        assert ("Model", vesk4710.MemberKind.Let) not in kinds

    def test_invoke_reads_writes_and_calls(self, inst):
        assert inst.invoke("model") == inst.Model
        inst.put("Resolution", 2)
        assert inst.Resolution == 2
        inst.invoke("Resolution", 3, kind="let")
        assert inst.invoke("Resolution") == 3
        ch = inst.invoke("GetChannelReference", 2)
        assert ch is inst.GetChannelReference(2)
        assert ch.invoke("ActualChannel") == 2
        assert isinstance(inst.invoke("QueryMeasurement", 1), float)
        assert inst.invoke("AutoPower") in (True, False)

    def test_by_reference_arguments_come_back(self, inst):
        ok, (label,) = inst.invoke("QueryLoggingLabel", "", byref=True)
        assert ok is True and label == inst.QueryLoggingLabel()[1]
        _, (filled,) = inst.invoke("FillChannelList", None, byref=True)
        assert isinstance(filled, vesk4710.ListBox)
        assert filled.items() == inst.FillChannelList()

    def test_objects_cross_and_come_back_intact(self, inst):
        registry = inst.invoke("Registry")
        assert isinstance(registry, vesk4710.Registry)
        card = vesk4710.CVesk4710Card()
        card.invoke("SetRegistry", registry)
        assert card.Registry is not None
        assert inst.invoke("Communications").class_name == "Communications"
