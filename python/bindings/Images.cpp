// SPDX-License-Identifier: Apache-2.0

#include "bindings/Images.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "figures/Confidence.h"
#include "simulation/RawPacking.h"

namespace py = pybind11;

namespace bindings {
namespace {

constexpr int flags = py::array::c_style | py::array::forcecast;

py::bytes packed(const py::array_t<std::uint16_t, flags>& samples) {
    const std::vector<std::uint8_t> bytes =
        simulation::packRawImage({samples.data(), static_cast<std::size_t>(samples.size())});
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

py::array_t<std::uint16_t> unpacked(const py::array_t<std::uint8_t, flags>& bytes) {
    const std::vector<std::uint16_t> samples =
        simulation::unpackRawImage({bytes.data(), static_cast<std::size_t>(bytes.size())});
    return py::array_t<std::uint16_t>({simulation::imageHeight, simulation::imageWidth}, samples.data());
}

py::array_t<bool> usable(const py::array_t<float, flags>& distance,
                         const py::array_t<std::uint8_t, flags>& confidence) {
    if (distance.size() != confidence.size()) {
        throw std::invalid_argument("The distance and the confidence have different sizes.");
    }
    py::array_t<bool> mask(std::vector<py::ssize_t>(distance.shape(), distance.shape() + distance.ndim()));
    bool* const values = mask.mutable_data();
    for (py::ssize_t k = 0; k < distance.size(); ++k) {
        values[k] = figures::isUsable(confidence.data()[k], distance.data()[k]);
    }
    return mask;
}

}  // namespace

void addImages(py::module_& module) {
    module.def("pack_raw_image", &packed, py::arg("samples"));
    module.def("unpack_raw_image", &unpacked, py::arg("data"));
    module.def("usable", &usable, py::arg("distance"), py::arg("confidence"));
}

}  // namespace bindings
