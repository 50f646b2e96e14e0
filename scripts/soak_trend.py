"""Judges whether samples of a process grow."""

import math

# How much the linear trend over the last two thirds of the run may add, apart from twice its standard error: memory in
# KiB, which the allocator's threads still collect in short runs, and numbers.
GROWTH = {"rss": 4096, "pss": 4096, "descriptors": 8, "threads": 1}
# What may be left of each when all clients have gone: kept sessions with the engine, which take four descriptors each.
LEFT = {"descriptors": 20, "threads": 0}


def trend(points):
    """Returns what the linear trend adds from the first to the last point, and its standard error."""
    count = len(points)
    mean_x = sum(x for x, _ in points) / count
    mean_y = sum(y for _, y in points) / count
    spread = sum((x - mean_x) ** 2 for x, _ in points)
    slope = sum((x - mean_x) * (y - mean_y) for x, y in points) / spread
    residue = sum((y - mean_y - slope * (x - mean_x)) ** 2 for x, y in points)
    span = points[-1][0] - points[0][0]
    return slope * span, math.sqrt(residue / max(count - 2, 1) / spread) * span


def failures(samples):
    """`samples` are pairs of a time and the values at that time."""
    last = samples[len(samples) // 3:]
    if len(last) < 3:
        return ["the run was too short to have a trend"]
    found = []
    for name, allowed in GROWTH.items():
        growth, error = trend([(when, values[name]) for when, values in last])
        print("   %-12s grows by %.1f, standard error %.1f, in the last two thirds" % (name, growth, error))
        if growth - 2 * error > allowed:
            found.append("%s grows by %.1f; %d are allowed" % (name, growth, allowed))
    return found
