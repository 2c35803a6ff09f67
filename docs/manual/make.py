"""Makes the manual for scripts/manual: pages for man(1) in build/manual, and the same as HTML.

The pages of section 3 are made from the comments of the public headers: a page for each section of a header, with the
program docs/manual/examples/PAGE.c if it exists. The pages of the other sections are docs/manual/*.md, in which these
lines are replaced:
    @conventions HEADER@    the header's first comment
    @pages HEADER@          its sections, and the functions of each
    @codes@                 the error codes
    @example NAME@          docs/manual/examples/NAME.c
    @guide HEADING@         that section of the guide, without its commands
    @commands@              the commands of xavoctl and their options, from its help
    @schema PART@           the members that a part of the schema of xavoctl's documents describes
    @options@, @statuses@   the options of all commands with the other sections of help, and the exit statuses
    @examples@              the examples of all commands
The same pages, the guide and the other documents are written as HTML to build/manual/html. --check fails if an exported
function has no page, a page names an error code, a constant or a page that does not exist, a link has no target, an
example does not compile, docs/call.svg differs from docs/call.dot, or mandoc reports an error in a page.
"""
import argparse
import json
import os
import re
import subprocess
import sys
from datetime import datetime, timezone
from html.parser import HTMLParser
from pathlib import Path

os.chdir(Path(__file__).resolve().parents[2])
OUT = Path("build/manual")
SOURCES = Path("docs/manual")


class Header:
    """A public header: its path, the pkg-config name of its library, its overview page, and the library's version
    script. It may include another header, `types`: the page of a section also describes the section of `types` that has
    the same title."""

    def __init__(self, path, library, overview, exports, types=None):
        self.path, self.library, self.overview, self.exports = Path(path), library, overview, exports
        self.types = [Path(types)] if types else []

    def read(self):
        self.opening, self.sections = read_header(self.path)
        for path in self.types:
            for section in read_header(path)[1]:
                own = next(own for own in self.sections if own.title == section.title)
                own.entries = section.entries + own.entries


COMMON = "With every command, before or after it"  # a heading of xavoctl's help
HEADERS = [
    Header("libxavo/include/XAVO.h", "xavo", "xavo(7)", "libxavo/libxavo.map", "libxavo/include/XAVO_types.h"),
    Header("companion/include/XAVO_companion.h", "xavo-companion", "xavo(7)",
           "companion/libxavo_companion.map"),
    Header("simulator/include/cimsim.h", "xavo-simulator", "cimsim(7)",
           "simulator/libcmpisfcc.map"),
]
ENVIRONMENT = {"CIMSIM_ONLY", "CIMSIM_SCENE", "CIMSIM_STATE", "CREDENTIALS_DIRECTORY", "SFCC_CLIENT", "HULM_LEVEL",
               "LD_LIBRARY_PATH", "LD_PRELOAD", "NO_COLOR", "XAVO_METRICS"}
FUNCTION = re.compile(r"\b((?:XAVO|cimsim)_\w+)\(")
HEADING = re.compile(r"^/\* -+ (.*?) -+ \*/$")


def version():
    return re.search(r"project\(libxavo VERSION (\S+)", Path("CMakeLists.txt").read_text()).group(1)


def date():
    """Returns the date of the last commit, so that the same sources make the same pages."""
    seconds = os.environ.get("SOURCE_DATE_EPOCH") or subprocess.run(
        ["git", "log", "-1", "--format=%ct"], check=True, capture_output=True, text=True).stdout
    return datetime.fromtimestamp(int(seconds), timezone.utc).date().isoformat()


# ---- Reading a header --------------------------------------------------------------------------------


class Entry:
    """A comment and the declarations directly below it; one of the two may be missing."""

    def __init__(self, comment, code):
        self.comment, self.code = comment, code
        flat = re.sub(r"/\*.*?\*/", "", code, flags=re.S)
        flat = re.sub(r"\{.*?\}", "", flat, flags=re.S)
        flat = re.sub(r"^#.*(?:\\\n.*)*$", "", flat, flags=re.M)
        self.functions = [] if "typedef" in flat and "(*" in flat else FUNCTION.findall(flat)


