"""The arithmetic: medians, spreads, ratios and targets."""

import dataclasses
import statistics


def quantile(values, share):
    """The value below which this share of them lies, between two of them where need be."""
    ordered = sorted(values)
    place = share * (len(ordered) - 1)
    below = int(place)
    above = min(below + 1, len(ordered) - 1)
    return ordered[below] + (ordered[above] - ordered[below]) * (place - below)


def median(values):
    return statistics.median(values)


@dataclasses.dataclass(frozen=True)
class Ratio:
    """A ratio of two medians; `low` and `high` hold the middle half of the ratios of the single
    rounds, in each of which both programs had their turn one soon after the other."""
    value: float
    low: float
    high: float


def ratio(ours, theirs):
    """None where there is nothing to divide, or by."""
    pairs = [(a, b) for a, b in zip(ours, theirs) if b]
    if not pairs or not median(theirs):
        return None
    rounds = [a / b for a, b in pairs]
    return Ratio(median(ours) / median(theirs), quantile(rounds, 0.25), quantile(rounds, 0.75))


class Samples:
    """What was measured: by figure, by program, one value for each round. And why there is none."""

    def __init__(self):
        self.values = {}
        self.wrong = {}

    def add(self, figure, program, value):
        self.values.setdefault(figure, {}).setdefault(program, []).append(value)

    def of(self, figure, program):
        return self.values.get(figure, {}).get(program, [])

    def set_wrong(self, work, program, why):
        """The program did this work wrongly, so it has no figures for it, however fast they are."""
        self.wrong.setdefault((work, program), why)

    def is_wrong(self, work, program):
        return (work, program) in self.wrong

    def drop(self, figures, program):
        for figure in figures:
            self.values.get(figure, {}).pop(program, None)

    def median(self, figure, program):
        values = self.of(figure, program)
        return median(values) if values else None

    def ratio(self, figure, ours, theirs):
        if not self.of(figure, ours) or not self.of(figure, theirs):
            return None
        return ratio(self.of(figure, ours), self.of(figure, theirs))


@dataclasses.dataclass(frozen=True)
class Target:
    """`figure` of ours shall be at most so many times that of `peer`; without a peer, at most so
    much. Where the spread counts, the low end of it has to be."""
    figure: str
    peer: str
    most: float
    spread_counts: bool = False


def judge(target, samples, ours):
    """Returns the ratio (or the value, where there is no peer) and what to say of it."""
    if target.peer is None:
        value = samples.median(target.figure, ours)
        if value is None:
            return None, "not measured"
        return value, "met" if value <= target.most else "missed"
    found = samples.ratio(target.figure, ours, target.peer)
    if found is None:
        return None, "not measured"
    # As precise as it is printed: 1.0001 is no miss.
    if round(found.value, 3) <= target.most:
        return found, "met"
    if target.spread_counts and found.low <= target.most:
        return found, "met within the spread"
    return found, "missed by %.1f %%" % ((found.value / target.most - 1) * 100)
