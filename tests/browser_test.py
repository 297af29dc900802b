"""The report page of tabrun --html in headless Chromium, on a batch with every status, hostile
names and hostile log ends: it loads from file:// without a console error or a request, its
header counts and filters agree with the rows of tabrun --csv, it sorts, shows tails and names
chart points, exports the rows as --csv writes them, and runs nothing hostile. Saves a screenshot
as report_test.png in OUT_DIR.

Usage: /usr/bin/python3 tests/browser_test.py TABRUN OUT_DIR
Exits 77 (skipped) when Chromium, chromedriver or selenium is missing, unless
TABRUN_NO_SKIP=1 is set; then that is a failure."""
import csv
import io
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

CHROMIUM = "/usr/bin/chromium"
CHROMEDRIVER = "/usr/bin/chromedriver"
HOSTILE = "<img src=x onerror=alert(1)>.log"


def start_browser():
    """A headless Chromium that logs console messages and requests, or exits when there is
    none to start."""
    try:
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        found = all(os.access(p, os.X_OK) and os.path.getsize(p) > 0
                    for p in (CHROMIUM, CHROMEDRIVER))
    except ImportError:
        found = False
    if not found:
        print("browser test skipped: install the Debian packages chromium chromium-driver "
              "python3-selenium")
        sys.exit(1 if os.environ.get("TABRUN_NO_SKIP") == "1" else 77)
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    profile = tempfile.mkdtemp(prefix="tabrun-chromium.")
    for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--window-size=1400,1600",
                 f"--user-data-dir={profile}"):
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    driver = webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
    driver.profile = profile
    return driver


def stop_browser(driver):
    driver.quit()
    shutil.rmtree(driver.profile, ignore_errors=True)


def open_page(driver, url, seconds=60):
    """Loads `url` and waits for the page's data-ready signal."""
    driver.get(url)
    end = time.monotonic() + seconds
    while driver.execute_script("return document.documentElement.dataset.ready") != "1":
        if time.monotonic() > end:
            raise AssertionError(f"no data-ready after {seconds} s: {driver.get_log('browser')}")
        time.sleep(0.02)


def problems(driver, page):
    """Console errors, and requests of the page other than for itself."""
    found = [f"console: {e['message']}" for e in driver.get_log("browser")
             if e["level"] == "SEVERE"]
    for entry in driver.get_log("performance"):
        message = json.loads(entry["message"])["message"]
        params = message["params"]
        if (message["method"] == "Network.requestWillBeSent"
                and params.get("documentURL", "").split("#")[0] == page
                and params["request"]["url"].split("#")[0] != page):
            found.append(f"request: {params['request']['url']}")
    return found


def ordinary(control, result=b"", cpu=b"2", end=True):
    return (b" Control file *.pcr: " + control + b"\n" + result + (b" Normal end\n" if end else b"")
            + (b" CPU Time: " + cpu + b" seconds\n" if cpu is not None else b""))


def make_batch(batch, examples):
    os.makedirs(batch)
    for name in os.listdir(examples):
        shutil.copy(os.path.join(examples, name), batch)
    hostile = (b" => Cycle: 1\n\n </script><script>alert(1)</script>\n <!-- \n"
               + b" \"quotes' & <b>bold</b> caf\xe9\n" * 25)
    logs = {
        HOSTILE.encode(): ordinary(b"<script>alert(2)</script>", end=False) + hostile
        + b" last words: </script><script>alert(3)</script>",
        b"it's \"quoted\", too.log": ordinary(b"q\"uote", b" => Chi2:  0.91  Rp: 3.1  Rwp: 4\n"),
        b"caf\xe9 \xff\xfe.log": ordinary(b"caf\xe9", cpu=None),
        b"bad_cpu.log": ordinary(b"bad_cpu", cpu=b"abc"),
        # Numbers whose shortest text is fixed, scientific, or every digit of an integer.
        b"T100K.log": ordinary(b"t", b" => Chi2: 7.5 Rp: 1\n", b"123456789012345678901"),
        b"T5K.log": ordinary(b"t", b" => Chi2: 1e-05 Rp: 2\n", b"0.00001"),
        b"T20K.log": ordinary(b"t", b" => Chi2: 1e22 Rp: 10000\n", b"-0"),
        b"empty.log": b"",
    }
    # More failures than the page lists: the tails of the last ones come with the rows.
    for i in range(100):
        logs[b"zz_fail_%03d.log" % i] = ordinary(b"f", end=False) + b" cycle %d\n" % i
    for name, text in logs.items():
        with open(os.path.join(batch.encode(), name), "wb") as f:
            f.write(text)
    os.mkdir(os.path.join(batch, "folder.log"))  # unreadable


def count_shown(driver):
    """How many rows pass the filters, by the pager's words "Rows A to B of N, ..."."""
    words = driver.find_element("id", "page").text.split()
    return int(words[5].rstrip(",")) if words[0] == "Rows" else 0


