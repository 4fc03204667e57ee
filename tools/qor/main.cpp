// SPDX-License-Identifier: Apache-2.0
//
// The command qor.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

#include "qor/Doctor.h"
#include "qor/ExitCode.h"
#include "qor/Extract.h"
#include "qor/Info.h"
#include "qor/Run.h"
#include "qor/Show.h"
#include "qor/Simulate.h"
#include "qor/StandardError.h"
#include "qor/Tree.h"

namespace {

int runCommand(int argc, char** argv) {
    CLI::App app("Distance images of a time-of-flight camera: simulate, process, inspect");
    app.name("qor");
    app.set_version_flag("--version", "qor " QOR_VERSION);
    app.require_subcommand(1);
    int exitCode = qor::ExitCode::Good;
    qor::addSimulate(app, exitCode);
    qor::addRun(app, exitCode);
    qor::addInfo(app, exitCode);
    qor::addTree(app, exitCode);
    qor::addShow(app, exitCode);
    qor::addExtract(app, exitCode);
    qor::addConcat(app, exitCode);
    qor::addDoctor(app, exitCode);
    qor::addRecover(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? qor::ExitCode::Good : qor::ExitCode::Usage;
    }
    return exitCode;
}

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
    int exitCode = qor::ExitCode::BadData;
    try {
        exitCode = runCommand(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("qor: there is not enough memory.\n", stderr);
    } catch (const std::exception& error) {
        qor::printError("qor: {}\n", error.what());
    }
    if (!isPrinted()) {
        qor::printError("qor: standard output cannot be written.\n");
        return qor::ExitCode::BadData;
    }
    return exitCode;
}