class Section:
    def __init__(self, title):
        self.title, self.entries = title, []

    def functions(self):
        return [name for entry in self.entries for name in entry.functions]

    def page(self):
        """Returns the name of the page: the first function that calls a method, or else the first function."""
        return next((name for name in self.functions() if name.startswith("XAVO_invoke_")), self.functions()[0])


def plain(comment):
    """Returns the text of a comment, without its stars."""
    text = re.sub(r"^/\*+ ?|\s*\*/$", "", comment.strip())
    return re.sub(r"^ \* ?", "", text, flags=re.M).rstrip()


def read_header(path):
    """Returns the text of the first comment, and the sections."""
    text = path.read_text()
    opening = re.match(r"/\*.*?\*/", text, re.S).group(0)
    body = text[len(opening):].split("/* ----", 1)
    body = "/* ----" + body[1]
    body = re.sub(r"\n#(ifdef __cplusplus.*|endif\s*\Z)", "\n", body, flags=re.S)
    sections = []
    # A block of a header ends at an empty line that is outside comments and braces.
    block, depth, in_comment = [], 0, False
    blocks = []
    for line in body.split("\n") + [""]:
        if not line.strip() and depth == 0 and not in_comment:
            if block:
                blocks.append("\n".join(block))
            block = []
            continue
        block.append(line)
        stripped = re.sub(r"/\*.*?\*/", "", line)
        if "/*" in stripped:
            in_comment = True
        elif "*/" in stripped:
            in_comment = False
        if not in_comment:
            depth += stripped.count("{") - stripped.count("}")
    for block in blocks:
        heading = HEADING.match(block.split("\n")[0])
        if heading:
            sections.append(Section(heading.group(1)))
            block = "\n".join(block.split("\n")[1:])
            if not block.strip():
                continue
        # Within a block every comment at the start of a line begins a new entry.
        for part in re.split(r"\n(?=/\*)", block):
            comment = re.match(r"/\*.*?\*/", part, re.S)
            comment = comment.group(0) if comment else ""
            code = part[len(comment):].strip("\n")
            sections[-1].entries.append(Entry(plain(comment) if comment else "", code))
    return plain(opening), sections


def error_codes():
    """Returns {name: (number, meaning)}, in the order of XAVO_types.h."""
    rows = re.findall(r'ROW\(XAVO_(\w+), +(\d+), "\w+", +"([^"]*)"\)', HEADERS[0].types[0].read_text())
    return {name: (int(number), meaning) for name, number, meaning in rows}


# ---- Writing -----------------------------------------------------------------------------------------


def escape(text):
    return re.sub(r"([\\`*_{}\[\]<>#+!|~^$@])", r"\\\1", text)


def inline(text, pages):
    """Returns a paragraph as Markdown, with functions as references to their pages and code in another font."""

    def word(match):
        token = match.group(0)
        if token.startswith("`"):
            return "*" + escape(token.strip("`")) + "*"
        if re.fullmatch(r"[\w-]+\(\d\)", token):
            return bold(token)
        name = token.rstrip("()")
        if name in pages:
            return "**" + escape(name) + "**(3)"
        return ("**" if re.fullmatch(r"(XAVO|CIMSIM)_\w+", token) else "") + escape(token) + (
            "**" if re.fullmatch(r"(XAVO|CIMSIM)_\w+", token) else "")

    parts = re.split(r"(`[^`]*`|\b[\w-]+\(\d\)|\b\w+(?:\(\))?)", text)
    return "".join(word(re.match(r".*", part, re.S)) if i % 2 else escape(part) for i, part in enumerate(parts))


