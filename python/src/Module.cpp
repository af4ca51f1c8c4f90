// The vesk4710 Python module.
#include "python/src/Objects.h"
#include "python/src/PyHost.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/Version.h"

PYBIND11_MODULE(vesk4710, m) {
    namespace py = pybind11;
    using namespace vesk;
    using namespace vesk::python;

    m.doc() =
        "Driver for the Vesk Scientific 4710 multi-channel reference thermometer readout.\n\n"
        "    import vesk4710\n"
        "    inst = vesk4710.connect()            # the embedded simulator\n"
        "    inst.QueryInfo()\n"
        "    print(inst.Model, inst.Serial, inst.QueryMeasurement(1))\n\n"
        "Classes CVesk4710, CVesk4710Card and CVesk4710Channel carry the members of the "
        "automation interface under their own names; every class also answers late-bound "
        "calls (invoke, put, members). Errors are raised as AutomationError.";
    m.attr("__version__") = LibraryVersion();

    RegisterErrors(m);
    RegisterEnums(m);
    RegisterHost(m);
    RegisterObjects(m);
    RegisterStatistics(m);

    // Every class exists before any member is added, so that signatures name them.
    py::class_<CVesk4710, IDispatchable, std::shared_ptr<CVesk4710>>(
        m, "CVesk4710",
        "One 4710 readout: cached settings, the communications session, the modules and "
        "channels, readings, logs and calibration parameters.");
    py::class_<CVesk4710Card, IDispatchable, std::shared_ptr<CVesk4710Card>>(
        m, "CVesk4710Card", "One input module of the readout and the channels it carries.");
    py::class_<CVesk4710Channel, IDispatchable, std::shared_ptr<CVesk4710Channel>>(
        m, "CVesk4710Channel",
        "One measurement input: its probe and the settings the instrument keeps for it. A "
        "channel refers to its module and instrument weakly: once they are gone its "
        "operations fail with the library's error (reported, returning False) instead of "
        "reaching a dead object.");

    RegisterInstrument(m);
    RegisterCardAndChannel(m);
    RegisterSession(m);
    RegisterRecorder(m);
}
