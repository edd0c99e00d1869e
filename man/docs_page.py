"""Divides a page of docs/ into its parts."""

import re

from option_tables import HEADER

LINK = re.compile(r"\[([^\]]*)\]\(([^)]*)\)")


def outside_code(text, change):
    """Applies `change` to the text outside of code blocks."""
    parts = re.split(r"(^```.*?^```$)", text, flags=re.M | re.S)
    return "".join(part if part.startswith("```") else change(part) for part in parts)


def with_links(text, link):
    """The text with `link(words, target)` in place of each link."""
    return outside_code(text, lambda part: LINK.sub(lambda found: link(*found.groups()), part))


def parts_of(page):
    """The introduction and the sections, {heading: text}, without the title and the tables of options."""
    page = re.sub(r"\A# .*\n", "", page)
    page = re.sub(rf"^{re.escape(HEADER)}\n(\|.*\n?)+", "", page, flags=re.M)
    mark = "\0"  # before each heading: a block of code may have lines that look like one
    page = outside_code(page, lambda part: re.sub(r"^##? (?=\S)", mark, part, flags=re.M))
    introduction, *sections = page.split(mark)
    return introduction.strip() + "\n", {title.strip(): text.strip() + "\n"
                                         for title, _, text in (section.partition("\n") for section in sections)}


def without_examples(introduction):
    """The introduction without its first block of shell commands, and that block or nothing."""
    found = re.search(r"^```sh\n.*?^```\n", introduction, re.M | re.S)
    return (introduction.replace(found[0], ""), found[0]) if found else (introduction, "")
