#!/usr/bin/env python3
"""Makes the manual page of a flat header, in section 3, and under the name of every function and
variable that it declares a page that leads there.

usage: flat_header.py VERSION FOLDER HEADER...

The page is the header: its comments as text, its declarations as they are, its "---- ... ----"
lines as headings.
"""
import gzip
import pathlib
import re
import sys

DECLARED = re.compile(r"^(?:extern )?ZEL_FTC_API [^;(]*?\*?(\w+)(?:\(|\[\w+\];|;)", re.M)
# Include guards, the two languages: of no use to a reader.
PLUMBING = re.compile(r"^#(?:if|endif|ifdef|ifndef|else|undef|include).*\n|^extern \"C\" {\n|"
                      r"^} /\* extern \"C\" \*/\n|^#define ZEL_\w+_H\n|"
                      r"^#define ZEL_ENUM_BASE.*\n| ZEL_ENUM_BASE|(?<!define )ZEL_FTC_API ", re.M)
PIECE = re.compile(r"/\*(.*?)\*/[ \t]*\n?", re.S)


def escaped(text):
    """Text that roff takes literally."""
    lines = text.replace("\\", "\\e").replace("-", "\\-").split("\n")
    return "\n".join("\\&" + line if line[:1] in (".", "'") else line for line in lines)


def prose(comment):
    """A comment as paragraphs; lists and drawings keep their lines."""
    lines = [re.sub(r"^ ?\* ?", "", line).rstrip() for line in comment.strip().split("\n")]
    text = "\n".join(lines).strip()
    heading = re.match(r"-{4} (.*?) -+(?:\n|$)", text)
    result = []
    if heading:
        result.append(f".SH {heading[1].upper()}")
        text = text[heading.end():]
    for paragraph in re.split(r"\n\s*\n", text.strip()):
        plain = not re.search(r"^( |\w+  )", paragraph, re.M)
        body = escaped(paragraph)
        if paragraph:
            result += [".PP", body] if plain else [".PP", ".nf", body, ".fi"]
    return result


def code(text):
    text = re.sub(r"\n{2,}", "\n", text).strip("\n")
    return [".PP", ".nf", ".RS 0", f"\\fB{escaped(text)}\\fP", ".RE", ".fi"] if text.strip() else []


def page(header, version):
    source = header.read_text()
    names = DECLARED.findall(source)
    about, rest = re.match(r"\s*/\*(.*?)\*/\n(.*)", source, re.S).groups()
    rest = PLUMBING.sub("", rest)
    summary = re.match(r"(.*?)\.(?:\s|$)", re.sub(r"\s*\n \* ?", " ", about.strip()))[1]
    result = [f'.TH {header.name} 3 "" "zel_ftc {version}" "zel_ftc"', ".nh", ".ad l", ".SH NAME",
              f"{header.name} \\- {escaped(summary)}",
              ".SH SYNOPSIS", ".nf", f"\\fB#include <{header.name}>\\fP", "",
              r"cc \fIfile\fP.c $(pkg\-config \-\-cflags \-\-libs zel_ftc)", ".fi",
              ".SH DESCRIPTION", *prose(about)]
    # A comment on lines of its own is text; one beside or inside a declaration belongs to it.
    for block in re.split(r"(^/\*.*?\*/[ \t]*\n)", rest, flags=re.M | re.S):
        comment = PIECE.fullmatch(block)
        result += prose(comment[1]) if comment else code(block)
    return names, "\n".join(result) + "\n"


def main():
    version, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    for header in map(pathlib.Path, sys.argv[3:]):
        names, text = page(header, version)
        write(folder, header.name, text)
        for name in names:
            write(folder, name, f".so man3/{header.name}.3\n")


def write(folder, name, text):
    """Compressed without a time, so that the same header gives the same file."""
    (folder / f"{name}.3.gz").write_bytes(gzip.compress(text.encode(), mtime=0))


main()
