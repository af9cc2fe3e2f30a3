"""Measures what an entry of a list costs, in short and in long lists."""

import json
import subprocess

from measure import ENVIRONMENT


def measure_lists(programs):
    """Rows of kind, entries, seconds and bytes an entry."""
    output = subprocess.run(
        [programs / "bench_micro", "--benchmark_filter=^parseList/", "--benchmark_format=json"],
        check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=ENVIRONMENT).stdout
    for measured in json.loads(output)["benchmarks"]:
        _, kind, entries, *_ = measured["name"].split("/")
        yield (kind.replace("_", ", "), int(entries.removeprefix("entries:")),
               measured["per_entry"], measured["peak_bytes_per_entry"])
