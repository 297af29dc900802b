"""The report page of tabrun --html in headless Chromium and Firefox ESR, the same checks in both,
on a batch with every status, hostile names and hostile log ends: it loads from file:// without
a console error or a request, its header counts and filters agree with the rows of tabrun --csv,
it sorts, shows tails and names chart points, exports the rows as --csv writes them, and runs
nothing hostile; the page of the same rows read back holds them and shows last records; on
figures at the ends of the doubles its axes and bins hold; at 300,000 rows
its orders are right; a live page of --watch reloads keeping its view and marks running runs
apart. The page of tabrun --compare --html on a series refined before and after a change of
model: its legend, both batches and the change drawn, its counts at a threshold set in the URL
agree with the rows of --compare --csv, it sorts by the change and exports those rows; with no
name in common it says so. Saves report_test.png (Chromium) and report_test_firefox.png in
OUT_DIR.

Usage: /usr/bin/python3 tests/browser_test.py TABRUN OUT_DIR [chromium|firefox]
Exits 77 (skipped) at the first browser missing (by default both are tried), unless
TABRUN_NO_SKIP=1 is set; then that is a failure."""
import csv
import io
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from marionette import Firefox

# Each browser: the Debian packages it needs, and their programs.
NEEDS = {"chromium": ("chromium chromium-driver python3-selenium", "/usr/bin/chromium",
                      "/usr/bin/chromedriver"), "firefox": ("firefox-esr", "/usr/bin/firefox-esr")}
HOSTILE = "<img src=x onerror=alert(1)>.log"


def start_browser(name):
    """A headless Chromium or Firefox ESR that saves downloads into its folder `downloads` and
    tells its pages' console errors, or an exit when there is none to start."""
    packages, *programs = NEEDS[name]
    try:
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
    except ImportError:
        programs += [""] * (name == "chromium")  # selenium drives Chromium
    if not all(os.access(p, os.X_OK) and os.path.getsize(p) > 0 for p in programs):
        print(f"browser test skipped in {name}: install the Debian packages {packages}")
        sys.exit(1 if os.environ.get("TABRUN_NO_SKIP") == "1" else 77)
    profile = tempfile.mkdtemp(prefix=f"tabrun-{name}.")
    downloads = os.path.join(profile, "downloads")
    if name == "firefox":
        driver = Firefox(programs[0], profile, downloads)
    else:
        options = webdriver.ChromeOptions()
        options.binary_location = programs[0]
        for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic",
                     "--no-first-run", "--disable-background-networking",
                     "--disable-component-update", "--disable-sync", f"--user-data-dir={profile}"):
            options.add_argument(flag)
        options.add_experimental_option("prefs", {"download.default_directory": downloads})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = webdriver.Chrome(service=Service(programs[1]), options=options)
        driver.errors = lambda: [e["message"] for e in driver.get_log("browser")
                                 if e["level"] == "SEVERE"]
    driver.browser, driver.profile, driver.downloads = name, profile, downloads
    driver.set_window_size(1400, 1800)
    driver.set_page_load_timeout(60)  # a page whose script hangs fails, not the whole run
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
            raise AssertionError(f"no data-ready after {seconds} s: {driver.errors()}")
        time.sleep(0.02)


def problems(driver):
    """Console errors, and requests of the page other than for itself."""
    return [f"console: {e}" for e in driver.errors()] + [f"request: {url}" for url in
        driver.execute_script("return performance.getEntriesByType('resource').map((e) => e.name)")]


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
        # Natural order reads 12.25 and 12.5 as the name_number column does.
        b"T12.5K.log": ordinary(b"t", b" => Chi2: 3 Rp: 1\n"),
        b"T12.25K.log": ordinary(b"t", b" => Chi2: 3 Rp: 1\n"),
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
    return int(words[5].rstrip(",").replace(",", "")) if words[0] == "Rows" else 0


