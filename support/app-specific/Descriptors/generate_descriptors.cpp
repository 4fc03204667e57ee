// SPDX-License-Identifier: Apache-2.0
//
// Turns the descriptions of the records that leave the process into their data definitions: writes a source
// file with a constant array and a getter for each. Runs at build time; the layout is the same on every
// target.
#include <fstream>
#include <iostream>
#include <string>
#include <type_traits>
#include <vector>

#include "ALLayout.h"
#include "QorDICIRecords.h"
#include "QorData.h"
#include "QorDescriptors.h"
#include "zelta_parse.h"

namespace {

/** Kind of a number on the wire. */
template <class T>
constexpr zelta::TypeIdentifier typeIdentifierOf() {
    switch (layout::kindOf<T>()) {
        case layout::Kind::Float:
            return zelta::TypeFloat;
        case layout::Kind::Unsigned:
            return zelta::TypeUnsigned;
        default:
            return zelta::TypeSigned;
    }
}

/** Lengths of an array, the outermost first; empty for anything else. */
template <class T>
void appendDimensions(std::vector<unsigned int>& dimensions) {
    if constexpr (std::is_array_v<T>) {
        dimensions.push_back(static_cast<unsigned int>(std::extent_v<T>));
        appendDimensions<std::remove_extent_t<T>>(dimensions);
    }
}

template <class Record>
std::vector<zelta::TypeRef> membersOf(std::size_t offset);

/** The node of a member of type T that lies at `offset` of the outermost record. */
template <class T>
zelta::TypeRef nodeOf(std::string_view name, std::size_t offset) {
    using Element = std::remove_all_extents_t<T>;
    std::vector<unsigned int> dimensions;
    appendDimensions<T>(dimensions);
    const auto position = static_cast<int>(offset);
    constexpr auto size = static_cast<unsigned int>(sizeof(Element));
    if constexpr (describe::Described<Element>) {
        return zelta::TypeRef(new zelta::StructType(std::string(name), dimensions, position, size,
                                                    zelta::EndianLittle, membersOf<Element>(offset)));
    } else {
        return zelta::TypeRef(new zelta::ElementaryType(std::string(name), dimensions, position, size,
                                                        zelta::EndianLittle, typeIdentifierOf<Element>()));
    }
}

/** The members' nodes. References have none, because an address means nothing in another process. */
template <class Record>
std::vector<zelta::TypeRef> membersOf(std::size_t offset) {
    std::vector<zelta::TypeRef> nodes;
    describe::forEachMember<Record>([&]<class Member>(const Member& member) {
        using T = typename Member::Type;
        if constexpr (!isReference<std::remove_all_extents_t<T>>) {
            nodes.push_back(nodeOf<T>(member.name, offset + member.offset));
        }
    });
    return nodes;
}

template <class Record>
void writeDescriptor(std::ostream& out) {
    const std::string name(describe::kName<Record>);
    const std::string definition = zelta::createDatadefinition(nodeOf<Record>(name, 0));
    out << "\nextern const unsigned char g_desc_" << name << "[];\nextern const zelta_size_t g_size_" << name
        << ";\nalignas(4) const unsigned char g_desc_" << name << "[] = {";
    for (std::size_t i = 0; i < definition.size(); ++i) {
        out << (i % 20 == 0 ? "\n    " : " ") << static_cast<int>(static_cast<unsigned char>(definition[i]))
            << ",";
    }
    out << "\n};\nconst zelta_size_t g_size_" << name << " = " << definition.size() << ";\nvoid zeltaGet_"
        << name
        << "(const void** dataDescriptionBuffer, zelta_size_t* bufferSize) {\n    *dataDescriptionBuffer = "
           "g_desc_"
        << name << ";\n    *bufferSize = g_size_" << name << ";\n}\n";
}

/** The rows of a record's table, down to level `depth`. */
template <class Record>
void printRows(unsigned int depth) {
    std::cout << "\ninline constexpr Row k" << describe::kName<Record> << "[] = {\n";
    const auto print = [](const layout::Row& row) {
        std::cout << "    {" << row.level << ", \"" << row.name << "\", {";
        if (row.dimensions[0] != 0) {
            std::cout << row.dimensions[0];
        }
        if (row.dimensions[1] != 0) {
            std::cout << ", " << row.dimensions[1];
        }
        std::cout << "}, "
                  << "SUFR"[static_cast<int>(row.kind)] << ", " << row.size << ", " << row.offset << "},\n";
    };
    layout::visitRows<Record>(describe::kName<Record>, 0, depth, 0, print);
    std::cout << "};\n";
}

void writeDescriptors(std::ostream& out) {
    out << "// Made by generate_descriptors from the descriptions of the records; changes belong there.\n"
           "#include \"QorDescriptors.h\"\n";
#define QOR_WRITE(record) writeDescriptor<record>(out);
    QOR_RECORDS_ON_THE_WIRE(QOR_WRITE)
#undef QOR_WRITE
}

void printTables(unsigned int depth) {
#define QOR_PRINT(record) printRows<record>(depth);
    QOR_RECORDS_ON_THE_WIRE(QOR_PRINT)
#undef QOR_PRINT
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments == std::vector<std::string>{"--rows"}) {
        printTables(layout::kAllLevels);
        return 0;
    }
    if (arguments == std::vector<std::string>{"--members"}) {
        printTables(1);
        return 0;
    }
    if (arguments.size() != 1) {
        std::cerr
            << "usage: generate_descriptors FILE | --rows | --members\n"
               "  --rows     prints the tables of the layouts, --members those with the first level alone\n";
        return 2;
    }
    std::ofstream out(argv[1]);
    writeDescriptors(out);
    out.close();
    if (!out) {
        std::cerr << "generate_descriptors: cannot write " << argv[1] << "\n";
        return 1;
    }
    return 0;
}