def rows_shown(driver):
    return driver.execute_script("""
        return [...document.querySelectorAll('#rows tbody tr:not([hidden])')]
          .map((tr) => [...tr.cells].map((td) => td.textContent));""")


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def main():
    tabrun, out_dir = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    examples = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples", "batch")
    driver = start_browser()
    scratch = tempfile.mkdtemp(prefix="tabrun-browser.")
    try:
        batch = os.path.join(scratch, "batch")
        make_batch(batch, examples)
        report = os.path.join(scratch, "report.html")
        with open(report, "wb") as f:
            html_status = subprocess.run([tabrun, "--html", batch], stdout=f).returncode
        rows = subprocess.run([tabrun, "--csv", batch], capture_output=True)
        check(html_status == rows.returncode == 1, "--html and --csv exit with 1 for this batch")
        csv_text = rows.stdout.decode("utf-8", "replace")
        truth = list(csv.DictReader(io.StringIO(csv_text)))
        page = "file://" + report
        driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": """
            for (const f of ['alert', 'confirm', 'prompt'])
              window[f] = () => { document.documentElement.dataset.hostile = f; };"""})
        open_page(driver, page)
        found = problems(driver, page)
        check(not found, f"the page loads with {found}")
        check(driver.execute_script("return document.getElementsByTagName('*').length") <= 1500,
              "the page holds more than 1,500 elements")

        # The header counts are the status filter, and agree with the rows.
        buttons = driver.find_elements("css selector", "#counts button")
        for button in buttons:
            status = button.get_attribute("data-status")
            count = int(button.find_element("css selector", "b").text)
            check(count == sum(row["status"] == status for row in truth), f"header count {status}")
            button.click()
            shown = rows_shown(driver)
            check(count_shown(driver) == count and all(cells[2] == status for cells in shown),
                  f"filter {status} shows {count_shown(driver)} rows: {shown}")
            button.click()
        check(count_shown(driver) == len(truth), "every row comes back")

        # Sorting by chi2: lowest first and empty cells last, both ways, among the rows with
        # status ok (all on one page); the URL keeps the view.
        ok = driver.find_element("css selector", "#counts button[data-status=ok]")
        ok.click()
        chi2 = driver.find_element("xpath", "//th/button[text()='chi2']")
        values = sorted(float(r["chi2"]) for r in truth if r["status"] == "ok" and r["chi2"])
        for direction in ("ascending", "descending"):
            chi2.click()
            check(chi2.find_element("xpath", "..").get_attribute("aria-sort") == direction,
                  f"aria-sort {direction}")
            cells = [cells[5] for cells in rows_shown(driver)]
            empty = count_shown(driver) - len(values)
            check([float(c) for c in cells[:len(values)]] == values
                  and cells[len(values):] == [""] * empty, f"sorted {direction}: {cells}")
            values.reverse()
        check(driver.current_url.endswith("#sort=-chi2&status=ok"),
              f"the URL keeps the view: {driver.current_url}")
        ok.click()

        # A point of the chart names its log; Enter shows its row.
        first = next(row for row in truth if row["chi2"] or row["status"] != "ok")
        chart = driver.find_element("id", "chart")
        chart.send_keys("\ue011")  # Home
        tip = driver.find_element("id", "tip").text
        check(tip.splitlines()[0] == first["log"], f"the first point says {tip!r}")
        chart.send_keys("\ue007")  # Enter
        check(driver.find_element("css selector", "tr.sel .pick").text == first["log"],
              "Enter on a point selects its row")

        # A failed run's tail ends with its log's last line: listed, in the table, and for a
        # failure past the listed ones (its tail comes with the rows).
        with open(os.path.join(batch.encode(), HOSTILE.encode()), "rb") as f:
            last_line = f.read().decode("utf-8", "replace").splitlines()[-1]
        summary = driver.find_element("xpath", f"//summary[code[text()='{batch}/{HOSTILE}']]")
        summary.click()
        tail = summary.find_element("xpath", "../pre").text
        check(tail.splitlines()[-1] == last_line, f"listed tail ends {tail[-80:]!r}")
        for query, last in (("onerror", last_line), ("fail_099", " cycle 99")):
            driver.get(f"{page}#q={query}")
            driver.find_element("css selector", "td .pick").click()
            tail = driver.find_element("id", "detail-tail").text
            check(tail.splitlines()[-1] == last, f"the tail of {query} ends {tail[-80:]!r}")

        # The rows as CSV are the rows of --csv.
        driver.get(page + "#")
        driver.execute_cdp_cmd("Browser.setDownloadBehavior",
                               {"behavior": "allow", "downloadPath": scratch})
        driver.find_element("id", "csv").click()
        saved = os.path.join(scratch, "tabrun-rows.csv")
        for _ in range(100):
            if os.path.exists(saved):
                break
            time.sleep(0.05)
        with open(saved, encoding="utf-8", newline="") as f:
            exported = f.read()
        check(exported == csv_text, f"CSV export differs:\n{exported}\n{csv_text}")

        # Nothing hostile ran, and hostile text shows as text.
        check(driver.execute_script("return document.documentElement.dataset.hostile") is None,
              "a hostile text ran as script")
        check(driver.execute_script("return document.images.length") == 0, "an image appeared")
        check(HOSTILE in driver.find_element("tag name", "body").text, "the hostile name shows")
        driver.set_window_size(1400, 1800)
        driver.save_screenshot(os.path.join(out_dir, "report_test.png"))
        print(f"browser test: {len(truth)} rows checked; screenshot in {out_dir}/report_test.png")
    finally:
        stop_browser(driver)
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
