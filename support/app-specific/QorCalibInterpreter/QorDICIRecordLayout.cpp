// SPDX-License-Identifier: Apache-2.0
//
// Proof of the layouts on the wire, like QorRecordLayout.cpp.
#include "QorDICIRecordLayout.h"

#include "QorDICIRecords.h"

namespace layout_tables {

static_assert(layout::matches<QorDICIError>(kQorDICIError), "the rows of QorDICIError are not its members");
static_assert(layout::matches<QorDICIAuxiliaryParam>(kQorDICIAuxiliaryParam),
              "the rows of QorDICIAuxiliaryParam are not its members");

}  // namespace layout_tables
