"""Reads a C header for its manual page: each declaration with the comment before it."""

import re


def blocks(header):
    """Each piece of code with the comment before it: (comment, code)."""
    body = header[header.index('extern "C" {'):header.rindex("#ifdef __cplusplus")]
    body = re.sub(r'^(#.*|extern "C".*)\n', "", body, flags=re.M)
    for comment, code in re.findall(r"^((?://.*\n)*)((?:(?!//).+\n)+)", body, re.M):
        yield " ".join(line[2:].strip() for line in comment.splitlines()), code.rstrip()


def functions_in(code):
    return re.findall(r"\b(\w+)\(", code)


def functions(header):
    return [name for _, code in blocks(header) if "_API" in code for name in functions_in(code)]


def declaration(code):
    return re.sub(r"^\w+_API ", "", code, flags=re.M)


def synopsis(header):
    declared = "\n".join(re.sub(r"\n +", " ", declaration(code)) for _, code in blocks(header) if "_API" in code)
    return f"```\n#include <profile/velprofile.h>\n\n{wrapped(declared)}\n```\n"


def wrapped(declarations):
    """The declarations in lines of at most 70 columns; continuation lines are indented."""
    lines = []
    for line in declarations.splitlines():
        while len(line) > 70:
            cut = line.rindex(", ", 0, 70) + 1
            lines.append(line[:cut])
            line = "    " + line[cut + 1:]
        lines.append(line)
    return "\n".join(lines)


def sections(header):
    """The sections FUNCTIONS, and TYPES AND CONSTANTS, in markdown."""
    text = "## Functions\n\n"
    for comment, code in blocks(header):
        if "_API" in code:
            names = ", ".join(f"**{name}**()" for name in functions_in(code))
            text += f"{names}\n\n:   {prose(comment)}\n\n"
    text += "## Types and constants\n\n"
    for comment, code in blocks(header):
        if "_API" not in code:
            text += f"{prose(comment)}\n\n```\n{code}\n```\n\n"
    return text


def prose(comment):
    """A comment in markdown: its names are code."""
    return re.sub(r"\b(VEL_PROFILE_\w+|vel_profile_\w+)\b", r"`\1`", comment.replace("*", "\\*"))
