# SPDX-License-Identifier: Apache-2.0
"""The command line of qor sweep."""

import argparse
import importlib.util
import os
import signal
import sys
from pathlib import Path
from typing import Any

from .best import Ranking, Wish, rank, usual_wish
from .faults import BAD_DATA, FINDINGS, GOOD, USAGE, ProgramError, UsageError
from .folder import Sweep, SweepFolder, read_sweep
from .plan import Plan, read_plan
from .program import program
from .progress import Progress
from .report import write_report
from .settings import settings_file
from .table import lines_of, write_table


def parser() -> argparse.ArgumentParser:
    """The options; `qor sweep --help` tells of them."""
    options = argparse.ArgumentParser(prog="qor sweep", add_help=False, allow_abbrev=False)
    options.add_argument("plan", nargs="?", metavar="PLAN.toml")
    options.add_argument("recordings", nargs="*", metavar="RECORDINGS")
    options.add_argument("-o", "--out", default="out/sweep", metavar="FOLDER")
    options.add_argument("-j", "--jobs", type=_jobs, default=None, metavar="N")
    options.add_argument("--scheduler", metavar="ADDRESS")
    options.add_argument("--resume", action="store_true")
    options.add_argument("--force", action="store_true")
    options.add_argument("--pictures", action="store_true")
    options.add_argument("--best", metavar="WISH")
    options.add_argument("--report", action="store_true")
    options.add_argument("--quiet", action="store_true")
    return options


def _jobs(text: str) -> int:
    if not (text.isdecimal() and 1 <= int(text) <= 1024):
        raise argparse.ArgumentTypeError(f"{text} is no number from 1 to 1024")
    return int(text)


def say(sentence: str) -> None:
    print(f"qor sweep: {sentence}", file=sys.stderr)


def main(arguments: list[str] | None = None) -> int:
    """Returns the exit code."""
    options = parser().parse_intermixed_args(arguments)
    try:
        return _sweep(options)
    except UsageError as error:
        say(str(error))
        return USAGE
    except (ProgramError, OSError) as error:
        say(str(error))
        return BAD_DATA


def _sweep(options: argparse.Namespace) -> int:
    wish = Wish.read(options.best) if options.best else None
    if options.plan:
        exit_code, sweep, rows = _run(options, read_plan(options.plan, options.recordings))
        if sweep is None:
            return exit_code
    elif wish or options.report:
        exit_code = GOOD
        sweep, rows = read_sweep(options.out)
    else:
        raise UsageError("name a plan, or ask with --best or --report about the sweep in --out.")
    lines = lines_of(sweep, rows)
    ranking = rank(lines, wish) if wish else None
    if ranking:
        exit_code = max(exit_code, _print_best(sweep, ranking))
    if options.report:
        page = write_report(Path(options.out), sweep, lines, ranking or rank(lines, usual_wish(lines)))
        if not options.quiet:
            say(str(page))
    return exit_code


def _print_best(sweep: Sweep, ranking: Ranking) -> int:
    if ranking.best is None:
        say(f"no settings have {ranking.wish.text}.")
        return FINDINGS
    print(ranking.heading(ranking.best), end="")
    print(settings_file(sweep.settings[ranking.best]), end="")
    return GOOD


def _run(options: argparse.Namespace, plan: Plan) -> tuple[int, Sweep | None, dict[str, Any]]:
    """The exit code, the sweep and its rows; no sweep if it was broken off."""
    if importlib.util.find_spec("distributed") is None:
        raise ProgramError("Dask is not installed for this Python; scripts/setup --python installs it, or "
                           "apt-get install python3-distributed.")
    from .cluster import connect
    from .rows import look_at, measure_rows, missing_rows

    here = program()
    folder = SweepFolder(options.out, options.resume, options.force)
    signal.signal(signal.SIGTERM, _interrupt)
    try:
        with connect(options.scheduler, options.jobs or os.cpu_count() or 1) as client:
            _tell(options, plan, client.dashboard_link)
            sweep = look_at(client, plan, here)
            missing = missing_rows(sweep, folder, options.pictures)
            progress = Progress(plan.rows, plan.rows - len(missing), options.quiet)
            measure_rows(client, sweep, missing, folder, here, options.pictures, progress)
            progress.clear()
    except KeyboardInterrupt:
        say(f"interrupted; {options.out} keeps what was measured, and --resume measures the rest.")
        return FINDINGS, None, {}
    finally:
        folder.close()
    folder.finish(sweep)
    return _finish(options, sweep, folder), sweep, folder.rows


def _interrupt(_number: int, _frame: object) -> None:
    raise KeyboardInterrupt


def _tell(options: argparse.Namespace, plan: Plan, dashboard: str) -> None:
    if options.quiet:
        return
    say(f"{len(plan.recordings)} recordings x {len(plan.settings)} settings, {plan.rows} rows")
    say(f"Dask's dashboard is at {dashboard}")


def _finish(options: argparse.Namespace, sweep: Sweep, folder: SweepFolder) -> int:
    lines = lines_of(sweep, folder.rows)
    table = write_table(folder.path, lines)
    failed = sum(line["status"] == "failed" for line in lines)
    if not options.quiet:
        say(f"{table}: {len(lines)} rows, {failed} failed")
    return FINDINGS if failed else GOOD
