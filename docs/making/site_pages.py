# SPDX-License-Identifier: Apache-2.0
"""The pages as a site: plain HTML with relative links, which needs no server and no network."""
import html
import re
import shutil
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote

CHECKOUT = Path(__file__).resolve().parents[2]
GROUPS = {
    "Using it": ["your-camera", "settings", "recordings", "results", "figures", "calibration", "export", "diff", "archives",
                 "workbench",
                 "simulated-camera"],
    "Inside": ["pipeline", "hosts", "device", "packages", "packets-and-definitions", "trust", "speed", "changing"],
}
STYLE = """
body { margin: 0; color: #1c2430; background: #fff; font: 16px/1.55 system-ui, sans-serif; }
.frame { display: flex; max-width: 1280px; margin: 0 auto; }
nav { flex: 0 0 200px; padding: 24px 16px; font-size: 14px; }
nav h2 { margin: 20px 0 4px; color: #667; font-size: 12px; text-transform: uppercase; letter-spacing: .05em; }
nav ul { margin: 0; padding: 0; list-style: none; }
nav [aria-current] { font-weight: bold; color: inherit; }
main { flex: 1; min-width: 0; padding: 24px 32px 80px; }
h1, h2, h3 { line-height: 1.25; }
h2 { margin-top: 2em; padding-bottom: 4px; border-bottom: 1px solid #d8dee6; }
a { color: #0a58b0; text-decoration: none; }
a:hover { text-decoration: underline; }
img { max-width: 100%; height: auto; }
img[align=right] { margin: 0 0 16px 24px; }
code, pre { font: 14px/1.45 ui-monospace, monospace; background: #f2f5f8; border-radius: 4px; }
code { padding: 1px 4px; }
pre { padding: 12px; overflow-x: auto; }
pre code { padding: 0; background: none; }
table { display: block; overflow-x: auto; border-collapse: collapse; font-size: 15px; }
th, td { padding: 4px 10px; border: 1px solid #d8dee6; text-align: left; vertical-align: top; }
th { background: #f2f5f8; }
blockquote { margin: 0; padding-left: 16px; border-left: 3px solid #d8dee6; color: #445; }
@media (max-width: 800px) { .frame { display: block; } main { padding: 16px; } }
@media print { nav { display: none; } }
"""
PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title}</title>
<link rel="stylesheet" href="style.css">
</head>
<body>
<div class="frame">
<nav>{navigation}</nav>
<main>
{content}
</main>
</div>
</body>
</html>
"""


def make(folder):
    """Writes the site. Stops if a link or a picture leads nowhere."""
    folder = Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    pages = {"index": CHECKOUT / "README.md", "changelog": CHECKOUT / "CHANGELOG.md",
             "contributing": CHECKOUT / "CONTRIBUTING.md"}
    pages.update({path.stem: path for path in sorted((CHECKOUT / "docs").glob("*.md"))})
    names = {path: f"{name}.html" for name, path in pages.items()}
    titles = {name: re.search(r"^# (.+)$", path.read_text(), re.M).group(1) for name, path in pages.items()}
    (folder / "style.css").write_text(STYLE.lstrip())
    broken = []
    for name, path in pages.items():
        content = _moved(_html(path.read_text()), path, names, folder, broken)
        (folder / f"{name}.html").write_text(PAGE.format(
            title=html.escape(titles[name]), navigation=_navigation(name, titles), content=content))
    broken += _dead_ends(folder, names.values())
    if broken:
        raise SystemExit("Links that lead nowhere:\n" + "\n".join(broken))


def _html(text):
    import markdown  # scripts/setup --site installs it; nothing else here needs it
    return markdown.markdown(_with_lists_apart(text), extensions=["tables", "fenced_code", "sane_lists", "toc"],
                             extension_configs={"toc": {"slugify": lambda title, _: slug(title)}})


def slug(title):
    """The anchor of a heading, as code hosts make it."""
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


def _with_lists_apart(text):
    """A list may follow a line of text at once; this converter wants an empty line between."""
    lines, fenced = [], False
    for line in text.split("\n"):
        fenced ^= line.startswith("```")
        before = lines[-1] if lines else ""
        if not fenced and re.match(r"(-|\d+\.) ", line) and before and not re.match(r"(-|\d+\.) |\s", before):
            lines.append("")
        lines.append(line)
    return "\n".join(lines)


def _moved(content, page, names, folder, broken):
    """Links to pages lead to their HTML, and files that are linked or shown come along."""
    def target(match):
        attribute, link = match.group(1), html.unescape(match.group(2))
        path, _, anchor = link.partition("#")
        if not path or re.match(r"[a-z]+:", link):
            return match.group(0)
        file = (page.parent / unquote(path)).resolve()
        if file in names:
            moved = names[file]
        elif file.is_file() and file.is_relative_to(CHECKOUT):
            moved = f"files/{file.name}"
            (folder / "files").mkdir(exist_ok=True)
            shutil.copyfile(file, folder / moved)
        else:
            broken.append(f"{page.relative_to(CHECKOUT)}: {link}")
            return match.group(0)
        return f'{attribute}="{html.escape(moved + ("#" + anchor if anchor else ""))}"'
    return re.sub(r'\b(href|src)="([^"]*)"', target, content)


def _navigation(current, titles):
    groups = {"": ["index"], **GROUPS}
    known = {name for group in groups.values() for name in group} | {"changelog", "contributing"}
    groups["Using it"] = GROUPS["Using it"] + [name for name in titles if name not in known]
    groups["Project"] = ["changelog", "contributing"]
    parts = []
    for group, names in groups.items():
        parts.append(f"<h2>{group}</h2>" if group else "")
        links = "".join(f'<li><a href="{name}.html"{" aria-current=page" if name == current else ""}>'
                        f"{html.escape(titles[name])}</a></li>" for name in names)
        parts.append(f"<ul>{links}</ul>")
    return "".join(parts)


class _Links(HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src"):
                self.links.append(value)
            elif name == "id":
                self.anchors.add(value)


def _dead_ends(folder, files):
    """Links and pictures of the finished site whose file or anchor is not there."""
    parsed = {file: _Links((folder / file).read_text()) for file in files}
    dead = []
    for file, page in parsed.items():
        for link in page.links:
            path, _, anchor = link.partition("#")
            if re.match(r"[a-z]+:", link):
                continue
            path = path or file
            if not (folder / path).is_file() or (anchor and path in parsed and anchor not in parsed[path].anchors):
                dead.append(f"{file}: {link}")
    return dead