def prose(text, pages):
    """Returns a comment's text as Markdown. Numbered and named points become a list. Lines that are indented further
    than the text before them are copied without a change or, if the first begins with a dash, become a list; they
    belong to the numbered point above them."""
    out, paragraph, further = [], [], []

    def add(block):
        """Adds a block, indented if it belongs to a numbered point."""
        out.append(re.sub(r"^(?=.)", "    ", block, flags=re.M) if hanging else block)

    def flush():
        nonlocal paragraph, further
        if paragraph:
            joined = " ".join(line.strip() for line in paragraph)
            item = re.match(r"(\d+)\. (.*)", joined)
            if item:
                out.append(f"{item.group(1)}.".ljust(4) + inline(item.group(2), pages))
            else:
                add(inline(joined, pages))
        if further:
            indent = min(len(line) - len(line.lstrip()) for line in further)
            text = "\n".join(line[indent:] for line in further)
            if text.startswith("- "):
                add("\n".join("- " + inline(" ".join(point[2:].split()), pages)
                              for point in re.split(r"\n(?=- )", text)))
            else:
                add(f"```\n{text}\n```")
        paragraph, further = [], []

    hanging = 0  # the column of the text after a point's number; 0: no numbered point
    term = None  # the column of the text after a name
    for line in text.split("\n"):
        indent = len(line) - len(line.lstrip())
        name = re.match(r" ([A-Z_]+)  +(?=\S)", line)
        if name:
            flush()
            term = name.end()
            paragraph.append("`" + name.group(1) + "`: " + line[term:])
        elif term is not None and indent == term:
            paragraph.append(line)
        elif not line.strip():
            flush()
            hanging, term = 0, None
        elif re.match(r"\s*\d+\. ", line):
            flush()
            hanging = line.index(".") + 2
            paragraph.append(line)
        elif indent >= max(hanging, 1) + 3 or (indent > 1 and not hanging):
            if paragraph:
                flush()
            further.append(line)
        else:
            if further or re.match(r"(Errors|Returns|Codes with)\b", line):  # a new paragraph
                flush()
            paragraph.append(line)
    flush()
    return "\n\n".join(out) + "\n"


def code_list(codes):
    return "\n".join("**XAVO\\_" + escape(code) + f"** ({number})\n:   " +
                     escape(meaning) + "\n"
                     for code, (number, meaning) in codes.items())


def sections_with_page(header):
    """Returns the sections that have functions: each has a page."""
    return [section for section in header.sections if section.functions()]


def header_page(header, section, codes, pages):
    name = section.page()
    text = " ".join(e.comment + e.code for e in section.entries)
    used = {code: codes[code] for code in codes if re.search(rf"\b(?:XAVO_)?{code}\b", text)}
    prototypes = "\n".join(entry.code for entry in section.entries if entry.functions)
    named = [name] + [f for f in section.functions() if f != name]
    lines = [
        f"% {name}(3) libxavo {version()} | Management services of a controller", "%", "%", "",
        "# NAME", "", ", ".join(escape(f) for f in named) + " - " + escape(section.title), "",
        "# SYNOPSIS", "", "```", f"#include <{header.path.name}>", "", prototypes, "",
        f"gcc PROGRAM.c $(pkg-config --cflags --libs {header.library})", "```", "", "# DESCRIPTION", ""
    ]
    for entry in section.entries:
        if entry.functions:
            lines += ["## " + ", ".join(f"[]{{#{f}}}{escape(f)}()" for f in entry.functions), ""]
        if entry.comment and "clang-format" not in entry.comment:
            lines += [prose(entry.comment, pages)]
        if "define XAVO_ERROR_CODES" in entry.code:
            lines += [code_list(codes)]
        elif entry.code and not entry.functions and not entry.code.startswith("#define XAVO_ERROR"):
            lines += ["```", entry.code, "```", ""]
    if used and "define XAVO_ERROR_CODES" not in text:
        lines += ["# ERRORS", "", "The codes that this page names" +
                  ("; **xavo**(7) describes the common errors" if "ommon errors" in text else "") + ":", "",
                  code_list(used)]
    if example(name).exists():
        lines += ["# EXAMPLE", "", code_block(example(name))]
    overview = [header.overview] + ["xavo(7)"] * (header.overview != "xavo(7)")
    others = [section.page() + "(3)" for section in sections_with_page(header) if section.page() != name]
    lines += ["# SEE ALSO", "", ", ".join(bold(page) for page in overview + others), ""]
    return "\n".join(lines)


