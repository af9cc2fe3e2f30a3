"""Simulates fleets of clients, from what measure.py has measured, and says what they cost."""

from __future__ import annotations

import argparse
import pathlib

from measure import FIGURES
from figures import Figures
from report import document
from scenarios import Bill, Price, Scenarios


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="fleet", description=__doc__)
    example = Bill()
    parser.add_argument("--figures", type=pathlib.Path, default=FIGURES, metavar="FILE")
    parser.add_argument("--places", type=int, default=100, metavar="N", help="of the CDN")
    parser.add_argument("--releases", type=int, default=example.releases, metavar="N",
                        help="a month")
    parser.add_argument("--cdn-price", type=float, nargs=2, metavar=("REQUESTS", "BYTES"),
                        default=(example.cdn.million_requests, example.cdn.gigabyte),
                        help="of a million requests, and of a GB")
    parser.add_argument("--store-price", type=float, nargs=2, metavar=("REQUESTS", "BYTES"),
                        default=(example.store.million_requests, example.store.gigabyte),
                        help="the same, where the CDN takes the files from")
    parser.add_argument("--seed", type=int, default=1, metavar="N")
    parser.add_argument("--document", type=pathlib.Path, metavar="FILE",
                        help="the document to write; its picture goes beside it")
    return parser.parse_args()


def main() -> None:
    arguments = parse_arguments()
    scenarios = Scenarios(Figures.load(arguments.figures), arguments.places, arguments.seed)
    bill = Bill(Price(*arguments.cdn_price), Price(*arguments.store_price), arguments.releases)
    text, picture = document(scenarios, bill)
    if arguments.document:
        arguments.document.write_text(text, encoding="utf-8")
        arguments.document.with_suffix(".svg").write_text(picture, encoding="utf-8")
    else:
        print(text)


if __name__ == "__main__":
    main()
