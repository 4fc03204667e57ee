// SPDX-License-Identifier: Apache-2.0
//
// The command qor.

#include <fmt/format.h>

#include <exception>

#include "qor/ExitCode.h"
#include "qor/Info.h"
#include "qor/Run.h"
#include "qor/Show.h"
#include "qor/Simulate.h"
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
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? qor::ExitCode::Good : qor::ExitCode::Usage;
    }
    return exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return runCommand(argc, argv);
    } catch (const std::exception& error) {
        fmt::print(stderr, "qor: {}\n", error.what());
        return qor::ExitCode::BadData;
    }
}