def bold(page):
    """A reference such as xavo(7), with its name in bold."""
    return "**" + escape(page).replace("(", "**(")


def example(name):
    return SOURCES / "examples" / f"{name}.c"


def code_block(program):
    return "```c\n" + program.read_text().rstrip() + "\n```\n"


def list_pages(header):
    """Returns a list of the sections of a header that have a page, with their functions."""
    return "\n".join(f"{escape(section.title)}\n:   " + ", ".join(bold(f + "(3)") for f in section.functions()) + "\n"
                     for section in sections_with_page(header))


def guide_section(heading):
    text = Path("docs/guide.md").read_text()
    found = re.search(rf"^## {re.escape(heading)}\n(.*?)(?=^## |\Z)", text, re.M | re.S)
    if not found:
        sys.exit(f"manual: the guide has no section {heading}")
    # The commands need the files of the guide.
    text = re.sub(r"^```sh\n.*?^```\n+", "", found.group(1), flags=re.M | re.S)
    text = re.sub(r"\[([^]]+)\]\([\w-]+\.md(#[\w-]+)?\)", r"\1", text)  # these documents are not pages of the manual
    return re.sub(r"^###", "##", text, flags=re.M)


def tool_help(build, *command):
    """Returns the help of a command, or of all commands, in parts: the text before the first heading, and for each
    heading the pairs of a term and its text."""
    text = subprocess.run([f"{build}/tools/xavoctl", "help", *command], check=True, capture_output=True,
                          text=True).stdout
    parts = re.split(r"^(\S.*):$", text, flags=re.M)
    pairs = [[re.split(r" {2,}", line.strip(), maxsplit=2 if heading == "Commands" else 1)
              for line in part.splitlines() if line.startswith("  ")]
             for heading, part in zip(parts[1::2], parts[2::2])]
    return parts[0], dict(zip(parts[1::2], pairs))


def definitions(pairs, indent=""):
    return "\n".join(f"{indent}**{escape(term.strip())}**\n{indent}:   {escape(text)}\n" for term, text in pairs)


def command_list(build):
    """Returns a list of all commands, each with its options."""
    found = []
    for name, *_ in tool_help(build)[1]["Commands"]:
        usage, parts = tool_help(build, name)
        lines = [line for line in usage.splitlines() if line]
        summary = " ".join([lines[1].split(": ", 1)[1], *lines[2:]])
        words = lines[0][len("usage: xavoctl "):].replace(" [OPTION...]", "")
        found.append(definitions([(words, summary)]) + "\n" + definitions(parts.get("Options", []), "    "))
        found += [f"    {heading}:\n\n" + definitions(pairs, "    ") for heading, pairs in parts.items()
                  if heading not in ("Options", "Examples", COMMON)]
    return "\n".join(found)


def tool_notes(build):
    """Returns the sections of the overview that stand for themselves."""
    return "\n".join(f"## {heading}\n\n{definitions(pairs)}" for heading, pairs in tool_help(build)[1].items()
                     if heading not in ("Commands", "Exit status", COMMON))


def tool_examples(build):
    """Returns the examples of all commands."""
    return "\n".join(f"{summary[0].upper()}{summary[1:]}:\n\n" + "".join(f"    {line}\n" for line in lines)
                     for name, _, summary in ([*row[:1], "", row[-1]] for row in tool_help(build)[1]["Commands"])
                     for lines in [[" ".join(pair) for pair in tool_help(build, name)[1]["Examples"]]])


