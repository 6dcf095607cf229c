"""Text as manual pages have it, in mdoc(7)."""

import re
import textwrap


def escaped(text):
    text = text.replace("\\", "\\e")
    return "\\&" + text if text[:1] in (".", "'") else text


def quoted(text):
    return '"' + escaped(text).replace('"', '\\(dq') + '"'


def filled(rows):
    """A sentence begins a line, and none is long."""
    sentences = re.split(r"(?<=[.?!]) +", " ".join(row.strip() for row in rows if row.strip()))
    return [escaped(row) for sentence in sentences for row in textwrap.wrap(
        sentence, 78, break_long_words=False, break_on_hyphens=False)]


def literal(lines):
    return [".Bd -literal", *(escaped(line.rstrip()) for line in lines), ".Ed"]


def date_of(root):
    """The date of the pages that are written by scripts: that of varno(7)."""
    return re.match(r"\.Dd (.*)", (root / "man/varno.7").read_text(encoding="utf-8"))[1]
