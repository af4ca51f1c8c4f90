#pragma once
// Requests the programs make beside the library's own: each channel's own state, a log's fill,
// the download of the automatic log, and a reading as the instrument sent it.
#include <cstdint>
#include <string>

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"

namespace vesk {

// Whether the channel (instrument-wide number) is on, asked of that channel itself: the
// instrument object's QueryChannelState answers for channel 1 only. A reply that is not a
// whole number fails with kCommMalformedReply.
bool ChannelIsOn(CVesk4710& inst, int16_t channel);

// The readings a log holds, from its status "free,held" (setting id: the demand or the
// automatic log's). The library takes an unreadable status for an empty log; here it fails
// with kCommMalformedReply, naming the log, with source as its source.
int32_t LogHeld(CVesk4710& inst, int32_t id, const std::string& log, const std::string& source);

// The automatic log into download files like the demand log's (next free name, written whole,
// marked when incomplete), through its own status and transfer requests. NoReadings when the
// log (or the label asked for) holds none.
DownloadResult DownloadAutoLog(CVesk4710& inst, const DownloadRequest& request,
                               const std::string& source);

// QueryMeasurement's reading as the instrument sent it, trailing zeros and all, in the unit
// the tools show (emf moved from microvolts to millivolts, every digit kept); the number in
// *value. Without the reply at hand (another communications component) the number's shortest
// text. A reply that is no number fails with kCommMalformedReply: the library would read
// "OVER" as 0.
std::string MeasurementText(CVesk4710& inst, int16_t chan, bool waitForNew,
                            double* value = nullptr);

}  // namespace vesk