def schema_members(part):
    """Returns the members of a document, or of a part of it, that the schema describes."""
    schema = json.loads(Path("tools/format-1.schema.json").read_text())
    described = [(name, rule) for name, rule in schema["$defs"].get(part, schema)["properties"].items()
                 if rule is not True and "description" in rule]
    return "\n".join(f"**{escape(name)}**\n:   {rule['description']}" + "".join(
        " One of " + ", ".join(f"*{word}*" for word in words) + "." for words in [rule.get("enum")] if words) + "\n"
                     for name, rule in described)


def filled_page(source, headers, codes, pages, build):
    """Returns a page of docs/manual in which the lines between two @ are replaced."""
    by_path = {str(header.path): header for header in headers}
    words = {
        "conventions": lambda path: prose(re.sub(r"^Conventions\n+", "", by_path[path].opening.split("\n\n", 1)[1],
                                                 flags=re.M), pages),
        "pages": lambda path: list_pages(by_path[path]),
        "codes": lambda _: code_list(codes),
        "example": lambda name: code_block(example(name)),
        "guide": guide_section,
        "commands": lambda _: command_list(build),
        "options": lambda _: definitions(tool_help(build)[1][COMMON]) + "\n" + tool_notes(build),
        "examples": lambda _: tool_examples(build),
        "schema": schema_members,
        "statuses": lambda _: definitions(tool_help(build)[1]["Exit status"]),
    }
    text = source.read_text().replace("@VERSION@", version())
    return re.sub(r"^@(\w+)(?: (.*))?@$", lambda m: words[m.group(1)](m.group(2)), text, flags=re.M)


def pandoc(markdown, *options):
    return subprocess.run(["pandoc", "--from", "markdown-smart-tex_math_dollars-citations", "--standalone", *options],
                          input=markdown.encode(), check=True, capture_output=True).stdout.decode()


def write_html(name, title, text, pages):
    """Writes a page for a browser, with links for each function and each page that it names."""
    if name != "index.html":
        text = f"[libxavo {version()}](index.html)\n\n" + text
    html = pandoc(text, "--to", "html5", "--css", "style.css", "--metadata", "lang=en", "--metadata",
                  f"pagetitle={title}")

    def link(match):
        word, section = match.group(2), match.group(4)
        if section is None and word not in pages:
            return match.group(0)
        page = pages.get(word, word)
        target = f"{page}.{section or 3}.html" + (f"#{word}" if word in pages else "")
        return f'<a href="{target}">{match.group(0)}</a>'

    parts = re.split(r"(<pre.*?</pre>|<a .*?</a>)", html, flags=re.S)
    parts[::2] = [re.sub(r"<(code|strong|em)>([\w-]+)(?:\(\))?</\1>(\((\d)\))?", link, part) for part in parts[::2]]
    (OUT / "html" / name).write_text("".join(parts))


def write_page(name, section, markdown, pages):
    """Writes a page in the format of man(1), and as HTML."""
    target = OUT / f"man{section}" / f"{name}.{section}"
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_text(pandoc(markdown, "--to", "man", "--metadata", "hyphenate=false", "--metadata", "adjusting=l"))
    write_html(f"{name}.{section}.html", f"{name}({section})", markdown.split("\n", 3)[3], pages)


