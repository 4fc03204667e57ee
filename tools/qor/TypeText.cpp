// SPDX-License-Identifier: Apache-2.0

#include "qor/TypeText.h"

#include <fmt/format.h>

namespace qor {

std::string kindText(const zelta::IType& type) {
    const bool isInteger = type.size == 1 || type.size == 2 || type.size == 4 || type.size == 8;
    const bool isFloat = type.size == 4 || type.size == 8;
    switch (type.typeIdentifier()) {
        case zelta::TypeSigned:
            return isInteger ? fmt::format("int{}", 8 * type.size)
                             : fmt::format("signed of {} bytes", type.size);
        case zelta::TypeUnsigned:
            return isInteger ? fmt::format("uint{}", 8 * type.size)
                             : fmt::format("unsigned of {} bytes", type.size);
        case zelta::TypeFloat:
            return isFloat ? fmt::format("float{}", 8 * type.size)
                           : fmt::format("float of {} bytes", type.size);
        case zelta::TypeStruct:
            return "struct";
    }
    return "unknown";
}

std::string dimensionText(const std::vector<unsigned int>& dimensions) {
    std::string text;
    for (const unsigned int dimension : dimensions) {
        text += fmt::format("[{}]", dimension);
    }
    return text;
}

}  // namespace qor
