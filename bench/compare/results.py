"""What was measured, and the figures made of it."""

import collections
import statistics

OURS = "mtlsync"


class Results:
    def __init__(self, rounds, sets):
        self.rounds = rounds
        self.sets = sets
        self.limits = {}
        self.matching = {}
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

    def tools(self):
        """Ours first."""
        return sorted({tool for _, _, tool in self._usages}, key=lambda tool: (tool != OURS, tool))

    def median(self, row, tool, figure):
        return statistics.median(getattr(usage, figure) for usage in self._usages[*row, tool])

    def best_peer(self, row, figure):
        """The peer with the lowest median; None without peers."""
        return min((tool for tool in self.tools() if tool != OURS), default=None,
                   key=lambda tool: self.median(row, tool, figure))

    def ratio(self, row, figure):
        """Our median to that of the best peer."""
        return self.median(row, OURS, figure) / self.median(row, self.best_peer(row, figure), figure)
