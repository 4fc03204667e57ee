// SPDX-License-Identifier: Apache-2.0
//
// A shared object that has one of the nine functions only.

extern "C" __attribute__((visibility("default"))) void createAlgo() {}