def main():
    arguments = argparse.ArgumentParser(prog="scripts/manual")
    arguments.add_argument("--check", action="store_true")
    arguments.add_argument("--build", default="build/library", help="the build that has xavoctl and the simulator")
    given = arguments.parse_args()
    codes = error_codes()
    headers = HEADERS
    pages = {}  # function to its page
    for header in headers:
        header.read()
        for section in sections_with_page(header):
            pages.update({function: section.page() for function in section.functions()})

    subprocess.run(["rm", "-rf", str(OUT)], check=True)
    html = OUT / "html"
    html.mkdir(parents=True)
    (html / "style.css").write_text((SOURCES / "style.css").read_text())
    written = [(section.page(), "3", header_page(header, section, codes, pages))
               for header in headers for section in sections_with_page(header)]
    for source in sorted(SOURCES.glob("*.md")):
        written.append((*source.stem.rsplit(".", 1), filled_page(source, headers, codes, pages, given.build)))
    for name, section, markdown in written:
        write_page(name, section, markdown, pages)
    for function, page in pages.items():
        if function != page:
            (OUT / "man3" / f"{function}.3").write_text(f".so man3/{page}.3\n")

    # Adds the date, which pandoc does not know.
    changed = date()
    for page in OUT.glob("man*/*"):
        page.write_text(re.sub(r'^(\.TH \S+ \S+) ""', rf'\1 "{changed}"', page.read_text(), flags=re.M))

    # The documents as HTML, and an index of all pages.
    listed = []
    guide = Path("docs/guide.md")
    for source in [guide, *sorted(set(Path("docs").glob("*.md")) - {guide}), Path("CHANGELOG.md")]:
        text = re.sub(r"\]\((\w[\w-]*)\.md(#[\w-]+)?\)", r"](\1.html\2)", source.read_text())
        text = re.sub(r"\[([^]]*)\]\(\.\./[^)]*\)", r"\1", text)  # files that only the source tree has
        name = source.stem.lower() + ".html"
        write_html(name, source.stem, text, pages)
        listed.append(f"- [{text.splitlines()[0].lstrip('# ')}]({name})")
    listed += ["- " + bold(f"{name}({section})")
               for name, section in [("xavo", "7"), ("cimsim", "7"), ("xavoctl", "1"), ("xavoctl-json", "7"), ("xavo-backup", "7"),
                                     ("xavo-simulate", "1"), ("xavo-scene", "5")]]
    for header in headers:
        listed += ["", f"## {header.path.name}", "", list_pages(header)]
    write_html("index.html", "libxavo", f"# libxavo {version()}\n\n" + "\n".join(listed), pages)
    for picture in Path("docs").glob("*.svg"):
        (html / picture.name).write_bytes(picture.read_bytes())
    subprocess.run(["dot", "-Tsvg", "docs/call.dot", "-o", str(html / "call.svg")], check=True)
    print(f"{len(written)} pages in {OUT}, for {len(pages)} functions")
    if given.check:
        faults = check_pages(headers, pages, codes, written, given.build) + check_links(html)
        for fault in faults:
            print(f"manual: {fault}", file=sys.stderr)
        sys.exit(1 if faults else 0)


# ---- Checking ----------------------------------------------------------------------------------------


def exported(header, build):
    """Returns the functions that a library exports: those in its version script or, if that has a pattern, those in the
    library itself."""
    names = re.findall(r"^ +((?:XAVO|cimsim)_[\w*]+);$", Path(header.exports).read_text(), re.M)
    if "cimsim_*" in names:
        symbols = subprocess.run(["nm", "--dynamic", "--defined-only", f"{build}/simulator/libcmpisfcc.so.1"],
                                 check=True, capture_output=True, text=True).stdout
        names = re.findall(r" T (cimsim_\w+)", symbols)
    return sorted(names)


def without_comments(code):
    return re.sub(r"/\*.*?\*/", "", code, flags=re.S)