def rows_shown(driver):
    return driver.execute_script("""
        return [...document.querySelectorAll('#rows tbody tr:not([hidden])')]
          .map((tr) => [...tr.cells].map((td) => td.textContent));""")


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def saved_csv(driver, name="tabrun-rows.csv"):
    """Saves the rows shown as CSV and returns the text."""
    saved = os.path.join(driver.downloads, name)
    if os.path.exists(saved):
        os.remove(saved)
    driver.find_element("id", "csv").click()
    # Firefox puts an empty file at the name first and writes into NAME.part beside it: the
    # text is there once the file holds a line and no part file is left.
    end = time.monotonic() + 60
    while time.monotonic() < end and (not os.path.exists(saved) or os.path.exists(saved + ".part")
                                      or os.path.getsize(saved) == 0):
        time.sleep(0.05)
    time.sleep(0.2)  # and Chromium may still be writing a large one
    with open(saved, encoding="utf-8", newline="") as f:
        return f.read()


def natural_key(text):
    """The page's natural order: each number read as name_number reads it (12.25 < 12.5), and
    against other text as a '0'; the rest, and a tie, by character."""
    parts = re.split(r"(\d+(?:\.\d+)?)", text)
    key = [(ord(ch), 0.0) for ch in parts[0]]
    for number, rest in zip(parts[1::2], parts[2::2]):
        key += [(ord("0"), float(number))] + [(ord(ch), 0.0) for ch in rest]
    return key, text


def make_many(batch, count):
    """`count` tiny logs (hard links to five, under the file system's limit of links), their
    names in no order, each of the five with its own control file and Chi2."""
    os.makedirs(batch)
    for i in range(count):
        if i % 60000 == 0:
            source = os.path.join(batch, "..", f"source{i // 60000}")
            with open(source, "wb") as f:
                f.write(ordinary(b"c%d" % (i % 5), b" => Chi2: %d Rp: 1\n" % (i % 5)))
        os.link(source, os.path.join(batch, f"S{i % 13}_task{i * 7919 % 1000003}.log"))


def check_many(driver, page, csv_text):
    """Past 2^18 rows every order the page makes is right: the natural order of the names at
    the start, a text column's sort (ties in row order) and the saved CSV."""
    rows = list(csv.reader(io.StringIO(csv_text)))[1:]
    open_page(driver, page)
    by_name = [row[0] for row in sorted(rows, key=lambda row: natural_key(row[0]))]
    exported = [row[0] for row in csv.reader(io.StringIO(saved_csv(driver)))][1:]
    check(exported == by_name, f"natural order at {len(rows)} rows: {exported[:3]} {by_name[:3]}")
    driver.find_element("xpath", "//th/button[text()='control_file']").click()
    by_control = [row[0] for row in sorted(rows, key=lambda row: row[3])]  # stable: row order
    exported = [row[0] for row in csv.reader(io.StringIO(saved_csv(driver)))][1:]
    check(exported == by_control, f"control_file order: {exported[:3]} {by_control[:3]}")
    print(f"browser test in {driver.browser}: {len(rows)} rows in order")


def check_extremes(driver, page):
    """A logarithmic axis or a histogram over figures at the ends of the doubles, zoomed out
    past them by a link or by keys: the page answers, and no text says NaN or Infinity."""
    hashes = ["view=hist&y=log&zoom=-400,1", "view=hist&y=log&zoom=1,400", "y=log",
              "view=hist&y=log", "view=hist", "view=rank&y=log", "y=log&q=1e-300",
              "view=hist&q=308"]
    for hash in hashes:
        open_page(driver, f"{page}#{hash}")
        chart = driver.find_element("id", "chart")
        texts = [driver.find_element("id", "thin").text]
        for key in ("\ue011", "\ue010"):  # Home, End: the first and the last mark's tips
            chart.send_keys(key)
            texts.append(driver.find_element("id", "tip").text)
        check(not any(re.search("NaN|Infinity", t) for t in texts) and not problems(driver),
              f"#{hash}: {texts} {problems(driver)}")
    # Four runs, a logarithmic histogram, zoomed in once and out eleven times.
    open_page(driver, f"{page}#view=hist&y=log&q=small")
    chart = driver.find_element("id", "chart")
    chart.click()
    chart.send_keys("+" + "-" * 11)
    zoom = driver.execute_script("return location.hash")
    check("zoom=" in zoom and not problems(driver), f"zoomed out to {zoom}")


