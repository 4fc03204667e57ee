// SPDX-License-Identifier: Apache-2.0
//
// Carries the precompiled header of GoogleTest for the test programs.
int main() {
    return 0;
}
