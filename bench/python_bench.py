#!/usr/bin/env python3
"""How fast the Python module brings records into numpy and pandas.

usage: python_bench.py [--build FOLDER] [--records N] [--rounds N] [--folder DIR]

Each round reads every record: the sum of the sequence numbers is compared with the known one, and the array with the
file. Needs python3-numpy and python3-pandas; run it with Debian's interpreter, /usr/bin/python3. Measure a release
build on a quiet machine."""

import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
LINES = 20  # one record in so many is a line of text, which takes 13 times the space


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=ROOT / "build/release", type=pathlib.Path)
    parser.add_argument("--records", default=10_000_000, type=int)
    parser.add_argument("--rounds", default=5, type=int)
    parser.add_argument("--folder", default=None, help="where the records are put")
    options = parser.parse_args()
    os.environ["VELSTAT"] = str(options.build / "bin/velstat")
    os.environ["VELPROFILE_LIBRARY"] = str(next(options.build.glob("lib/**/libvelprofile.so")))
    sys.path.insert(0, str(ROOT / "python"))
    import numpy
    import velprofile

    def velstat(path, *arguments):
        with path.open("wb") as file:
            subprocess.run([os.environ["VELSTAT"], *map(str, arguments)], check=True, stdout=file)
        return path

    with tempfile.TemporaryDirectory(dir=options.folder) as name:
        folder = pathlib.Path(name)
        raw = velstat(folder / "raw", "generate", "records", "--seed", "1", "--count", options.records)
        part = velstat(folder / "part", "generate", "records", "--seed", "1", "--count", options.records // LINES)
        text = velstat(folder / "text", "decode", "--format", "text", part)
        (counted,) = velprofile.query(raw, "SELECT count(*) AS n FROM zorb_event")
        every = velprofile.to_numpy(raw)

        def whole(sources, count):
            array = velprofile.to_numpy(sources)
            return len(array) == count and int(array["sequence_num"].sum()) == count * (count - 1) // 2

        def selected():
            return len(velprofile.select(velprofile.to_numpy(raw), "zorb-event")) == counted.n

        def framed():
            return len(velprofile.to_dataframe(raw, "zorb-event")) == counted.n

        def decoded():
            texts = velprofile.decode(part.read_bytes())
            return len(texts) == options.records // LINES and texts[-1].startswith("{  'category':")

        cases = [
            ("raw file into numpy", options.records, lambda: whole(raw, options.records)),
            ("the same through velstat", options.records, lambda: whole([raw, os.devnull], options.records)),
            ("lines of text into numpy", options.records // LINES, lambda: whole(text, options.records // LINES)),
            ("select() of a layout from the raw file", options.records, selected),
            ("to_dataframe() of that layout", options.records, framed),
            ("decode() to texts", options.records // LINES, decoded),
        ]
        if not numpy.array_equal(velprofile.to_numpy([raw, os.devnull]).view("V48"), every.view("V48")):
            sys.exit("velstat gives other records than the file")
        print(f"{options.records} records, {counted.n} of the layout; elapsed time of {options.rounds} rounds")
        print(f"{'':42}{'best, s':>9}{'median, s':>11}{'million records/s':>19}")
        for title, count, work in cases:
            times = []
            for _ in range(options.rounds):
                start = time.perf_counter()
                right = work()
                times.append(time.perf_counter() - start)
                if not right:
                    sys.exit(f"{title}: wrong answer")
            print(f"{title:42}{min(times):9.3f}{statistics.median(times):11.3f}{count / min(times) / 1e6:19.2f}")


main()
