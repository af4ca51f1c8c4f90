// Readings: measuring on and off, channel state, one reading of a channel, units lists.
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/Delay.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

bool CVesk4710::StartMeasure() {
    try {
        detail::WriteSetting(*Session(), SET_START_MEASURE);
        return true;
    } catch (...) {
        Rethrow("StartMeasure");
    }
}

bool CVesk4710::StopMeasure() {
    try {
        detail::WriteSetting(*Session(), SET_STOP_MEASURE);
        return true;
    } catch (...) {
        Rethrow("StopMeasure");
    }
}

// The reply is the instrument's input state word; only input 1 is read from it.
bool CVesk4710::QueryChannelState(int16_t idx) {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_CHANNEL_STATE);
        if (idx != 1) {
            return false;
        }
        return (CInt32(Val(reply)) & 1) == 0;
    } catch (...) {
        Rethrow("QueryChannelState");
    }
}

double CVesk4710::QueryMeasurement(int16_t chan, bool waitfornew) {
    const auto invalidChannel = [this] {
        return AutomationError(kErrInvalidChannel, LoadResString(216),
                               std::string(detail::kClassPrefix) + "QueryMeasurement",
                               vesk::HelpFile(), dvciCommError_);
    };
    if (chan != -1 && (chan < 1 || chan > numChannels_)) {
        throw invalidChannel();
    }
    // The selection is used as it stands: clients select the channel number they want.
    if (chan == -1) {
        if (selectedChannel_ == -1) {
            throw invalidChannel();
        }
        chan = selectedChannel_;
    }
    try {
        auto comm = Session();
        comm->params().ClearAll();
        if (waitfornew) {
            // No time-out on purpose: the wait ends when the instrument has a new reading.
            while (!detail::Contains(comm->ReadSetting(SET_READING_STATE, true, ""), "16")) {
                Delay(host_->Ui(), 1000);
            }
        }

        // A module holds one channel: the channel's module sits at chan - 1.
        int32_t conversion = -1;
        if (auto module = Modules(static_cast<int16_t>(chan - 1))) {
            if (auto channel = module->Channels(0)) {
                if (auto probe = channel->Probe()) {
                    conversion = probe->ConversionType();
                }
            }
        }
        // Volts and the ohms of a platinum probe or a thermistor are raw sensor values;
        // voltage inputs answer on their own setting in thousandths of the reading's unit.
        const bool raw = conversion == kConvVolts || conversion == kConvPRTOhms ||
                         conversion == kConvThermistorOhms || units_ == UNITS_RAW_VALUE;

        comm->params().Channel(NumberText(chan));
        std::string reply;
        if (!raw) {
            reply = comm->ReadSetting(SET_TEMPERATURE, true, "");
        } else if (conversion == kConvVolts || conversion == kConvThermocouple) {
            // Scaled through the default number text (15 digits), kept period-decimal so that
            // the locale cannot change the value.
            reply = ToInvariantDecimal(
                NumberText(Val(comm->ReadSetting(SET_RAW_MILLI, true, "")) / 1000.0));
        } else {
            reply = comm->ReadSetting(SET_RAW_VALUE, true, "");
        }
        return Val(reply);
    } catch (...) {
        const PendingError pending = CapturePendingError();
        throw AutomationError(pending.number, LoadResString(219),
                              std::string(detail::kClassPrefix) + "QueryMeasurement",
                              vesk::HelpFile(), dvciCommError_);
    }
}

void CVesk4710::FillRTLSUnitsList(IListControl& lst, bool keepexisting) {
    try {
        lst.Clear();
        const auto add = [&lst](const std::string& text, int32_t data) {
            lst.AddItem(text);
            lst.ItemData(lst.NewIndex(), data);
        };
        if (keepexisting) {
            add(UnitsText(UNITS_NONE), UNITS_NONE);
        }
        add(LoadResString(366), UNITS_RAW_VALUE);
        add(UnitsText(UNITS_DEGREESC), UNITS_DEGREESC);
        add(UnitsText(UNITS_DEGREESF), UNITS_DEGREESF);
    } catch (...) {
        Rethrow("FillRTLSUnitsList");
    }
}

// The instrument's own units: Celsius, Fahrenheit and kelvin.
void CVesk4710::FillUnitsList(IListControl& lst, bool keepexisting) {
    try {
        lst.Clear();
        const auto add = [&lst](int16_t code) {
            lst.AddItem(UnitsText(code));
            lst.ItemData(lst.NewIndex(), code);
        };
        if (keepexisting) {
            add(UNITS_NONE);
        }
        add(UNITS_DEGREESC);
        add(UNITS_DEGREESF);
        add(2);
    } catch (...) {
        Rethrow("FillUnitsList");
    }
}

}  // namespace vesk
