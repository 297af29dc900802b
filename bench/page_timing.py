"""Times report pages of tabrun --html in headless Chromium: from the start of loading to the
page's data-ready mark (the median of fresh loads), and on the last page given, sorting and
filtering all its rows. Prints one line per figure.

Usage: /usr/bin/python3 bench/page_timing.py [--loads N] PAGE.html..."""
import os
import statistics
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
from browser_test import open_page, start_browser, stop_browser  # noqa: E402

# Each action is run inside the page; its time runs until the next frame has been drawn.
ACTIONS = [
    ("sort by chi2", "document.evaluate(\"//th/button[text()='chi2']\", document, null, 9, null)"
                     ".singleNodeValue.click()"),
    ("sort by chi2, descending", "document.evaluate(\"//th/button[text()='chi2']\", document, "
                                 "null, 9, null).singleNodeValue.click()"),
    ("sort by log", "document.evaluate(\"//th/button[text()='log']\", document, null, 9, null)"
                    ".singleNodeValue.click()"),
    ("sort by result (text)", "document.evaluate(\"//th/button[text()='result']\", document, "
                              "null, 9, null).singleNodeValue.click()"),
    ("filter status ok", "document.querySelector('#counts button[data-status=ok]').click()"),
    ("filter status ok off", "document.querySelector('#counts button[data-status=ok]').click()"),
    ("filter log name by text", "location.hash = 'q=1234'"),
    ("filter by text off", "location.hash = ''"),
]


def main():
    args = sys.argv[1:]
    loads = 5
    if args[:1] == ["--loads"]:
        loads, args = int(args[1]), args[2:]
    driver = start_browser()
    try:
        for page in args:
            url = "file://" + os.path.abspath(page)
            times = []
            for _ in range(loads):
                driver.get("about:blank")
                open_page(driver, url)
                times.append(driver.execute_script(
                    "return performance.getEntriesByName('data-ready')[0].startTime"))
            elements = driver.execute_script("return document.getElementsByTagName('*').length")
            print(f"{os.path.basename(page)}: load to data-ready {statistics.median(times):.0f} ms "
                  f"(median of {loads}, {min(times):.0f} to {max(times):.0f}), {elements} elements")
        for name, action in ACTIONS:
            # The page's policy allows no eval: the action goes into the script's text.
            ms = driver.execute_async_script(f"""
                const done = arguments[0];
                const start = performance.now();
                {action};
                // A hash change is handled in a task of its own, before the next frame.
                setTimeout(() => requestAnimationFrame(() => done(performance.now() - start)));
            """)
            print(f"{os.path.basename(args[-1])}: {name}: {ms:.0f} ms")
    finally:
        stop_browser(driver)


if __name__ == "__main__":
    main()
