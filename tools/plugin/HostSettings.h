// SPDX-License-Identifier: Apache-2.0
//
// What a program that holds the command in itself says about its place and its streams, before it opens a
// plug-in.

#pragma once

#include <filesystem>
#include <vector>

namespace plugin {

// The folders where its plug-in is, in place of those around a command.
void searchPluginIn(std::vector<std::filesystem::path> folders);

// From now on, text that a plug-in prints goes where it prints it. Otherwise it goes to standard error, for
// which the process has no standard output during each call: not for a program whose other threads print.
void keepStandardOutput();

}  // namespace plugin
