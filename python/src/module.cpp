// The module sorvane._engine: what the Python package needs of the engine. What the engine throws
// becomes MemoryError, ValueError (std::length_error) or RuntimeError.

#include "model.h"
#include "processor.h"

#include <sorvane_engine.h>

namespace py = pybind11;

PYBIND11_MODULE(_engine, module) {
    using namespace sorvane::python;

    module.attr("version") = SORVANE_VERSION;
    module.attr("BUS_GAIN") = static_cast<int>(SORVANE_BUS_GAIN);
    module.attr("BUS_SENSITIVITY") = static_cast<int>(SORVANE_BUS_SENSITIVITY);

    py::class_<Processor>(module, "Processor")
        .def(py::init<const std::string&, int, double>())
        .def("process", &Processor::process)
        .def("reset", &Processor::reset)
        .def("close", &Processor::close)
        .def("parameter", &Processor::parameter)
        .def("set_parameter", &Processor::setParameter)
        .def("bus_name", &Processor::busName)
        .def_property_readonly("closed", &Processor::isClosed)
        .def_property_readonly("num_busses", &Processor::numBusses)
        .def_property_readonly("latency", &Processor::latency)
        .def_property_readonly("seconds_per_hop", &Processor::secondsPerHop);

    py::class_<Model>(module, "Model")
        .def(py::init<const std::string&>())
        .def("run", &Model::run)
        .def("reset", &Model::reset)
        .def("close", &Model::close)
        .def("info", &Model::info)
        .def_property_readonly("closed", &Model::isClosed);
}
