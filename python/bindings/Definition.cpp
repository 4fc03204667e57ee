// SPDX-License-Identifier: Apache-2.0

#include "bindings/Definition.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "recording/Record.h"
#include "zelta_error.h"
#include "zelta_expression.h"
#include "zelta_parse.h"

namespace py = pybind11;

namespace bindings {
namespace {

// Senders repeat a handful of definitions; a file of nothing but other ones does not fill the memory.
constexpr std::size_t mostRemembered = 256;

zelta::TypeRef parsed(std::span<const std::uint8_t> bytes) {
    zelta::TypeRef type;
    try {
        type = zelta::parseDatadefinition(bytes.data(), static_cast<unsigned int>(bytes.size()));
    } catch (const zelta::CryptError&) {
        throw recording::RecordError("The definition of the record is enciphered.");
    } catch (const zelta::ParseError&) {
        throw recording::RecordError("The definition of the record is damaged.");
    }
    if (!type) {
        throw recording::RecordError("The definition of the record is empty.");
    }
    return type;
}

// "<f4", ">u2"; bytes without a meaning where no number has such a size.
std::string numberCode(const zelta::IType& node) {
    const unsigned int size = node.size;
    const bool known = node.typeIdentifier() == zelta::TypeFloat
                           ? size == 4 || size == 8
                           : size == 1 || size == 2 || size == 4 || size == 8;
    if (!known) {
        return "V" + std::to_string(size);
    }
    const char* kind = "u";
    if (node.typeIdentifier() == zelta::TypeFloat) {
        kind = "f";
    } else if (node.typeIdentifier() == zelta::TypeSigned) {
        kind = "i";
    }
    return (node.endianess == zelta::EndianBig ? ">" : "<") + std::string(kind) + std::to_string(size);
}

py::object numpyType(const py::object& description) {
    return py::module_::import("numpy").attr("dtype")(description);
}

py::tuple shapeOf(const std::vector<unsigned int>& dimensions) {
    py::tuple shape(dimensions.size());
    for (std::size_t k = 0; k < dimensions.size(); ++k) {
        shape[k] = dimensions[k];
    }
    return shape;
}

py::object elementType(const zelta::IType& node);

py::object wholeType(const zelta::IType& node) {
    const py::object element = elementType(node);
    return node.dimensions.empty() ? element : numpyType(py::make_tuple(element, shapeOf(node.dimensions)));
}

// An expression finds the first of several members with the same name, and none without a name.
py::object structureType(const zelta::IType& node) {
    py::list names;
    py::list formats;
    py::list offsets;
    std::vector<std::string> seen;
    for (const zelta::TypeRef& member : node.children()) {
        const bool known = std::find(seen.begin(), seen.end(), member->name) != seen.end();
        if (member->name.empty() || member->size == 0 || known) {
            continue;
        }
        seen.push_back(member->name);
        names.append(member->name);
        formats.append(wholeType(*member));
        offsets.append(member->offset - node.offset);
    }
    py::dict description;
    description["names"] = names;
    description["formats"] = formats;
    description["offsets"] = offsets;
    description["itemsize"] = node.size;
    return numpyType(description);
}

// Of one element.
py::object elementType(const zelta::IType& node) {
    return node.typeIdentifier() == zelta::TypeStruct ? structureType(node)
                                                      : numpyType(py::str(numberCode(node)));
}

// The words of NumPy in those of this package.
template <typename Work>
auto inNumpy(const std::string& record, const Work& work) {
    try {
        return work();
    } catch (py::error_already_set& error) {
        throw recording::RecordError("The record " + record + " has no counterpart in NumPy: " +
                                     std::string(py::str(error.value())) + ".");
    }
}

}  // namespace

Definition::Definition(std::span<const std::uint8_t> bytes)
    : type_(parsed(bytes)), size_(zelta::typeSize(type_)) {}

py::object Definition::dtype() {
    if (!dtype_) {
        dtype_ = inNumpy(name(), [this] { return wholeType(*type_); });
    }
    return dtype_;
}

py::tuple Definition::place(const std::string& expression) const {
    unsigned int displacement = 0;
    unsigned int count = 0;
    zelta::TypeRef node;
    zelta::ZeltaTypeID id = zelta::ZeltaStruct;
    std::vector<unsigned int> open;
    try {
        node = zelta::typeFromExpression(type_, expression, displacement, count);
        zelta::subExpressionType(type_, expression, id, open);
    } catch (const zelta::Error&) {
        throw recording::RecordError("\"" + expression + "\" addresses nothing in the record " + name() +
                                     ".");
    }
    const std::uint64_t offset = static_cast<std::uint64_t>(node->offset) + displacement;
    return inNumpy(name(), [&] { return py::make_tuple(offset, elementType(*node), shapeOf(open)); });
}

std::shared_ptr<Definition> definitionOf(std::span<const std::uint8_t> bytes) {
    // Never destroyed: the interpreter, to which its types belong, ends first.
    static auto* const known = new std::unordered_map<std::string, std::shared_ptr<Definition>>;
    const std::string key(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (const auto found = known->find(key); found != known->end()) {
        return found->second;
    }
    auto made = std::make_shared<Definition>(bytes);
    if (known->size() >= mostRemembered) {
        known->clear();
    }
    known->emplace(key, made);
    return made;
}

void addDefinition(py::module_& module) {
    py::class_<Definition, std::shared_ptr<Definition>>(module, "Definition")
        .def(py::init([](const py::bytes& bytes) {
            const auto view = static_cast<std::string_view>(bytes);
            return definitionOf({reinterpret_cast<const std::uint8_t*>(view.data()), view.size()});
        }))
        .def_property_readonly("name", &Definition::name)
        .def_property_readonly("size", &Definition::size)
        .def_property_readonly("dtype", &Definition::dtype)
        .def("place", &Definition::place, py::arg("expression"));
}

}  // namespace bindings
