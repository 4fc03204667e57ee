// SPDX-License-Identifier: Apache-2.0
//
// The command qor.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "qor/CommandLine.h"
#include "qor/ExitCode.h"
#include "qor/StandardError.h"

namespace {

// Our next file would get the number of a standard stream that the caller closed, and then printed text.
void openClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            // The lowest free number is that of the stream. Reading from 1 and 2
            // fails, and so does writing to 0.
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

// Whether all that was printed has arrived.
bool isPrinted() {
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    openClosedStreams();
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error of its writing
    const int exitCode = qor::runCommandLine(argc, argv);
    if (!isPrinted()) {
        qor::printError("qor: standard output cannot be written.\n");
        return qor::ExitCode::BadData;
    }
    return exitCode;
}
