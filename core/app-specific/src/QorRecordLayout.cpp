// SPDX-License-Identifier: Apache-2.0
//
// Proof of the layouts on the wire: the records have these sizes and offsets on every target. Compiling this
// file is the test.
#include "QorRecordLayout.h"

#include "QorData.h"

namespace layout_tables {

#define QOR_WHOLE_LAYOUT(record) \
    static_assert(layout::matches<record>(k##record), "the rows of " #record " are not its members")
#define QOR_FIRST_LEVEL(record) \
    static_assert(layout::matches<record>(k##record, 1), "the rows of " #record " are not its members")

QOR_WHOLE_LAYOUT(QorRawPhaseData);
QOR_WHOLE_LAYOUT(QorDistanceImageIFInput);  // the customization is a member of it
QOR_WHOLE_LAYOUT(QorDistanceImageIFOutput);
QOR_WHOLE_LAYOUT(QorDistanceImageIFCalib);
QOR_FIRST_LEVEL(QorDistanceImageProfiling);
QOR_FIRST_LEVEL(QorDistanceImageCalib);
QOR_FIRST_LEVEL(QorDistanceImageState);
QOR_FIRST_LEVEL(QorDistanceImageOutput);
QOR_FIRST_LEVEL(QorDistanceImageParam);
QOR_FIRST_LEVEL(QorDistanceImageInput);
QOR_FIRST_LEVEL(QorDistanceImageInOut);
QOR_FIRST_LEVEL(QorDistanceImageDebug);

#undef QOR_FIRST_LEVEL
#undef QOR_WHOLE_LAYOUT

}  // namespace layout_tables
