#!/usr/bin/env python3
"""Opens the HTML report on some examples in a browser without a screen: it lays the page out light and
dark, at the width of a telephone too, and nothing is wider than the page.

Usage: browser_test.py PROGRAM EXAMPLES BROWSER"""

import pathlib
import re
import subprocess
import sys
import tempfile

program, examples, browser = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]

# Run by the page itself once it is laid out; what it finds becomes its title.
MEASURE = """<script>
const wide = [...document.querySelectorAll('body *')].filter(
    one => !one.closest('.scroll, pre') && one.getBoundingClientRect().right > innerWidth + 1);
const colour = getComputedStyle(document.body).backgroundColor;
document.title = JSON.stringify([document.querySelectorAll('section').length, wide.length, colour]);
</script>"""

with tempfile.TemporaryDirectory() as folder:
    page = pathlib.Path(folder) / "report.html"
    paths = sorted(examples.glob("apple-t*.yaml")) + [examples / "intel-first-look.yaml"]
    subprocess.run([program, "run", "--html", page, *paths], check=True, capture_output=True)
    page.write_text(page.read_text().replace("</body>", MEASURE + "</body>"))
    backgrounds = set()
    for width in (360, 1000):
        for scheme in ("0", "1"):  # dark, light
            run = subprocess.run(
                [browser, "--headless=new", "--no-sandbox", "--disable-gpu", "--dump-dom",
                 f"--window-size={width},800", f"--blink-settings=preferredColorScheme={scheme}",
                 f"--user-data-dir={folder}/profile", page.as_uri()],
                capture_output=True, text=True, timeout=120)
            found = re.search(r"<title>(\[.*?\])</title>", run.stdout)
            if not found:
                sys.exit(f"the browser shows no page: {run.stderr}")
            sections, wide, background = re.fullmatch(r'\[(\d+),(\d+),"(.*)"\]', found[1]).groups()
            if int(sections) != len(paths):
                sys.exit(f"{sections} sections, expected {len(paths)}")
            if int(wide):
                sys.exit(f"{wide} elements are wider than a page of {width}")
            backgrounds.add(background)
    if len(backgrounds) != 2:
        sys.exit(f"light and dark look alike: {backgrounds}")
