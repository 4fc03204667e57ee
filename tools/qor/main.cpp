// SPDX-License-Identifier: Apache-2.0
//
// The command qor.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "qor/Arguments.h"
#include "qor/BuildFacts.h"
#include "qor/Calibrate.h"
#include "qor/Calibration.h"
#include "qor/Diff.h"
#include "qor/Doctor.h"
#include "qor/ExitCode.h"
#include "qor/Export.h"
#include "qor/Extract.h"
#include "qor/Help.h"
#include "qor/Import.h"
#include "qor/Info.h"
#include "qor/Metrics.h"
#include "qor/ReportCommand.h"
#include "qor/Run.h"
#include "qor/Show.h"
#include "qor/Simulate.h"
#include "qor/StandardError.h"
#include "qor/Sweep.h"
#include "qor/Tree.h"
#include "qor/View.h"

namespace {

// Needs no memory to be written.
constexpr const char* noMemoryDocument = "{\n  \"command\": \"qor\",\n  \"version\": \"" QOR_VERSION
                                         "\",\n  \"error\": \"there is not enough memory.\"\n}\n";

// Looked for among the words themselves, as a line with an error is not parsed to its end.
bool wantsJson(int argc, char** argv) {
    return std::any_of(argv, argv + argc,
                       [](const char* word) { return std::string_view(word) == "--json"; });
}

// The subcommand that the line names first; "qor" if it names none.
std::string commandName(const CLI::App& app, int argc, char** argv) {
    const std::vector<const CLI::App*> commands = app.get_subcommands([](const CLI::App*) { return true; });
    for (int k = 1; k < argc; ++k) {
        for (const CLI::App* const command : commands) {
            if (command->get_name() == argv[k]) {
                return argv[k];
            }
        }
    }
    return "qor";
}

int runCommand(int argc, char** argv) {
    CLI::App app("Distance images of a time-of-flight camera: simulate, process, inspect");
    app.name("qor");
    app.set_version_flag("--version", qor::versionText, "Print the version and how it was built");
    app.require_subcommand(1);
    int exitCode = qor::ExitCode::Good;
    qor::addSimulate(app, exitCode);
    qor::addImport(app, exitCode);
    qor::addCalibration(app, exitCode);
    qor::addCalibrate(app, exitCode);
    qor::addRun(app, exitCode);
    qor::addMetrics(app, exitCode);
    qor::addSweep(app, exitCode);
    qor::addDiff(app, exitCode);
    qor::addInfo(app, exitCode);
    qor::addTree(app, exitCode);
    qor::addView(app, exitCode);
    qor::addReport(app, exitCode);
    qor::addShow(app, exitCode);
    qor::addExtract(app, exitCode);
    qor::addConcat(app, exitCode);
    qor::addExport(app, exitCode);
    qor::addDoctor(app, exitCode);
    qor::addRecover(app, exitCode);
    // Last, as they tell of the others. A footer that is set earlier would become theirs.
    qor::addHelp(app, exitCode);
    qor::addCompletion(app, exitCode);
    qor::addWriteManual(app, exitCode);
    app.footer(
        "Example:\n"
        "  qor simulate --scene room --out room.zelta\n"
        "  qor run room.zelta --out room\n"
        "\nqor help COMMAND tells more of a command.\n"
        "\nExit codes: 0 good; 1 the work was done and something was found; 2 usage; 3 data that cannot be "
        "processed\n");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) == 0) {
            return qor::ExitCode::Good;
        }
        if (wantsJson(argc, argv)) {
            qor::printJsonError(commandName(app, argc, argv), error.what());
        }
        return qor::ExitCode::Usage;
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
        if (wantsJson(argc, argv)) {
            std::fputs(noMemoryDocument, stdout);
        }
    } catch (const std::exception& error) {
        qor::printError("qor: {}\n", error.what());
        if (wantsJson(argc, argv)) {
            qor::printJsonError("qor", error.what());
        }
    }
    if (!isPrinted()) {
        qor::printError("qor: standard output cannot be written.\n");
        return qor::ExitCode::BadData;
    }
    return exitCode;
}
