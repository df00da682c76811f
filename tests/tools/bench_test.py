#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""bench_test.py, in the tree: what the benchmarks print of a run in which a measurement fails."""
import contextlib
import importlib.machinery
import importlib.util
import io
import pathlib
import subprocess
import sys
import tempfile
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, "bench")


def module(path):
    loader = importlib.machinery.SourceFileLoader("bench_run", path)
    loaded = importlib.util.module_from_spec(importlib.util.spec_from_loader("bench_run", loader))
    loader.exec_module(loaded)
    return loaded


bench = module("bench/run")
# Each pair that is compared takes as long, but for what is worth a goal.
RATES = {"vorn": 9.0, "vorn, stays": 9.0, "bound": 10.0, "ratio": 0.9, "ratio, stays": 0.9}


class Anything(bench.Found):
    """Of a program that measures whatever is asked for."""

    def __missing__(self, key):
        return bench.Found(time=1.0, store_bytes=1.0, tree_bytes=100.0, peak_bytes=1.0, none_ns=0.0,
                           extra_ns=0.0, extra_stays_ns=0.0, migrated_ns=1.0, plain_ns=1.0)


def fail(*_):
    raise subprocess.CalledProcessError(1, ["load"], stderr="first line\nit has gone\n")


def exchanges(_, size, *__):
    found = bench.Found({f"{scenario} {pinning}": bench.Found(RATES)
                         for scenario in bench.REQUESTS for pinning in ("pinned", "unpinned")})
    crowd = bench.Found(silent=1.0, slow=1.0)
    return bench.Found(found, private_bytes=10.0 * size, crowd=crowd, failures=[])


def run(**changes):
    """The exit status of a whole run, and what it prints and says."""
    door = bench.Found(object=0.5, object_at_most=0.5, idle_bytes=1.0, crowded_bytes=1.0, streams=1.0,
                       slow=1.0, failures=[])
    stands_in = {"measure_all_processes": lambda *_: Anything(),
                 "measure_process": lambda *_: Anything(), "measure_exchanges": exchanges,
                 "measure_idle_daemon": lambda _: bench.Found(private_bytes=1.0),
                 "stripped_size": lambda _: 1.0, "measure_augeas": lambda _: None, **changes}
    printed, said = io.StringIO(), io.StringIO()
    with tempfile.TemporaryDirectory() as out, contextlib.ExitStack() as stack:
        for name, stand_in in stands_in.items():
            stack.enter_context(mock.patch.object(bench, name, stand_in))
        stack.enter_context(mock.patch.object(bench.web, "measure", lambda *_: door))
        stack.enter_context(mock.patch.object(sys, "argv", ["run", out, f"--out={out}/out"]))
        stack.enter_context(contextlib.redirect_stdout(printed))
        stack.enter_context(contextlib.redirect_stderr(said))
        status = bench.main()
        assert pathlib.Path(out, "out/bench.json").is_file()
    return status, printed.getvalue().splitlines(), said.getvalue()


def rows(lines):
    return [line[:72] for line in lines]


def test_a_run_prints_all_its_rows():
    status, printed, said = run()
    assert status == 0 and "not measured" not in said, said
    assert len(printed) > 80 and not [line for line in printed if "not measured" in line]
    return printed


def test_what_fails_costs_its_own_rows(whole):
    def some_exchanges(build, size, *rest):
        return fail() if size == 100 else exchanges(build, size, *rest)
    status, printed, said = run(measure_exchanges=some_exchanges)
    assert status == 1
    assert rows(printed) == rows(whole), "each row is there"
    lost = [line for line in printed if "not measured" in line]
    assert 0 < len(lost) < 10 and all(" 100 " in line for line in lost), lost
    assert "not measured: exchanges beside 100 instances: CalledProcessError" in said
    assert "    it has gone" in said, "what the program said"


def test_benchmarks_fail_by_themselves(whole):
    def one_process(build, quick, only, *_):
        return fail() if only == "Save" else bench.Found({"EmptyCommit": bench.Found(time=1.0)})
    all_processes = bench.measure_all_processes
    status, printed, said = run(measure_all_processes=all_processes, measure_process=one_process)
    assert status == 1
    assert rows(printed) == rows(whole)
    assert any(line.startswith("save, of libxml2's") and "not measured" in line for line in printed)
    assert any(line.startswith("commit with 50 idle") and "not measured" not in line
               for line in printed)
    assert "not measured: Save: CalledProcessError" in said


def test_what_failed_inside_a_sandbox_is_named_outside():
    def with_a_failure(build, size, *rest):
        return bench.Found(exchanges(build, size, *rest), failures=["silent clients: gone"])
    status, _, said = run(measure_exchanges=with_a_failure)
    assert status == 1 and "not measured: silent clients: gone" in said


everything = test_a_run_prints_all_its_rows()
test_what_fails_costs_its_own_rows(everything)
test_benchmarks_fail_by_themselves(everything)
test_what_failed_inside_a_sandbox_is_named_outside()
