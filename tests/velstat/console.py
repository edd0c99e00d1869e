"""The commands that a page of the documentation shows, and what it shows that they print."""

import re


def commands(document):
    """Pairs of a command and the lines below it, from the blocks marked `console`."""
    blocks = re.findall(r"^```console\n(.*?)^```$", document.read_text(), flags=re.M | re.S)
    return re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", "".join(blocks), flags=re.M)


def pattern(shown):
    """What matches the lines; a line "…" is any number of lines."""
    return "".join("(?:.*\n)*" if line == "…\n" else re.escape(line) for line in shown.splitlines(keepends=True))
