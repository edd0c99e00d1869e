"""From markdown to the text of a manual page."""

import pathlib
import re
import subprocess

FILTER = pathlib.Path(__file__).with_name("pandoc.lua")


def minus(roff):
    """A hyphen of code becomes a minus, which can be copied and ends no line."""
    return re.sub(r"(?<!\\)(?<!\\\[)-", r"\\-", roff)


def from_markdown(markdown):
    roff = subprocess.run(["pandoc", "--from=gfm+definition_lists+raw_attribute", "--to=man",
                           "--shift-heading-level-by=-1", f"--lua-filter={FILTER}"],
                          input=markdown, stdout=subprocess.PIPE, text=True, check=True).stdout
    # Blocks of code are in the terminal's only font.
    roff = re.sub(r"^\.nf\n\\f\[C\]\n(.*?)\\f\[R\]\n\.fi$", lambda code: f".nf\n{minus(code[1])}.fi", roff,
                  flags=re.M | re.S)
    roff = re.sub(r"\\f\[B\].*?\\f\[R\]", lambda code: minus(code[0]), roff, flags=re.S)
    # A list without blanks that is longer than a line ends it after a comma.
    roff = re.sub(r"[^ \n]{70,}", lambda word: word[0].replace(",", r",\:"), roff)
    # A heading begins a paragraph.
    return re.sub(r"^(\.S[HS] .*\n)\.PP\n", r"\1", roff, flags=re.M)


def raw_line(roff):
    """A paragraph for from_markdown() that is roff already."""
    return f"```{{=man}}\n.PP\n{roff}\n```\n\n"


def bold(text):
    return f"\\fB{minus(text)}\\fR"


def italic(text):
    return f"\\fI{minus(text)}\\fR"
