// The identification reply "maker, model, serial, firmware": split by the module routine and
// by the instrument object's query, which then decides whether this is a 4710 at all.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/support/modStrings.h"

using namespace vesk;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string id(reinterpret_cast<const char*>(data), size);
    std::string model;
    std::string serial;
    double firmware = -1;
    fuzz::Guard("ExtractModSerFWFromID",
                [&] { ExtractModSerFWFromID(id, model, serial, firmware); });

    const std::string unknown = LoadResString(183);
    const size_t commas = static_cast<size_t>(std::count(id.begin(), id.end(), ','));
    if (commas < 2 && (model != unknown || serial != unknown || firmware != 0)) {
        fuzz::Fail("an identification with fewer than two commas set fields");
    }
    if (commas == 2 && (serial != unknown || firmware != 0)) {
        fuzz::Fail("an identification with two commas set the serial or firmware");
    }
    for (const std::string* field : {&model, &serial}) {
        if (!field->empty() && (field->front() == ' ' || field->back() == ' ')) {
            fuzz::Fail("a field kept its surrounding blanks: '" + *field + "'");
        }
    }
    if (std::isnan(firmware)) {
        fuzz::Fail("the firmware version is not a number");
    }

    auto host = std::make_shared<fuzz::FuzzHost>();
    auto unit = CVesk4710::Create(host);
    unit->InitializeCommunications();
    host->comm->fallback = id;
    bool known = false;
    fuzz::Guard("QueryIdentification", [&] { known = unit->QueryIdentification(); });
    // (A reply starting with the failure mark stands for a failed request instead.)
    const bool failed = !id.empty() && id.front() == fuzz::kFailMark;
    if ((!failed && known != !id.empty()) ||
        (known &&
         (unit->Model() != model || unit->Serial() != serial || !(unit->Firmware() == firmware)))) {
        fuzz::Fail("QueryIdentification disagrees with ExtractModSerFWFromID");
    }
    unit->VerifyMinimumFirmware();
    // The whole query, answered by the same text throughout.
    fuzz::Guard("QueryInfo", [&] { unit->QueryInfo(); });
    return 0;
}