def check_page(driver, page, batch, csv_text, out_dir):
    """The checks, the same in both browsers; both fail the command after an alert."""
    truth = list(csv.DictReader(io.StringIO(csv_text)))
    open_page(driver, page + "#sort=constructor&figure=__proto__")  # inherited names: ignored
    found = problems(driver)
    check(not found, f"the page loads with {found}")
    check(driver.execute_script("return document.getElementsByTagName('*').length") <= 1500,
          "the page holds more than 1,500 elements")

    # The header counts are the status filter, and agree with the rows.
    for status, count, off in driver.execute_script("""return [...document.querySelectorAll(
        '#counts button')].map((b) => [b.dataset.status, +b.querySelector('b').textContent
        .replaceAll(',', ''), b.disabled])"""):
        button = driver.find_element("css selector", f"#counts button[data-status={status}]")
        check(count == sum(row["status"] == status for row in truth), f"header count {status}")
        check(off == (count == 0), f"{status} disabled: {off}")  # when no run has it
        if off:
            continue
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
        check(driver.find_element("xpath", "//th[button[text()='chi2']]")
              .get_attribute("aria-sort") == direction,
              f"aria-sort {direction}")
        cells = [cells[5] for cells in rows_shown(driver)]
        empty = count_shown(driver) - len(values)
        check([float(c) for c in cells[:len(values)]] == values
              and cells[len(values):] == [""] * empty, f"sorted {direction}: {cells}")
        values.reverse()
    url = driver.execute_script("return location.hash")
    check(url == "#sort=-chi2&status=ok", f"the URL keeps the view: {url}")
    ok.click()

    # A point of the chart names its log; Enter shows its row.
    driver.get(page + "#x=pos&sort=")
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
    summary = f"//summary[code[text()='{batch}/{HOSTILE}']]"
    driver.find_element("xpath", summary).click()
    tail = driver.find_element("xpath", summary + "/../pre").text
    check(tail.splitlines()[-1] == last_line, f"listed tail ends {tail[-80:]!r}")
    for query, last in (("onerror", last_line), ("fail_099&sort=toString", " cycle 99")):
        driver.get(f"{page}#q={query}")
        driver.find_element("css selector", "td .pick").click()
        tail = driver.find_element("id", "detail-tail").text
        check(tail.splitlines()[-1] == last, f"the tail of {query} ends {tail[-80:]!r}")

    # Natural order of the log names by default, an ok run's figures; the rank plot and the
    # histogram draw; keys zoom into the URL and the reset clears it.
    driver.get(f"{page}#q=k.log&x=__proto__")
    names = [cells[0].rsplit("/", 1)[1] for cells in rows_shown(driver)]
    driver.find_element("css selector", "td .pick").click()
    note = driver.find_element("id", "detail-note").text
    for view in ("rank", "hist"):
        driver.get(f"{page}#view={view}")
    driver.find_element("id", "chart").send_keys("+")
    zoomed, thin = [driver.execute_script(f"return {js}") for js in ("location.hash",
                    "document.getElementById('thin').textContent")]
    driver.find_element("id", "zoom-reset").click()
    check(names[:5] == ["T5K.log", "T12.25K.log", "T12.5K.log", "T20K.log", "T100K.log"]
          and note == "Status ok. "
          "cpu_seconds 1e-05, chi2 1e-05, rp 2." and "bins" in thin and "zoom=" in zoomed
          and driver.execute_script("return location.hash") == "#view=hist"
          and not problems(driver), f"{names} {note} {thin} {zoomed}")

    # The rows as CSV are the rows of --csv.
    driver.get(page + "#sort=")
    exported = saved_csv(driver)
    check(exported == csv_text, f"CSV export differs:\n{exported}\n{csv_text}")

    # Nothing hostile ran, and hostile text shows as text.
    check(driver.execute_script("return document.images.length") == 0, "an image appeared")
    check(HOSTILE in driver.find_element("tag name", "body").text, "the hostile name shows")
    shot = os.path.join(out_dir, {"chromium": "report_test.png"}.get(
        driver.browser, f"report_test_{driver.browser}.png"))
    driver.save_screenshot(shot)
    print(f"browser test in {driver.browser}: {len(truth)} rows checked; screenshot in {shot}")


