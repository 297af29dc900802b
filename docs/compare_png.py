"""Makes docs/compare.png, the README's picture of the compare page: the page of
tabrun --compare --html for the browser test's temperature series of 120 steps (before and after
a better low-temperature model), in headless Chromium, 1200 px wide, with the worse runs shown.

Usage: /usr/bin/python3 docs/compare_png.py TABRUN [OUT.png]"""
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
from browser_test import make_series, open_page, start_browser, stop_browser  # noqa: E402


def main():
    tabrun = os.path.abspath(sys.argv[1])
    out = os.path.abspath(sys.argv[2] if len(sys.argv) > 2 else
                          os.path.join(os.path.dirname(__file__), "compare.png"))
    scratch = tempfile.mkdtemp(prefix="tabrun-compare-png.")
    try:
        make_series(os.path.join(scratch, "before"), os.path.join(scratch, "after"))
        page = os.path.join(scratch, "compare.html")
        with open(page, "wb") as f:
            subprocess.run([tabrun, "--compare", "--html", "before", "after"], cwd=scratch,
                           stdout=f, env={**os.environ, "SOURCE_DATE_EPOCH": "1795000000"})
        driver = start_browser("chromium")
        try:
            driver.set_window_size(1200, 1420)
            open_page(driver, f"file://{page}#sort=relative")
            driver.save_screenshot(out)
        finally:
            stop_browser(driver)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    print(f"wrote {out}")


if __name__ == "__main__":
    main()
