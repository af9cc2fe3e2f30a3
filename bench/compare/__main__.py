"""Measures mtlsync against the download tools that people would script instead.

Every tool fetches the same files from the same nginx with five transfers in flight, in
turns, in an order shuffled for every round; every tree that one writes is compared with
what was published. See docs/performance.md, which a full run writes.
"""

import argparse
import contextlib
import pathlib
import random
import sys
import tempfile

from cuts import measure_cuts
from engine import measure_commit, measure_plan
from limits import measure_limits
from matching import measure_matching_stamps
from picture import draw
from report import print_tables, write_document
from results import Results
from scale import measure_lists
from server import Authority, delayed_network, nginx
from sets import FULL, KIB, MIB, QUICK, FileSet
from tools import ours, peers, updating_peers
from updates import measure_updates


def parse_arguments():
    parser = argparse.ArgumentParser(prog="compare", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="small sets, in under two minutes")
    parser.add_argument("--programs", type=pathlib.Path, required=True, metavar="DIR",
                        help="folder of the built mtlsync, mtlpublish, delay_line and "
                        "bench_micro")
    parser.add_argument("--rounds", type=int, metavar="N", help="of each measurement")
    parser.add_argument("--sets", metavar="A,B", help="only these: small, medium, large, "
                        "large without digests, wan, updates")
    parser.add_argument("--tools", metavar="A,B", help="only these beside mtlsync")
    parser.add_argument("--disk", type=pathlib.Path, metavar="DIR", default=pathlib.Path("/var/tmp"),
                        help="a folder on a disk, to measure the commit on (default: /var/tmp)")
    parser.add_argument("--folder", type=pathlib.Path, metavar="DIR",
                        default=pathlib.Path("/dev/shm"), help="where to work; a disk would be "
                        "measured with the tools (default: /dev/shm, which is in memory)")
    parser.add_argument("--document", type=pathlib.Path, metavar="FILE",
                        help="the document to write the results to; their picture goes "
                        "beside it")
    return parser.parse_args()


def measure_set(file_set, tools, rounds, work, authority, programs, results):
    """All tools over the schemes of the set, `rounds` times each."""
    library = file_set.publish(work / "library", programs)
    network = delayed_network(programs, file_set.round_trip) if file_set.round_trip \
        else contextlib.nullcontext()
    with network as network, nginx(library.folder, authority, work, network) as server:
        for scheme in file_set.schemes:
            for _ in range(rounds):
                for tool in random.sample(tools, len(tools)):
                    usage = tool.fetch(library, server.address(scheme), work / "copy", network)
                    results.add(file_set.name, scheme, tool.name, usage)
                    print(f"{file_set.name} {scheme} {tool.name}: {usage}", file=sys.stderr)
            if file_set.name == "small":
                results.limits.update(measure_limits(library, server, scheme, work))
    library.remove()


def measure_keeping(mtlsync, tools, arguments, rounds, work, authority, results):
    """What comes after the first run."""
    programs = arguments.programs.resolve()
    count = 2_000 if arguments.quick else 20_000
    measure_updates(FileSet("updates", count, 4 * KIB, folders=count // 100), tools, rounds, work,
                    authority, programs, results)
    results.plan = measure_plan(FileSet("plan", 100_000, 16, folders=1_000), mtlsync, rounds,
                                work, authority, programs)
    results.cuts = measure_cuts(FileSet("cuts", 1, 200 * MIB, folders=1), mtlsync, work, programs)
    with tempfile.TemporaryDirectory(prefix="mtllib-bench-", dir=arguments.disk) as disk:
        results.commit = measure_commit(FileSet("commit", 1_000, 4 * KIB, folders=10), mtlsync,
                                        rounds, work, pathlib.Path(disk), authority, programs)


def main():
    arguments = parse_arguments()
    sets = QUICK if arguments.quick else FULL
    wanted = arguments.sets.split(",") if arguments.sets else None
    sets = [s for s in sets if not wanted or s.name in wanted]
    rounds = arguments.rounds or (2 if arguments.quick else 5)
    programs = arguments.programs.resolve()
    results = Results(rounds, sets)
    with tempfile.TemporaryDirectory(prefix="mtllib-bench-", dir=arguments.folder) as name:
        work = pathlib.Path(name)
        authority = Authority(work)
        mtlsync, module = ours(programs, authority)
        tools = [tool for tool in peers(authority)
                 if not arguments.tools or tool.name in arguments.tools.split(",")]
        for file_set in sets:
            measure_set(file_set, [mtlsync, module, *tools], rounds, work, authority, programs,
                        results)
        if not wanted or "updates" in wanted:
            measure_keeping(mtlsync, [mtlsync, module, *updating_peers(authority)], arguments,
                            rounds, work, authority, results)
        results.matching = measure_matching_stamps(mtlsync, work)
    if not arguments.quick:
        results.lists = list(measure_lists(programs))
    print_tables(results, sys.stdout)
    if arguments.document:
        write_document(results, arguments.document)
        arguments.document.with_suffix(".svg").write_text(draw(results))


if __name__ == "__main__":
    main()