def check_rows_page(driver, page, csv_text):
    """The page of the same rows read back with --from-rows: the same rows, and a failed run's
    last record where the page of the logs shows the end of its log, which it says."""
    # The page before is ready too: until the new one is, its mark says it is not the one.
    driver.execute_script("document.documentElement.dataset.ready = 'before'")
    open_page(driver, page + "#sort=")
    check(not problems(driver), f"the rows page loads with {problems(driver)}")
    check(saved_csv(driver) == csv_text, "the rows page's rows differ from the logs'")
    driver.get(f"{page}#q=fail_099")
    driver.find_element("css selector", "td .pick").click()
    note = driver.find_element("id", "detail-note").text
    tail = driver.find_element("id", "detail-tail").text
    says = driver.find_element("css selector", "#failed p").text
    check("made from rows" in note and tail.splitlines() == [" cycle 99"]
          and "made from rows" in says, f"the rows page's detail: {note!r} {tail!r} {says!r}")
    print(f"browser test in {driver.browser}: the page from rows holds the same rows")


def make_extremes(batch):
    os.makedirs(batch)
    figures = ["1E300", "1", "1E-300", "1.7976931348623157E308", "-1.5E308", "-1E308", "1E308",
               "1.5E308"] + [f"small{i}" for i in range(1, 5)]
    for i, figure in enumerate(figures):
        chi2 = figure.replace("small", "").encode()
        with open(os.path.join(batch, f"r{i:02}_{figure}.log"), "wb") as f:
            f.write(ordinary(b"x", b" => Chi2: " + chi2 + b" Rp: 1\n"))


def refinement(control, chi2, cpu=b"41.25"):
    """An ordinary run's log that states its figures and CPU time."""
    return (b" => Control file *.pcr: " + control + b"\n => Rp: 7.12  Rwp: 9.48  Rexp: 6.02  Chi2: "
            + chi2 + b"\n => Normal end, final calculations and writing...\n => CPU Time: " + cpu
            + b" seconds\n")


def make_series(before, after):
    """A temperature series of 120 steps refined before and after a better low-temperature
    model: Chi2 3.4 -> 1.6 at 4 K, 60 % worse at 203 K and 263 K, the 138 K run failed before
    and converges after, the 230 K run stops after; 238 K only before, 300 K only after."""
    os.makedirs(before)
    os.makedirs(after)
    temperatures = sorted({4 + 2 * i for i in range(118)} | {203, 263, 300})
    seed = 7
    for t in temperatures:
        seed = (seed * 1103515245 + 12345) % 2 ** 31
        old = 1.5 + 1.9 * 2.718281828 ** (-(t - 4) / 60) + seed % 100 / 1000
        new = {4: 1.6, 203: old * 1.6, 263: old * 1.6}.get(t, 1.45 + old / 20 + seed % 37 / 1000)
        name, control = f"LaMnO3_T{t}K.log", b"LaMnO3_T%dK" % t
        if t != 300:
            with open(os.path.join(before, name), "wb") as f:
                f.write(b" => Control file *.pcr: " + control + b"\n => Abnormal end of run\n"
                        if t == 138 else refinement(control, b"%.3f" % (3.4 if t == 4 else old)))
        if t != 238:
            with open(os.path.join(after, name), "wb") as f:
                f.write(b" => Control file *.pcr: " + control + b"\n => Normal end\n" if t == 230
                        else refinement(control, b"%.3f" % new))


