"""Turns markdown into the text of a manual page."""

import pathlib
import re
import subprocess

FILTER = pathlib.Path(__file__).with_name("pandoc.lua")


def minus(roff):
    """A hyphen in code becomes a minus, which can be copied, and at which no line is broken."""
    return re.sub(r"(?<!\\)(?<!\\\[)-", r"\\-", roff)


def from_markdown(markdown):
    roff = subprocess.run(["pandoc", "--from=gfm+definition_lists+raw_attribute", "--to=man",
                           "--shift-heading-level-by=-1", f"--lua-filter={FILTER}"],
                          input=markdown, stdout=subprocess.PIPE, text=True, check=True).stdout
    # Code blocks need no font of their own: a terminal has only one.
    roff = re.sub(r"^\.nf\n\\f\[C\]\n(.*?)\\f\[R\]\n\.fi$", lambda code: f".nf\n{minus(code[1])}.fi", roff,
                  flags=re.M | re.S)
    roff = re.sub(r"\\f\[B\].*?\\f\[R\]", lambda code: minus(code[0]), roff, flags=re.S)
    # A list without blanks that is longer than a line may be broken after commas.
    roff = re.sub(r"[^ \n]{70,}", lambda word: word[0].replace(",", r",\:"), roff)
    # A heading begins a paragraph anyway, so .PP after it is dropped.
    return re.sub(r"^(\.S[HS] .*\n)\.PP\n", r"\1", roff, flags=re.M)


def raw_line(roff):
    """A paragraph of roff, to be passed through from_markdown() unchanged."""
    return f"```{{=man}}\n.PP\n{roff}\n```\n\n"


def bold(text):
    return f"\\fB{minus(text)}\\fR"


def italic(text):
    return f"\\fI{minus(text)}\\fR"
