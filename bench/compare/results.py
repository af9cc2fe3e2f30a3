"""Measurements, and the figures computed from them."""

import collections
import statistics

OURS = "mtlsync"
MODULE = "mtlsync --module"


class Results:
    def __init__(self, rounds, sets):
        self.rounds = rounds
        self.sets = sets
        self.limits = {}
        self.matching = {}
        self.traffic = {}  # by work and tool
        self.least = 0  # bytes that a client must fetch when one file has changed
        self.files_read = None  # of the copy, when nothing is new
        self.plan = {}
        self.cuts = None
        self.commit = None
        self.lists = []
        self._usages = collections.defaultdict(list)

    def add(self, file_set, scheme, tool, usage):
        self._usages[file_set, scheme, tool].append(usage)

    def rows(self):
        """The pairs of set and scheme that were measured, in order."""
        return list(dict.fromkeys((s, scheme) for s, scheme, _ in self._usages))

    def rows_of_requests(self):
        """The schemes for which the server's limit was measured, and its name."""
        return [(scheme, name) for scheme in ("http", "https")
                if (name := f"{scheme} requests") in self.limits]

    def tools(self, row=None):
        """Ours first; those measured in one row, or in any."""
        found = {tool for *measured, tool in self._usages if row in (None, tuple(measured))}
        return sorted(found, key=lambda tool: (tool != OURS, tool != MODULE, tool))

    def median(self, row, tool, figure):
        return statistics.median(getattr(usage, figure) for usage in self._usages[*row, tool])

    def best_peer(self, row, figure):
        """The peer with the lowest median; None without peers."""
        return min((tool for tool in self.tools(row) if tool not in (OURS, MODULE)), default=None,
                   key=lambda tool: self.median(row, tool, figure))

    def ratio(self, row, tool, figure):
        """The tool's median to that of the best peer."""
        return self.median(row, tool, figure) / self.median(row, self.best_peer(row, figure), figure)