def compare_class(row, threshold):
    """A compare row's class for chi2 at `threshold` %, as the page counts it."""
    if row["side"] != "both":
        return row["side"]
    ok_before, ok_after = row["status_before"] == "ok", row["status_after"] == "ok"
    if ok_before != ok_after:
        return "fixed" if ok_after else "broken"
    if not ok_before:
        return "failed"
    if not row["chi2_change"]:
        return "no_figure"
    change, relative = float(row["chi2_change"]), row["chi2_relative"]
    beyond = change != 0 if not relative else abs(float(relative)) > threshold / 100
    return "unchanged" if not beyond else "better" if change < 0 else "worse"


def canvas_has(driver, canvas, colour):
    """Whether the canvas `canvas` holds pixels of the page's style colour `colour`."""
    return driver.execute_script(f"const [id, colour] = {json.dumps([canvas, colour])};" + """
        const canvas = document.getElementById(id);
        const probe = canvas.getContext('2d');
        const style = getComputedStyle(document.documentElement);
        const c = document.createElement('canvas').getContext('2d');
        c.fillStyle = style.getPropertyValue('--' + colour).trim();
        c.fillRect(0, 0, 1, 1);
        const [r, g, b] = c.getImageData(0, 0, 1, 1).data;
        const d = probe.getImageData(0, 0, canvas.width, canvas.height).data;
        for (let i = 0; i < d.length; i += 4) {
          if (d[i] === r && d[i + 1] === g && d[i + 2] === b && d[i + 3] === 255) return true;
        }
        return false;""")


def check_compare(driver, page, csv_text, apart, out_dir):
    """The compare page: legend, both series, the change view and the counts at a threshold
    set in the URL, the sort by the change, the export; the page of two batches apart."""
    rows = list(csv.DictReader(io.StringIO(csv_text)))
    open_page(driver, page + "#threshold=50")
    check(not problems(driver), f"the compare page loads with {problems(driver)}")
    legend = driver.find_element("id", "chart").get_attribute("aria-description")
    check(legend == "Legend: \u25cf before; \u25a0 after; \u25b3 failed before; "
          "\u25b2 failed after", f"legend: {legend}")
    for canvas, colour in (("chart", "before"), ("chart", "accent"), ("change", "best"),
                           ("change", "fail")):
        check(canvas_has(driver, canvas, colour), f"no {colour} in #{canvas}")
    counts = dict(driver.execute_script("""return [...document.querySelectorAll(
        '#classes button')].map((b) => [b.dataset.class, +b.querySelector('b').textContent
        .replaceAll(',', '')])"""))
    expected = {name: 0 for name in counts}
    for row in rows:
        expected[compare_class(row, 50)] += 1
    threshold = driver.execute_script("return document.getElementById('threshold').value")
    check(counts == expected and threshold == "50", f"counts at 50 %: {counts}, not {expected}")
    drawn = sum(1 for row in rows if compare_class(row, 50) in ("better", "worse", "unchanged")
                and row["chi2_relative"])
    note = driver.find_element("id", "change-note").text
    check(note.startswith(f"{drawn} runs ok in both"), f"change note: {note}")
    # The change view's first mark is the best relative change.
    best = min((row for row in rows if row["chi2_relative"] and row["status_after"] == "ok"
                and row["status_before"] == "ok"), key=lambda row: float(row["chi2_relative"]))
    driver.find_element("id", "change").send_keys("\ue011")  # Home
    tip = driver.find_element("id", "change-tip").text
    check(tip.splitlines()[0] == best["log"], f"the first change says {tip!r}")
    # The worse runs only, a class pressed; the table sorted by the relative change.
    driver.find_element("css selector", "#classes button[data-class=worse]").click()
    driver.find_element("xpath", "//th/button[text()='change %']").click()
    worse = sorted((row for row in rows if compare_class(row, 50) == "worse"),
                   key=lambda row: float(row["chi2_relative"]))
    shown = [cells[0] for cells in rows_shown(driver)]
    url = driver.execute_script("return location.hash")
    check(shown == [row["log"] for row in worse] and url == "#sort=relative&threshold=50&class=worse",
          f"worse by change: {shown} at {url}")
    driver.save_screenshot(os.path.join(out_dir, f"compare_test_{driver.browser}.png"))
    # All rows, as --compare --csv writes them.
    driver.get(page)
    exported = saved_csv(driver, "tabrun-compare.csv")
    check(exported == csv_text, f"the compare page's CSV differs:\n{exported}\n{csv_text}")
    # Two batches with no name in common: the page says so, and shows the runs of each.
    open_page(driver, apart)
    check("nothing could be paired" in driver.find_element("id", "apart").text
          and count_shown(driver) == 2 and not problems(driver), "the page of batches apart")
    print(f"browser test in {driver.browser}: the compare page of {len(rows)} rows checked")