def check_pages(headers, pages, codes, written, build):
    faults = []
    for header in headers:
        faults += [f"{function} of {header.exports} has no page"
                   for function in exported(header, build) if function not in pages]
    declared = "".join(without_comments(path.read_text()) for path in
                       [path for header in headers for path in [header.path, *header.types]] +
                       sorted(Path("simulator/include/CimClientLib").glob("*.h")))
    declared = set(re.findall(r"\w+", declared)) | {header.path.stem for header in headers} | ENVIRONMENT
    reasons = {word[len("XAVO_KIND_"):] for word in declared if word.startswith("XAVO_KIND_")}
    prefix = "^(XAVO_(KIND_|EFFECT_|OP_|WAIT_|JOB_)?|CMPI_(RC_(ERR_)?)?)"
    bare = set(codes) | {re.sub(prefix, "", word) for word in declared}
    known = {f"{name}({section})" for name, section, _ in written} | {f"{function}(3)" for function in pages}
    for name, section, markdown in written:
        page = f"{name}({section})"
        text = markdown.replace("\\", "")
        # A word that looks like a name from a header must be such a name, unless _ or * follows: it then means several
        # names.
        for word in set(re.findall(r"\b(?:XAVO|cimsim|CIMSIM)_\w*[a-zA-Z0-9]\b(?!_|\*)", text)):
            if word not in declared:
                faults.append(f"{page} names {word}, which no header declares")
        for word in set(re.findall(r"(?<![_.\w])[A-Z]{2,}(?:_[A-Z]+)+\b(?![_.(])", text)):
            if word not in bare | declared:
                faults.append(f"{page} names {word}, which is neither an error code nor a constant")
        # The errors that a function lists are error codes or kinds (XAVO_KIND_).
        for sentence in re.findall(r"(?:Errors|Returns|Codes with)\b(.*?)(?=Any thread|\n\n|\Z)", text, re.S):
            faults += [f"{page} lists the error {code}, which does not exist"
                       for code in re.findall(r"(?<![_\w])(?:XAVO_)?([A-Z]{2,}(?:_[A-Z]+)+)\b", sentence)
                       if code not in codes and code not in reasons | ENVIRONMENT and f"XAVO_{code}" not in declared]
        named = {"".join(parts) for parts in re.findall(r"\*\*([\w-]+)\*\*(\(\d\))", text)}
        faults += [f"{page} refers to {other}, which does not exist" for other in sorted(named - known)]
    shown = {name for name, _, _ in written}
    for program in sorted((SOURCES / "examples").glob("*.c")):
        if program.stem not in shown:
            faults.append(f"{program} belongs to no page")
        if subprocess.run(["gcc", "-std=c11", "-D_POSIX_C_SOURCE=200809L", "-Wall", "-Wextra", "-Werror",
                           "-fsyntax-only", "-Ilibxavo/include", "-Icompanion/include", "-Isimulator/include",
                           str(program)]).returncode:
            faults.append(f"{program} does not compile")
    words = [re.findall(r"<text.*?>(.*?)</text>", picture.read_text())
             for picture in (Path("docs/call.svg"), OUT / "html" / "call.svg")]
    if words[0] != words[1]:
        faults.append("docs/call.svg differs from docs/call.dot: dot -Tsvg docs/call.dot -o docs/call.svg")
    faults += [f"{page} has no date" for page in OUT.glob("man*/*")
               if not re.search(r'^(\.TH .* "\d{4}-\d\d-\d\d" |\.so )', page.read_text(), re.M)]
    manual = [str(page.relative_to(OUT)) for page in sorted(OUT.glob("man*/*"))]
    lint = subprocess.run(["mandoc", "-T", "lint", "-W", "error"] + manual, capture_output=True, text=True, cwd=OUT)
    return faults + lint.stdout.splitlines()


class Links(HTMLParser):
    """The references of an HTML page, and the targets in it."""

    def __init__(self, page):
        super().__init__()
        self.targets, self.references = set(), []
        self.feed(page.read_text())

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name == "id":
                self.targets.add(value)
            elif name in ("href", "src"):
                self.references.append(value)


def check_links(html):
    faults = []
    found = {page.name: Links(page) for page in sorted(html.glob("*.html"))}
    for name, links in found.items():
        for reference in links.references:
            target, _, place = reference.partition("#")
            target = target or name
            if "://" not in reference and not (
                    (html / target).exists() and (not place or place in found[target].targets)):
                faults.append(f"{name} links to {reference}, which does not exist")
    return faults


if __name__ == "__main__":
    main()
