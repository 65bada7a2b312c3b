"""The command `sorvane-batch`."""

from __future__ import annotations

import argparse
import sys

from . import InUse, Plan, Settings, run_plan

_EXIT_FAILED = 1
_EXIT_USAGE = 2
_EXIT_STOPPED = 5

_EPILOG = """\
The journal lies in the folder .sorvane-batch of the output. The same command again does only what
is missing or has changed. Exit code: 0 all done, 1 some inputs failed, 2 the arguments can't be
used, 5 stopped before the end.
"""


def parser() -> argparse.ArgumentParser:
    """The command's arguments."""
    result = argparse.ArgumentParser(
        prog="sorvane-batch", epilog=_EPILOG,
        description="Takes the noise out of many recordings, on all cores or on a Dask cluster.")
    add = result.add_argument
    add("inputs", nargs="+", metavar="INPUT",
        help="file, folder, pattern, manifest (.csv, .jsonl) or URL")
    add("output", metavar="OUTPUT", help="folder or URL that mirrors the tree of the inputs")
    sound = result.add_argument_group("sound")
    sound.add_argument("--model", metavar="NAME|PATH",
                       help="instead of the speech model that suits each file's rate")
    sound.add_argument("--keep", metavar="LEVEL", help="how much of the noise stays: 10%%, -20dB")
    sound.add_argument("--rest", action="store_true", help="give what was removed instead")
    sound.add_argument("--stems", metavar="all|BUS,BUS", help="a file for each bus; with --model")
    sound.add_argument("--bitrate", type=int, metavar="KBIT", help="of lossy outputs")
    workers = result.add_argument_group("workers")
    workers.add_argument("--workers", type=int, metavar="N",
                         help="processes on this machine; by default one for each core")
    workers.add_argument("--scheduler", metavar="ADDRESS", help="join this cluster, tcp://...")
    workers.add_argument("--scheduler-file", metavar="FILE", help="the same by its file")
    workers.add_argument("--dashboard", metavar="ADDRESS", help="Dask's dashboard, such as :8787")
    workers.add_argument("--program", metavar="PATH", help="the program sorvane on the workers")
    run = result.add_argument_group("run")
    run.add_argument("--journal", metavar="FILE", help="needed where OUTPUT is a URL")
    run.add_argument("--again", action="store_true", help="also files that were set aside")
    run.add_argument("--report", metavar="FOLDER", help="write a table and a page with charts")
    run.add_argument("--quiet", action="store_true", help="say nothing but errors")
    return result


def plan_of(words: argparse.Namespace) -> Plan:
    """The plan that was asked for; ValueError where options contradict each other."""
    if words.workers is not None and words.workers < 1:
        raise ValueError("--workers is at least 1")
    if words.scheduler is not None and words.scheduler_file is not None:
        raise ValueError("--scheduler and --scheduler-file don't go together")
    settings = Settings(words.model, words.keep, words.rest, words.stems, words.bitrate,
                        words.program)
    return Plan(words.inputs, words.output, settings, words.journal, words.workers,
                words.scheduler, words.scheduler_file, words.dashboard, words.again, words.report,
                words.quiet)


def main() -> int:
    """Runs the command; returns its exit code."""
    try:
        result = run_plan(plan_of(parser().parse_args()))
    except (ImportError, InUse, OSError, ValueError) as error:
        print(f"sorvane-batch: {error}", file=sys.stderr)
        return _EXIT_USAGE
    except KeyboardInterrupt:
        return 130
    if result.stopped is not None:
        print(f"sorvane-batch: {result.stopped}; the same command goes on", file=sys.stderr)
        return _EXIT_STOPPED
    return _EXIT_FAILED if result.failed else 0
