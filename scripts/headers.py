"""Reads the public headers: what each declares, and the comment that documents it.

A comment right above a declaration documents it and those that follow without a blank line; one
after a declaration, on its row, documents that one; one by itself is a heading; the first of all
says what the header is for."""

import collections
import re

# kind: "heading", "macro", "type", "enum", "variable" or "function". names: what it declares.
# code: the declaration with the comments in it. comment: its lines, without stars.
Part = collections.namedtuple("Part", "kind names code comment")


def comment_lines(text):
    """The lines of a comment without its marks; a line of its own keeps its indentation."""
    text = re.sub(r"^/\*+<?|\*/$", "", text.strip())
    return [re.sub(r"^\s*\* ?", "", line).rstrip() for line in text.strip().split("\n")]


def without_comments(code):
    return re.sub(r"/\*.*?\*/", "", code, flags=re.S)


def expanded(text):
    """The text with the one macro that declares functions undone."""
    define = re.search(r"#define VARNO_BUILTIN\(id\)((?:[^\n]*\\\n)+[^\n]*)\n", text)
    if not define:
        return text
    prototype = re.sub(r"\s*\\?\n\s*", " ", define[1].replace("\\\n", "\n")).strip()
    text = text.replace(define[0], "").replace("#undef VARNO_BUILTIN\n", "")
    return re.sub(r"VARNO_BUILTIN\((\w+)\);",
                  lambda use: prototype.replace("##id##", use[1]) + ";", text)


def is_whole(code):
    bare = without_comments(code).strip()
    if "/*" in bare:  # a comment goes on
        return False
    if bare.startswith("#"):
        return not bare.endswith("\\")
    return bare.count("{") == bare.count("}") and bare[-1:] in (";", "}")


def kind_and_names(code):
    bare = without_comments(code).strip()
    if bare.startswith("#define"):
        return "macro", re.findall(r"#define (\w+)", bare)
    if bare.startswith("typedef"):
        pointer = re.search(r"\(\*(\w+)\)\(", bare)
        return "type", [pointer[1] if pointer else re.findall(r"\w+", bare)[-1]]
    if bare.startswith("enum"):
        return "enum", re.findall(r"\b([A-Z]\w+)\b(?=\s*(?:=|,|}))", bare)
    if bare.startswith("struct"):
        return "type", re.findall(r"struct (\w+)", bare)[:1]
    bare = re.sub(r"VARNO_(API|NORETURN)\s", "", bare)
    if " extern " in " " + bare:
        return "variable", re.findall(r"(\w+)(?:\[\d*\])?;", bare)
    return "function", re.findall(r"(\w+)\(", bare)[:1]


def read(path):
    """(the lines of the first comment, the parts) of a header. One in C++ has no parts: its
    classes are read where they are written."""
    text = expanded(path.read_text(encoding="utf-8"))
    if path.suffix == ".hpp":
        return comment_lines(re.search(r"/\*.*?\*/", text, re.S)[0]), []
    lines = text.split("\n")
    parts, introduction, comment, group = [], [], None, []
    at = 0
    while at < len(lines):
        taken = lines[at]
        at += 1
        if not taken.strip():
            if comment and introduction:
                parts.append(Part("heading", [], "", comment))
            introduction = introduction or comment or []
            comment, group = None, []
        elif taken.startswith("/*"):
            while "*/" not in taken:
                taken += "\n" + lines[at]
                at += 1
            comment = group = comment_lines(taken)
        elif taken.startswith("#else"):  # the same names, for other compilers
            while not lines[at].startswith("#endif"):
                at += 1
        elif re.match(r"#(if|endif|include|undef)|extern \"C\"|}$|#define VARNO_\w+_H$", taken):
            while taken.endswith("\\"):
                taken = lines[at]
                at += 1
        else:
            while not is_whole(taken):
                taken += "\n" + lines[at]
                at += 1
            trailing = re.search(r"[^\n]\s*(/\*(?:(?!\*/).)*\*/)$", taken, re.S)
            is_own = trailing and (taken.startswith("#") or "{" not in taken)
            own = comment_lines(trailing[1]) if is_own else group
            parts.append(Part(*kind_and_names(taken), taken, own))
            comment = None
    return introduction, parts
