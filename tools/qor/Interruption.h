// SPDX-License-Identifier: Apache-2.0
//
// Ctrl-C ends the work at the next packet, so that files are whole. A second one ends the command at once.

#pragma once

namespace qor {

// From now on SIGINT and SIGTERM are remembered instead of ending the command.
void listenForInterruption();

bool interrupted();

// For a program that does more than one piece of work.
void forgetInterruption();

}  // namespace qor
