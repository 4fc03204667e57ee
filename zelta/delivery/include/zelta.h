// SPDX-License-Identifier: Apache-2.0
// The whole of the library in one include.
#pragma once

#include "PacketZelta.h"
#include "zelta_assigner.h"
#include "zelta_error.h"
#include "zelta_expression.h"
#include "zelta_interpreter.h"
#include "zelta_mutex.h"
#include "zelta_packet.h"
#include "zelta_parse.h"
#include "zelta_shared_ptr.h"
#include "zelta_type.h"
