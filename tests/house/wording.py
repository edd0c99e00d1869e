#!/usr/bin/env python3
"""Checks how the project is written: every source begins with a line that says what it is for, and comments, messages
and docs are free of phrases that need a second reading. Prints each place that fails."""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(sys.argv[1]).resolve()

# The phrase, and what to write instead.
PHRASES = [
    (r"\bwho(m|so)?ever\b", "name who it is"),
    (r"\bwhatever\b", "any, or name what it is"),
    (r"\bnobody [a-z]+", "no caller, no process, unused"),
    (r"(?<!there )\bis no (?!longer\b|more\b|less\b|such\b|\w+er\b)\w+", "is not a"),
    (r"(?<!there )\bare no (?!longer\b|more\b|less\b|such\b|\w+er\b)\w+", "are not"),
    (r"\bone (behind|after) the other\b", "consecutive"),
    (r"\bas (it|they) stands?\b", "unchanged"),
    (r"\bin turns\b", "alternately"),
    (r"\ball the same\b", "still"),
    (r"\bunless given\b", "default"),
    (r"\bstrangers?\b", "untrusted, hostile"),
    (r"\bof (its|their) own accord\b", "automatically"),
    (r"\bthe (less|more) the better\b", "lower is better"),
    (r"\bhalf-?way through\b", "in the middle of"),
]
TEXT = {".h", ".c", ".cpp", ".py", ".md", ".txt", ".cmake", ".sh", ".sql", ".ts", ".json", ".lua", ".bash", ".fish", ""}
# Golden files are output, and corpora are input.
EXEMPT = re.compile(r"(^|/)(golden|corpus|models|bad|unjudged)/|^tests/house/wording\.py$|package-lock\.json$")
SOURCES = {".h", ".c", ".cpp", ".ts"}
PURPOSE = re.compile(r"(#!.*\n)?\s*(//|/\*|#|\"\"\"|--)")


def main():
    names = subprocess.run(["git", "-C", ROOT, "ls-files", "-z"], check=True, capture_output=True).stdout
    failures = []
    seen = 0
    for name in filter(None, names.decode().split("\0")):
        path = ROOT / name
        if path.suffix not in TEXT or EXEMPT.search(name) or not path.is_file():
            continue
        try:
            text = path.read_text()
        except UnicodeDecodeError:
            continue
        seen += 1
        if path.suffix in SOURCES and not PURPOSE.match(text):
            failures.append(f"{name}:1: the first line does not say what the file is for")
        for number, line in enumerate(text.splitlines(), 1):
            for phrase, advice in PHRASES:
                if found := re.search(phrase, line, re.I):
                    failures.append(f'{name}:{number}: "{found.group()}": write: {advice}')
    print("\n".join(failures) or f"{seen} files say what they are for, in plain words")
    return 1 if failures or seen < 100 else 0


sys.exit(main())
