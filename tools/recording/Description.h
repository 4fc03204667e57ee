// SPDX-License-Identifier: Apache-2.0
//
// Descriptions of records: a list of members becomes a type tree with the natural alignment of C, which the
// data library turns into a definition.
//
//     layOut(structure("Pose", {float32("angles", {3}), uint16("age")}))
//
// is a record of 16 bytes with `Pose.angles` at 0 and `Pose.age` at 12.

#pragma once

#include <string>
#include <vector>

#include "zelta_type.h"

namespace recording {

using Dimensions = std::vector<unsigned int>;

struct Member {
    std::string name;
    Dimensions dimensions;  // first dimension first; empty for a single one
    zelta::TypeIdentifier kind = zelta::TypeStruct;
    unsigned int size = 0;        // of one number, bytes; a structure's follows from its members
    std::vector<Member> members;  // of a structure
};

Member int8(std::string name, Dimensions dimensions = {});
Member int16(std::string name, Dimensions dimensions = {});
Member int32(std::string name, Dimensions dimensions = {});
Member uint8(std::string name, Dimensions dimensions = {});
Member uint16(std::string name, Dimensions dimensions = {});
Member uint32(std::string name, Dimensions dimensions = {});
Member uint64(std::string name, Dimensions dimensions = {});
Member float32(std::string name, Dimensions dimensions = {});
Member float64(std::string name, Dimensions dimensions = {});
Member structure(std::string name, std::vector<Member> members, Dimensions dimensions = {});

// The type tree of a whole record. Throws std::invalid_argument if it does not fit 2 GiB, or if a structure
// has no members.
zelta::TypeRef layOut(const Member& record);

}  // namespace recording
