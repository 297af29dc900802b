"""Times report pages of tabrun --html in headless Chromium and Firefox ESR: from the start of
loading to the page's data-ready mark (the median of fresh loads), and on the last page given,
sorting and filtering all its rows and switching its views. Prints one line per figure, as
"BROWSER PAGE: WHAT: N ms". Each page must also load without a console error or a request, hold
at most 1,500 elements, show header counts that add up to its rows, and sort and filter its rows
right; otherwise it exits with 1.

Where the table starts in the natural order of the log names, its first and last pages must be
in that order too. A page of tabrun --compare --html gets actions of its own (sorts by the change
and by the log, a class of runs, the threshold, the figure), and its class counts must add up to
its rows.

Usage: /usr/bin/python3 bench/page_timing.py [--loads N] [--browser NAME]... PAGE.html..."""
import os
import re
import statistics
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
from browser_test import (check, count_shown, open_page, problems,  # noqa: E402
                          rows_shown, start_browser, stop_browser)

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
HEAD = "document.evaluate(\"//th/button[text()='{}']\", document, null, 9, null).singleNodeValue"
COMPARE_ACTIONS = [
    ("sort by change %", HEAD.format("change %") + ".click()"),
    ("sort by change %, descending", HEAD.format("change %") + ".click()"),
    ("sort by log", HEAD.format("log") + ".click()"),
    ("sort by status_after (text)", HEAD.format("status_after") + ".click()"),
    ("show the worse runs", "document.querySelector('#classes button[data-class=worse]').click()"),
    ("show all runs again", "document.querySelector('#classes button[data-class=worse]').click()"),
    ("threshold 10 %", "location.hash = 'threshold=10'"),
    ("figure rp", "location.hash = 'figure=rp'"),
    ("threshold and figure back", "location.hash = ''"),
]
IS_COMPARE = "return !!document.getElementById('compare')"
# The views of the chart, where the page has a select#view to switch them.
VIEWS = ("rank", "hist", "series")
VIEW = ("const v = document.querySelector('select#view'); v.value = '{}'; "
        "v.dispatchEvent(new Event('change'))")
HAS_VIEWS = ("const v = document.querySelector('select#view'); return !!v && "
             "['series', 'rank', 'hist'].every((o) => [...v.options].some((e) => e.value === o))")


def natural_key(text):
    """The page's natural order: each number read as name_number reads it (12.25 < 12.5), and
    against other text as a '0'; the rest, and a tie, by character."""
    parts = re.split(r"(\d+(?:\.\d+)?)", text)
    key = [(ord(ch), 0.0) for ch in parts[0]]
    for number, rest in zip(parts[1::2], parts[2::2]):
        key += [(ord("0"), float(number))] + [(ord(ch), 0.0) for ch in rest]
    return key, text


def check_start_order(driver, page):
    """Where the table starts in natural order of the names, its first and last pages are."""
    log = driver.find_element("xpath", "//th[button[text()='log']]")
    if log.get_attribute("aria-sort") != "ascending":
        return
    pages = []
    for button in ("first", "last"):
        driver.find_element("id", button).click()
        pages.append([natural_key(cells[0]) for cells in rows_shown(driver)])
    driver.find_element("id", "first").click()
    check(all(names == sorted(names) for names in pages) and pages[0][0] <= pages[1][-1],
          f"{page}: the first and last pages are not in natural order")


def main():
    args, loads, browsers = sys.argv[1:], 5, []
    while args[:1] in (["--loads"], ["--browser"]):
        if args[0] == "--loads":
            loads = int(args[1])
        else:
            browsers.append(args[1])
        args = args[2:]
    for browser in browsers or ["chromium", "firefox"]:
        measure(browser, args, loads)


def measure(browser, args, loads):
    driver = start_browser(browser)
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
            print(f"{browser} {os.path.basename(page)}: load to data-ready "
                  f"{statistics.median(times):.0f} ms (median of {loads}, {min(times):.0f} to "
                  f"{max(times):.0f}), {elements} elements", flush=True)
            found = problems(driver)
            counts = "#classes" if driver.execute_script(IS_COMPARE) else "#counts"
            counted = driver.execute_script(
                f"return [...document.querySelectorAll('{counts} button b')]"
                ".reduce((sum, b) => sum + Number(b.textContent.replaceAll(',', '')), 0)")
            check(not found and elements <= 1500 and counted == count_shown(driver),
                  f"{page}: {found}, {elements} elements, header counts {counted} "
                  f"for {count_shown(driver)} rows")
            check_start_order(driver, page)
        compare = driver.execute_script(IS_COMPARE)
        actions = COMPARE_ACTIONS if compare else ACTIONS
        if compare:
            pass  # the charts of a compare page have no views to switch
        elif driver.execute_script(HAS_VIEWS):
            actions = actions + [(f"switch view to {v}", VIEW.format(v)) for v in VIEWS]
        else:
            print(f"{browser} {os.path.basename(args[-1])}: view switches skipped: "
                  "the page has no select#view with series, rank and hist")
        for name, action in actions:
            # The page's policy allows no eval: the action goes into the script's text.
            ms = driver.execute_async_script(f"""
                const done = arguments[0];
                const start = performance.now();
                {action};
                // A hash change is handled in a task of its own, before the next frame.
                setTimeout(() => requestAnimationFrame(() => done(performance.now() - start)));
            """)
            print(f"{browser} {os.path.basename(args[-1])}: {name}: {ms:.0f} ms", flush=True)
        if compare:
            return
        # Not timed: the rows of status ok, sorted by chi2, come lowest first, empty cells last.
        driver.find_element("css selector", "#counts button[data-status=ok]").click()
        driver.find_element("xpath", "//th/button[text()='chi2']").click()
        shown = rows_shown(driver)
        chi2 = [cells[5] for cells in shown]
        filled = [float(c) for c in chi2 if c]
        check(all(cells[2] == "ok" for cells in shown) and filled == sorted(filled)
              and chi2 == [c for c in chi2 if c] + [""] * (len(chi2) - len(filled)),
              f"rows of status ok by chi2: {shown[:5]}")
    finally:
        stop_browser(driver)


if __name__ == "__main__":
    main()