def report_of(tabrun, scratch, name, make):
    """Makes the batch `name` in `scratch` with make(path); returns its page's URL, the exit
    statuses of --html and --csv, and the rows of --csv."""
    batch = os.path.join(scratch, name)
    make(batch)
    report = os.path.join(scratch, name + ".html")
    with open(report, "wb") as f:
        html_status = subprocess.run([tabrun, "--html", batch], stdout=f).returncode
    rows = subprocess.run([tabrun, "--csv", batch], capture_output=True)
    return "file://" + report, html_status, rows.returncode, rows.stdout.decode("utf-8", "replace")


def check_live(driver, tabrun, scratch):
    """The live page of --html --watch: it reloads itself as the runs go on and comes back with
    the same view, the selected run and the scroll; a running run is counted and marked apart,
    not as a failure; when the watch ends, the page stops reloading."""
    batch = os.path.join(scratch, "live")
    os.makedirs(batch)
    for i in range(1, 60):
        with open(os.path.join(batch, f"T{i}K.log"), "wb") as f:
            f.write(ordinary(b"t", b" => Chi2: %d Rp: 1\n" % i))
    with open(os.path.join(batch, "dies.log"), "wb") as f:
        f.write(ordinary(b"d", end=False) + b" => Abnormal end of run: singular matrix\n")
    with open(os.path.join(batch, "runs.log"), "wb") as f:
        f.write(ordinary(b"r", end=False, cpu=None) + b" cycle 1\n")
    page = os.path.join(scratch, "live.html")
    watch = subprocess.Popen([tabrun, "--html", "--watch", "--output", page, "--running-for",
                              "600", batch])
    try:
        end = time.monotonic() + 30
        while not os.path.exists(page) and time.monotonic() < end:
            time.sleep(0.1)
        open_page(driver, "file://" + page + "#q=T")
        live = driver.execute_script("return document.getElementById('live').textContent")
        check(re.fullmatch(r"live, updated \d\d:\d\d:\d\d", live), f"the live line: {live}")
        running = driver.execute_script("""
            const b = document.querySelector('#counts button[data-status="running"]');
            return [b && b.textContent, document.querySelector('#failed').textContent
              .includes('runs.log'), [...document.querySelectorAll('td.run')].length];""")
        check(running[0].startswith("running 1") and not running[1],
              f"a running run is counted apart, not failed: {running}")
        driver.execute_script("document.querySelector('#rows tbody tr button').click();"
                              "window.scrollTo(0, 400); window.stayed = 1;")
        chosen, scrolled = driver.execute_script(
            "return [document.getElementById('detail-title').textContent, scrollY]")
        with open(os.path.join(batch, "runs.log"), "ab") as f:
            f.write(b" Normal end\n CPU Time: 3 s\n")
        end = time.monotonic() + 20
        while time.monotonic() < end:
            time.sleep(0.2)
            try:
                if driver.execute_script("return !window.stayed && "
                                         "document.documentElement.dataset.ready === '1' && "
                                         "document.querySelector('#counts button"
                                         "[data-status=running] b').textContent === '0'"):
                    break
            except Exception:  # the page is being reloaded
                pass
        after = driver.execute_script("""return [location.hash, scrollY,
            document.getElementById('detail-title').textContent,
            document.getElementById('detail').hidden, document.getElementById('q').value];""")
        check(after[0] == "#q=T" and abs(after[1] - scrolled) < 2 and after[2] == chosen
              and not after[3] and after[4] == "T",
              f"the view after a reload: {after}, {chosen} and {scrolled} before")
        check(not problems(driver), f"the live page: {problems(driver)}")
    finally:
        watch.send_signal(signal.SIGINT)
        status = watch.wait(timeout=30)
    check(status == 0, f"the watch ends with {status}")
    open_page(driver, "file://" + page)
    driver.execute_script("window.stayed = 1;")
    time.sleep(3)
    check(driver.execute_script("return window.stayed === 1 && !document.getElementById('live')"),
          "the page of an ended watch does not reload")
    print(f"browser test in {driver.browser}: the live page reloads, keeps its view, runs apart")


