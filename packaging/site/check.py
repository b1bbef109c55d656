#!/usr/bin/env python3
"""Checks a built site: check.py SITE. Every link leads to a file and to an anchor in it, nothing is loaded from elsewhere, and
the search knows every page. Prints a line for what is wrong and ends with 1 when there is something."""
import html.parser
import json
import pathlib
import re
import sys
import urllib.parse

LOADS = {"img": "src", "script": "src", "link": "href", "iframe": "src", "source": "src", "object": "data", "video": "src",
         "audio": "src", "embed": "src"}


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.loads, self.anchors, self.styles = [], [], set(), []
        self.inside_style = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        found = dict(attributes)
        for name in ("id", "name"):
            if found.get(name):
                self.anchors.add(found[name])
        if tag == "a" and found.get("href") is not None:
            self.links.append(found["href"])
        if tag in LOADS and found.get(LOADS[tag]) and found.get("rel") not in ("canonical", "prev", "next"):
            self.loads.append(found[LOADS[tag]])
        if found.get("style"):
            self.styles.append(found["style"])
        self.inside_style = tag == "style"

    def handle_data(self, data):
        if self.inside_style:
            self.styles.append(data)
            self.inside_style = False


def remote(address):
    return re.match(r"(?:[a-z]+:)?//", address.strip()) is not None


def check(site):
    """What is wrong with the site."""
    pages = {path: Page(path.read_text(encoding="utf-8", errors="replace")) for path in site.rglob("*.html")}
    found = []

    def lead(path, address, what):
        parts = urllib.parse.urlsplit(address)
        if parts.scheme or parts.netloc:
            return
        target = path
        if parts.path:
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve()
            if target.is_dir():
                target = target / "index.html"
            if not target.is_file() or not target.is_relative_to(site):
                found.append(f"{path.relative_to(site)}: {what} {address} leads nowhere")
                return
        anchor = urllib.parse.unquote(parts.fragment)
        # Doxygen links to the list of nested classes also where all of them are private.
        if anchor == "nested-classes":
            return
        if anchor and target in pages and anchor not in pages[target].anchors:
            found.append(f"{path.relative_to(site)}: {what} {address} names no place in the page")

    for path, page in pages.items():
        if path.name == "404.html":
            continue  # its links are from the root of a server
        for address in page.links:
            lead(path, address, "link")
        for address in page.loads:
            if remote(address):
                found.append(f"{path.relative_to(site)}: loads {address}")
            elif not address.startswith("data:"):
                lead(path, address, "load")
        for style in page.styles:
            found += [f"{path.relative_to(site)}: loads {each}" for each in re.findall(r"url\(['\"]?((?:https?:)?//[^)]*)", style)]
    for path in site.rglob("*.css"):
        text = path.read_text(encoding="utf-8", errors="replace")
        for each in re.findall(r"(?:url\(['\"]?|@import ['\"])((?:https?:)?//[^)'\"]*)", text):
            found.append(f"{path.relative_to(site)}: loads {each}")

    index = site / "search" / "search_index.json"
    known = {entry["location"].partition("#")[0] for entry in json.loads(index.read_text())["docs"]} if index.exists() else set()
    for path in pages:
        name = str(path.relative_to(site))
        if not name.startswith("cpp/") and name != "404.html" and name not in known:
            found.append(f"the search does not know {name}")
    return found, len(pages)


def main():
    found, count = check(pathlib.Path(sys.argv[1]).resolve())
    print("\n".join(found[:100] + [f"{len(found)} in all"] * bool(found)) or f"{count} pages: all links lead somewhere")
    return 1 if found or not count else 0


if __name__ == "__main__":
    sys.exit(main())
