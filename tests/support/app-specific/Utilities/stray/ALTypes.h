// SPDX-License-Identifier: Apache-2.0
//
// A header that a host may have on its path by chance, under the name of one of the algorithm's own.
#error "the plug-in's header takes a stranger's header for the algorithm's"
