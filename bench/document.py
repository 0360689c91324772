"""Forms the tables of docs/BENCHMARKS.md from what was measured.

A series is the list of what one thing took in each round of a run, in seconds. Ratios are formed within a
round, or between the minima of one run, never between runs.
"""
import statistics

MIB = 1024 * 1024
NOT_MEASURED = "-"


def table(head, rows):
    """A table of Markdown; columns but the first are aligned to the right."""
    lines = ["| " + " | ".join(head) + " |", "|---|" + "---:|" * (len(head) - 1)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def number(value):
    """Three digits that count, and no more than stand before the point."""
    if value is None:
        return NOT_MEASURED
    digits = 0 if value >= 100 else 1 if value >= 10 else 2
    return f"{value:,.{digits}f}"


def spread(series, unit=1.0):
    """Minimum and median, in units of so many seconds."""
    if not series:
        return NOT_MEASURED
    return f"{number(min(series) / unit)} / {number(statistics.median(series) / unit)}"


def times(series, of):
    """How many times `of` the series took: between the minima, and the median of the rounds."""
    if not series or not of:
        return NOT_MEASURED
    rounds = [one / other for one, other in zip(series, of)]
    return f"{number(min(series) / min(of))} / {number(statistics.median(rounds))}"


def compared(series, of):
    """How many times `of` the series took, where the two did not run in the same rounds: between the
    minima, and between the medians."""
    if not series or not of:
        return NOT_MEASURED
    return (f"{number(min(series) / min(of))} / "
            f"{number(statistics.median(series) / statistics.median(of))}")


def growth(by_size):
    """How much more an account costs at the largest size than at the smallest, between minima."""
    if len(by_size) < 2:
        return None
    per_account = {size: min(series) / size for size, series in by_size.items()}
    return per_account[max(by_size)] / per_account[min(by_size)]


def seconds_of(costs):
    return [cost.seconds for cost in costs]


def works_table(works, on_current, measured, size):
    """What each work on settings of that many accounts took, in milliseconds and in R+W. `works` are
    (name, title, goal, goal of memory), and those in `on_current` are held against the R+W of the
    settings of version 12."""
    rows = []
    for name, title, goal, memory in works:
        costs = measured.get((name, size), [])
        unit = seconds_of(measured.get(("mark-current" if name in on_current else "mark", size), []))
        peak = max((cost.peak for cost in costs), default=None)
        rows.append([title, spread(seconds_of(costs), 1e-3), times(seconds_of(costs), unit), goal,
                     number(peak / MIB) if peak else NOT_MEASURED, memory])
    return table(["", "ms, min / median", "R+W, min / median", "goal", "peak, MiB", "goal"], rows)


def growth_table(works, measured, sizes, goals=None):
    """The cost of an account, in microseconds, at each size."""
    rows = []
    for name, title, *_ in works:
        by_size = {size: seconds_of(measured[name, size]) for size in sizes if (name, size) in measured}
        cells = [number(min(by_size[size]) / size * 1e6) if size in by_size else NOT_MEASURED
                 for size in sizes]
        rows.append([title, *cells, number(growth(by_size)), (goals or {}).get(name, "")])
    return table(["µs for an account, min", *(f"{size:,}" for size in sizes), "growth", "goal"], rows)


def counts_table(counts):
    """What the library did in a migration, by the number of accounts."""
    sizes = sorted(counts)
    rows = [[title, *(counts[size][key] for size in sizes)]
            for key, title in (("parsed", "settings parsed"), ("serialized", "settings serialised"),
                               ("stores", "stores built"))]
    return table(["", *(f"{size:,}" for size in sizes)], rows)


def codec_work_table(works, codec_work):
    """How often each work read and wrote the settings."""
    rows = [[title, *(f"{codec_work[name][key]:.1f}" for key in ("parsed", "serialized"))]
            for name, title, *_ in works if name in codec_work]
    return table(["", "read", "written"], rows)


CODEC_GOALS = {("read/binary", 12): 3, ("read/binary", 1000): 5, ("read/binary", 100000): 5,
               ("write/binary", 12): 6, ("write/binary", 1000): 6,
               ("read/xml", 12): 3, ("read/xml", 1000): 3, ("read/xml", 100000): 3,
               ("write/xml", 12): 2, ("write/xml", 1000): 2, ("write/xml", 100000): 2}


def codec_table(codec, sizes):
    """`codec` is {"read/binary/this/12": series, ...}; the peers are "c" and "python"."""
    rows = []
    for work in ("read/binary", "write/binary", "read/xml", "write/xml"):
        for size in sizes:
            own, c, python = (codec.get(f"{work}/{who}/{size}", []) for who in ("this", "c", "python"))
            rows.append([f"{work.replace('/', ', ')}, {size:,}", spread(own, 1e-6), spread(c, 1e-6),
                         compared(c, own), CODEC_GOALS.get((work, size), ""), compared(python, own)])
    return table(["accounts", "µs, min / median", "C library, µs", "C library takes, times", "goal",
                  "Python takes, times"], rows)


def small_table(rows):
    """Commands on a small device: (title, costs, counts by strace or None, goal)."""
    cells = []
    for title, costs, counts, goal in rows:
        counted = [counts[key] for key in ("calls", "flushes", "renames")] if counts else (
            [NOT_MEASURED] * 3)
        cells.append([title, spread(seconds_of(costs), 1e-3), goal, *counted])
    return table(["", "ms, min / median", "goal, ms", "system calls", "flushes", "renames"], cells)


LOADER_NOTE = """\
The command is measured as it is installed beneath a prefix. Of the system calls of each of its runs, some
110 are those of the loader, before the first line of the program; 40 of them look for libraries where none
are, beside the command and in variants of that folder. A package in the system's own folders is spared
them: its `migrate` with its backup takes 398 calls.
"""

# Figures by callgrind, on settings of 20,000 accounts of version 0 (12 for `set`), and by strace.
WHAT_BOUNDS = """\
## What bounds what is not reached

Where the instructions go, by callgrind, on settings of 20,000 accounts:

- **The library's chain** takes 66,000 instructions for an account. One parsing is 10 % of them and the two
  serialisations 24 %; mending and merging in seven saves are 12 %, most of it looking at what a step has changed;
  exchanging the accounts of a type (four times) is 6 %, and the rules of data classes are 9 %. The search for
  a key is 10 % in all, malloc and free are 10 %; no other function by itself is above 5 %. At 100,000 accounts the
  processor waits for memory: the work is the same (see the counts above), the time for an account two fifths
  more; and a quarter of the time is the system's: 9 % for writing seven files and a copy, 3 % for reading them
  again, 10 % for the pages of memory. Huge pages (by the C library's tunable) make the program's own part 5 %
  shorter and the system's longer by more than that. The peak is at the second serialisation: beside the bytes
  (36 MB) and the numbering of the objects (31 MB), the accounts as they were loaded, which whoever is
  told of changes is told against, the accounts as they are, and the records and indexes of the store.
- **`migrate` and `plan`** run the chain, and tell what it does: of `migrate`'s time the staged run is 65 %, the ledger
  12 %, the inspection 7 %, matching the accounts of each step 6 %, the backup 3 %, the history 2 %; `plan` takes 11 %
  for finding identifiers that were made anew, instead of the last two. As long as the chain is above 4.3 R+W, so is
  `plan`. Beside what the library holds at its peak, they hold the file as it was (40 MiB), with which the device is
  compared before anything is written, the settings as they are staged (35 MiB), which the library has on the disk,
  and the accounts that the steps have changed, as they were before.
- **`report`** is a plan (about half), the settings told with stand-ins (19 %), the learning of what is personal
  (13 %), the plan told, nearly all of it sentences (11 %), and the summary (4 %). It is written as it is
  redacted: its memory is that of the settings and the plan.
- **`set`** parses once and serialises once; of what it takes, serialising was 18 %, the inspection 16 %, parsing
  15 % and making the store 10 % before a second serialisation (18 %) went.
- **`show` of a dozen accounts** takes 1 ms more than the bare C++ program. Its own system calls are few; the command
  is a large program whose 420 symbols, and those of its library, are all bound at the start, as in a hardened
  program they have to be. It has the host in itself: a library of its own for that would take 6 % more.
- **`migrate` of a dozen accounts**: beside the loader's, about 330 system calls. 21 flushes with the
  openings, writings and closings around them are 100; to look at what every run has to look at, 80 (a file that
  is read first is looked at, opened, looked at again, read and closed, so that no device or link of an image
  is ever opened); to look at it again before the commit, 50; the lock, the configuration and the plug-in 50.
- **One of many devices** takes its worker 4.6 million instructions (the sums left out), of which the staged run is
  40 %, its judgement 14 %, the history with every change 28 % and the backup 6 %; no function by itself is above
  7 %. Time does not follow them: 18 % fewer took 6 % less, for a worker begins with nothing of it in the
  processor's tables. Two fifths of the time are the system's: 310 calls, 100 of them openings of files (8 %), 190 page
  faults after the fork (19 % of all; half of them for code, which a fork does not hand on), and the fork (4 %). What the
  system alone takes for that many pages and calls stands in the last rows of the table below: no program is faster.
"""


def slower(before, after):
    """Compares two builds that ran alternately: (median ratio, noise, verdict). The noise is how far
    apart successive runs of one build lie, in the median; only what lies beyond it is told."""
    ratio = statistics.median(new / old for old, new in zip(before, after))
    successive = [abs(second / first - 1) for series in (before, after)
                  for first, second in zip(series, series[1:])]
    noise = statistics.median(successive) if successive else 0.0
    if ratio > 1 + noise and min(after) > min(before):
        return ratio, noise, "slower"
    if ratio < 1 - noise and min(after) < min(before):
        return ratio, noise, "faster"
    return ratio, noise, ""


def comparison_table(measured_before, measured_after):
    """What both builds were measured at: {title: series} each."""
    rows = []
    for title, before in measured_before.items():
        after = measured_after.get(title)
        if not after:
            continue
        ratio, noise, verdict = slower(before, after)
        rows.append([title, spread(before, 1e-3), spread(after, 1e-3), f"{ratio:.3f}",
                     f"{noise * 100:.1f} %", verdict])
    return table(["", "before, ms", "now, ms", "ratio", "noise", ""], rows)
