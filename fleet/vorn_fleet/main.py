# SPDX-License-Identifier: MIT
"""The command line."""
import argparse
import os
import sys

from . import commands
from .apply import HEALTHY_FOR, STOP_AT, WAVES, apply
from .context import Context
from .problem import DONE, INTERRUPTED, Problem
from .text import seconds_of

VERSION = "0.1.0"


def _seconds(text):
    try:
        return seconds_of(text)
    except Problem as problem:
        raise argparse.ArgumentTypeError(str(problem)) from None


def _common():
    common = argparse.ArgumentParser(add_help=False)
    group = common.add_argument_group("where")
    group.add_argument("-C", "--folder", default=".", metavar="FOLDER",
                       help="has fleet.yaml and devices.yaml (default: this one)")
    group.add_argument("--tenant")
    group.add_argument("--broker", metavar="HOST[:PORT]")
    group.add_argument("--ca", metavar="PATH", help="certificates of whom to believe in, in PEM")
    group.add_argument("--certificate", metavar="PATH")
    group.add_argument("--key", metavar="PATH")
    group.add_argument("--plain", action="store_true", help="without TLS")
    group.add_argument("--signing-key", metavar="PATH", help="an Ed25519 key in PEM; it stays here")
    group.add_argument("--by", metavar="NAME", help="who you are, for others")
    common.add_argument("--json", action="store_true", help="one JSON value a line, for scripts")
    return common


def _add_selector(parser):
    parser.add_argument(
        "selector",
        nargs="*",
        metavar="SELECTOR",
        help="NAMEs, one of which has to fit; LABEL=PATTERN and LABEL!=PATTERN, which all have to")


def _add_apply(add):
    parser = add("apply", apply, "sends documents, wave by wave")
    parser.add_argument("change", nargs="?", metavar="FILE", help="a template of a document")
    _add_selector(parser)
    parser.add_argument("--waves", metavar="LIST", help="how many have it after each wave "
                        f"({WAVES})".replace("%", "%%"))
    parser.add_argument("--healthy-for",
                        metavar="TIME",
                        help=f"before the next wave ({HEALTHY_FOR})")
    parser.add_argument("--within", metavar="TIME", help="which a wave has for that in all")
    parser.add_argument("--stop-at",
                        metavar="AMOUNT",
                        help=f"when more than these failed: 2%% or 5 ({STOP_AT})")
    parser.add_argument("--first",
                        action="append",
                        metavar="SELECTOR",
                        help="who comes before the others")
    for name, text in (("why", "the reason, for others"), ("trial", "seconds"),
                       ("attempts", "1 to 10"),
                       ("connection", "new or kept"), ("local", "report, refuse or overwrite")):
        parser.add_argument(f"--{name}", help=text)
    parser.add_argument("--again", action="store_true", help="also to those that have it already")
    parser.add_argument("-n", "--dry-run", action="store_true", help="tells what would be done")
    for name, text in (("resume", "goes on with a rollout"), ("undo", "sends what was before it"),
                       ("stop", "has nothing more of it sent"),
                       ("forget", "removes it from the broker")):
        parser.add_argument(f"--{name}", nargs="?", const="", metavar="ROLLOUT", help=text)


def _parser():
    parser = argparse.ArgumentParser(
        prog="vorn-fleet", description="Many devices of the vorn daemon, by any MQTT 5 broker.",
        epilog="vorn-fleet(1) tells more.")
    parser.add_argument("--version", action="version", version=f"vorn-fleet {VERSION}")
    verbs = parser.add_subparsers(title="commands", required=True, metavar="COMMAND")
    common = _common()

    def add(name, function, text):
        verb = verbs.add_parser(name, parents=[common], help=text, description=text)
        verb.set_defaults(function=function)
        return verb

    for name, function, text in (("list", commands.list_devices, "devices, one a line"),
                                 ("show", commands.show, "all there is to know of devices"),
                                 ("status", commands.status, "how the fleet is, and its rollouts")):
        _add_selector(add(name, function, text))
    differ = add("diff", commands.diff,
                 "what devices differ in from their documents, or FILE would change")
    differ.add_argument("--change", metavar="FILE", help="a template of a document")
    _add_selector(differ)
    _add_apply(add)
    watch = add("watch", commands.watch, "what happens, until ^C")
    watch.add_argument("--seconds", type=_seconds, metavar="TIME", help="for so long")
    _add_selector(watch)
    request = add("request", commands.request, "asks devices that allow it")
    request.add_argument("--wait",
                         type=_seconds,
                         default=30,
                         metavar="TIME",
                         help="for answers (30s)")
    request.add_argument("lsql", metavar="LSQL", help="a question, or - for standard input")
    _add_selector(request)
    return parser, verbs.choices


def main(words=None):
    words = sys.argv[1:] if words is None else words
    parser, verbs = _parser()
    if not words or words[0] not in verbs:
        parser.parse_args(words)  # which ends with help, or with what is wrong
    arguments = verbs[words[0]].parse_intermixed_args(words[1:])
    try:
        return arguments.function(Context(arguments))
    except Problem as problem:
        print(f"vorn-fleet: {problem}", file=sys.stderr)
        return problem.status
    except KeyboardInterrupt:
        return INTERRUPTED
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return DONE
