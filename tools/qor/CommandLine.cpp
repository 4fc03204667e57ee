// SPDX-License-Identifier: Apache-2.0

#include "qor/CommandLine.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <sstream>
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

namespace qor {
namespace {

// Needs no memory to be written.
constexpr const char* noMemoryDocument = "{\n  \"command\": \"qor\",\n  \"version\": \"" QOR_VERSION
                                         "\",\n  \"error\": \"there is not enough memory.\"\n}\n";

// Looked for among the words themselves, as a line with an error is not parsed to its end.
bool wantsJson(int argc, const char* const* argv) {
    return std::any_of(argv, argv + argc,
                       [](const char* word) { return std::string_view(word) == "--json"; });
}

// The subcommand that the line names first; "qor" if it names none.
std::string commandName(const CLI::App& app, int argc, const char* const* argv) {
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

// Help, or what is wrong with the line. Zero for help.
int tellOf(const CLI::App& app, const CLI::ParseError& error) {
    Reception* const reception = currentReception();
    if (reception == nullptr) {
        return app.exit(error);
    }
    std::ostringstream errors;
    const int code = app.exit(error, std::cout, errors);
    reception->errors += errors.str();
    return code;
}

int parseAndRun(int argc, const char* const* argv) {
    int exitCode = ExitCode::Good;
    const std::unique_ptr<CLI::App> app = commandLine(exitCode);
    try {
        app->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (tellOf(*app, error) == 0) {
            return ExitCode::Good;
        }
        if (wantsJson(argc, argv)) {
            printJsonError(commandName(*app, argc, argv), error.what());
        }
        return ExitCode::Usage;
    }
    return exitCode;
}

}  // namespace

std::unique_ptr<CLI::App> commandLine(int& exitCode) {
    auto app =
        std::make_unique<CLI::App>("Distance images of a time-of-flight camera: simulate, process, inspect");
    app->name("qor");
    app->set_version_flag("--version", versionText, "Print the version and how it was built");
    app->require_subcommand(1);
    exitCode = ExitCode::Good;
    addSimulate(*app, exitCode);
    addImport(*app, exitCode);
    addCalibration(*app, exitCode);
    addCalibrate(*app, exitCode);
    addRun(*app, exitCode);
    addMetrics(*app, exitCode);
    addSweep(*app, exitCode);
    addDiff(*app, exitCode);
    addInfo(*app, exitCode);
    addTree(*app, exitCode);
    addView(*app, exitCode);
    addReport(*app, exitCode);
    addShow(*app, exitCode);
    addExtract(*app, exitCode);
    addConcat(*app, exitCode);
    addExport(*app, exitCode);
    addDoctor(*app, exitCode);
    addRecover(*app, exitCode);
    // Last, as they tell of the others. A footer that is set earlier would become theirs.
    addHelp(*app, exitCode);
    addCompletion(*app, exitCode);
    addWriteManual(*app, exitCode);
    app->footer(
        "Example:\n"
        "  qor simulate --scene room --out room.zelta\n"
        "  qor run room.zelta --out room\n"
        "\nqor help COMMAND tells more of a command.\n"
        "\nExit codes: 0 good; 1 the work was done and something was found; 2 usage; 3 data that cannot be "
        "processed\n");
    return app;
}

int runCommandLine(int argc, const char* const* argv) {
    try {
        return parseAndRun(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("qor: there is not enough memory.\n", stderr);
        if (wantsJson(argc, argv)) {
            std::fputs(noMemoryDocument, stdout);
        }
    } catch (const std::exception& error) {
        printError("qor: {}\n", error.what());
        if (wantsJson(argc, argv)) {
            printJsonError("qor", error.what());
        }
    }
    return ExitCode::BadData;
}

}  // namespace qor
