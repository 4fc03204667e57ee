// SPDX-License-Identifier: Apache-2.0

#include "qor/Interruption.h"

#include <csignal>

namespace qor {
namespace {

volatile std::sig_atomic_t wasInterrupted = 0;

void remember(int /*signal*/) {
    wasInterrupted = 1;
}

}  // namespace

void listenForInterruption() {
    struct sigaction action {};
    action.sa_handler = remember;
    // Works once: the next signal of that kind ends the command. Interrupted system calls continue.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
    return wasInterrupted != 0;
}

void forgetInterruption() {
    wasInterrupted = 0;
}

}  // namespace qor
