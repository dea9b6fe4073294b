"""A short soak; scripts/soak does long ones.

TAVORIN_SOAK_SEED, TAVORIN_SOAK_LINES and TAVORIN_SOAK_SECONDS set the seed and the least of each.
"""

import os
import random

from soak import Soak

LINES = int(os.environ.get("TAVORIN_SOAK_LINES", "20000"))
SECONDS = float(os.environ.get("TAVORIN_SOAK_SECONDS", "0"))

# The checkers of a sanitizer build keep what was freed.
MEMORY_COUNTS = not os.environ.get("TAVORIN_PRELOAD")


def test_lines_by_the_thousand(shell, tmp_path):
    seed = int(os.environ.get("TAVORIN_SOAK_SEED") or random.SystemRandom().randrange(10 ** 6))
    print("TAVORIN_SOAK_SEED=%d" % seed)
    found = Soak(shell, tmp_path / "log", seed).run(LINES, SECONDS)
    print(found)
    assert not found.problems(MEMORY_COUNTS)
    assert min(found.recalled, found.completed, found.interrupted, found.logged) > 0
