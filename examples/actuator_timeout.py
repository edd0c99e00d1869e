#!/usr/bin/env python3
"""Finds clicks that were sensed and not felt, and draws them: actuator_timeout.py CAPTURE [PICTURE.png]

Prints a line for each start of a haptic: the waveform that was played, or the failure that came in its place, and how
long after the start. With a picture, draws the steps of the actuator on a time axis, a row for each of the first starts
that failed, or for the first starts if none did. An example of the module velprofile, on a capture of models/actuator-timeout.json or of a device.
"""

import os
import sys

import velprofile

FAILURES = ("HaldenCLTimeOut", "HaldenCLFault")
OUTCOMES = ("ckp_HaldenPlayAsset", *FAILURES)
ROWS = 6  # at most, in the picture
BEFORE, AFTER = 60_000, 250_000  # microseconds around a start that the picture shows


def steps_of(capture):
    """What actuator and latency checkpoints did, as a frame ordered by time."""
    frame = velprofile.to_dataframe(capture, "zorb-event")
    return frame[frame["component"].isin(["halden", "latency"])]


def starts_of(steps):
    """Each start of a haptic with its outcome: (time, outcome, time of the outcome)."""
    starts = []
    for step in steps[steps["trace"].isin(["ckp_HaldenStartHaptics", *OUTCOMES])].itertuples():
        if step.trace == "ckp_HaldenStartHaptics":
            starts.append((step.timestamp, None, None))
        elif starts and starts[-1][1] is None:
            starts[-1] = (starts[-1][0], step.trace, step.timestamp)
    return starts


def draw(steps, starts, picture):
    """A row for each start; failures are red crosses."""
    import matplotlib

    matplotlib.use("Agg")  # draws without a screen
    from matplotlib import pyplot

    figure, rows = pyplot.subplots(len(starts), squeeze=False, sharex=True, figsize=(10, 1 + 3 * len(starts)))
    for axes, (start, outcome, _) in zip(rows[:, 0], starts):
        times = steps["timestamp"].astype("int64") - start
        shown = steps[(times >= -BEFORE) & (times <= AFTER)]
        milliseconds = (shown["timestamp"].astype("int64") - start) / 1000
        for trace, at in zip(shown["trace"], milliseconds):
            failed = trace in FAILURES
            axes.plot(at, trace, "rX" if failed else "b|", markersize=12)
        axes.axvline(0, linewidth=0.5)
        axes.set_title(f"start at {start / 1e6:.6f} s: {outcome or 'no outcome'}")
    rows[-1, 0].set_xlabel("milliseconds after the start of the haptic")
    figure.tight_layout()
    figure.savefig(picture)


def main(capture, picture=None):
    steps = steps_of(capture)
    starts = starts_of(steps)
    for start, outcome, ended in starts:
        after = f" after {(ended - start) / 1000:.1f} ms" if ended is not None else ""
        print(f"{start / 1e6:.6f} s  {outcome or 'no outcome'}{after}")
    failed = [start for start in starts if start[1] in FAILURES]
    print(f"{len(failed)} of {len(starts)} starts of a haptic failed")
    if picture is not None and starts:
        draw(steps, (failed or starts)[:ROWS], picture)


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    try:
        main(*sys.argv[1:])
        sys.stdout.flush()
    except velprofile.Error as error:
        sys.exit(str(error))
    except BrokenPipeError:  # the reader has seen enough; the interpreter's last flush must not complain either
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