def main():
    tabrun, out_dir = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    examples = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples", "batch")
    scratch = tempfile.mkdtemp(prefix="tabrun-browser.")
    try:
        page, html_status, csv_status, csv_text = report_of(
            tabrun, scratch, "batch", lambda batch: make_batch(batch, examples))
        check(html_status == csv_status == 1, "--html and --csv exit with 1 for this batch")
        rows = os.path.join(scratch, "batch.csv")
        with open(rows, "wb") as f:
            subprocess.run([tabrun, "--csv", os.path.join(scratch, "batch")], stdout=f)
        with open(os.path.join(scratch, "rows.html"), "wb") as f:
            subprocess.run([tabrun, "--html", "--from-rows", rows], stdout=f)
        extremes = report_of(tabrun, scratch, "extremes", make_extremes)[0]
        many = report_of(tabrun, scratch, "many", lambda batch: make_many(batch, 300000))
        make_series(os.path.join(scratch, "before"), os.path.join(scratch, "after"))
        compared = [subprocess.run([tabrun, "--compare", mode, "before", "after"], cwd=scratch,
                                   capture_output=True).stdout for mode in ("--html", "--csv")]
        with open(os.path.join(scratch, "compare.html"), "wb") as f:
            f.write(compared[0])
        apart = subprocess.run([tabrun, "--compare", "--html", "before/LaMnO3_T4K.log",
                                "after/LaMnO3_T6K.log"], cwd=scratch, capture_output=True).stdout
        with open(os.path.join(scratch, "apart.html"), "wb") as f:
            f.write(apart)
        for name in sys.argv[3:] or ("chromium", "firefox"):
            driver = start_browser(name)
            try:
                check_page(driver, page, os.path.join(scratch, "batch"), csv_text, out_dir)
                check_rows_page(driver, "file://" + os.path.join(scratch, "rows.html"), csv_text)
                check_extremes(driver, extremes)
                check_many(driver, many[0], many[3])
                check_compare(driver, "file://" + os.path.join(scratch, "compare.html"),
                              compared[1].decode(), "file://" + os.path.join(scratch, "apart.html"),
                              out_dir)
                check_live(driver, tabrun, scratch)
            finally:
                stop_browser(driver)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
