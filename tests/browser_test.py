"""The report page of tabrun --html in headless Chromium and Firefox ESR, the same checks in both:
on a batch with every status, hostile names and hostile log ends it loads from file:// with no
console error or request, its counts, filters, sorts, tails, chart points and CSV export agree
with tabrun --csv, and it runs nothing hostile; the page of those rows read back; axes and bins at
the ends of the doubles; orders at 300,000 rows; a live page of --watch that reloads keeping its
view; the page of --compare against --compare --csv, and of two batches apart. Saves
report_test.png (Chromium), report_test_firefox.png and compare_test_BROWSER.png in OUT_DIR.

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


def wait(what, ready, seconds=60):
    """Polls ready() until it gives a true value, and returns that; fails with what() after
    `seconds`."""
    end = time.monotonic() + seconds
    while not (value := ready()):
        if time.monotonic() > end:
            raise AssertionError(what())
        time.sleep(0.05)
    return value


def js(driver, expression):
    return driver.execute_script("return " + expression)


def open_page(driver, url):
    """Loads `url` and waits for the page's data-ready signal."""
    driver.get(url)
    wait(lambda: f"no data-ready: {driver.errors()}",
         lambda: js(driver, "document.documentElement.dataset.ready") == "1")


def problems(driver):
    """Console errors, and requests of the page other than for itself."""
    return [f"console: {e}" for e in driver.errors()] + [f"request: {url}" for url in
        js(driver, "performance.getEntriesByType('resource').map((e) => e.name)")]


def ordinary(control, result=b"", cpu=b"2", end=True):
    return (b" Control file *.pcr: " + control + b"\n" + result + (b" Normal end\n" if end else b"")
            + (b" CPU Time: " + cpu + b" seconds\n" if cpu is not None else b""))


def write_logs(folder, logs):
    """Makes `folder` with a file for each name (str or bytes) in `logs`, holding its text."""
    os.makedirs(folder, exist_ok=True)
    for name, text in logs.items():
        with open(os.path.join(os.fsencode(folder), os.fsencode(name)), "wb") as f:
            f.write(text)


def make_batch(batch):
    examples = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples", "batch")
    shutil.copytree(examples, batch)
    hostile = (b" => Cycle: 1\n\n </script><script>alert(1)</script>\n <!-- \n"
               + b" \"quotes' & <b>bold</b> caf\xe9\n" * 25)
    write_logs(batch, {
        HOSTILE: ordinary(b"<script>alert(2)</script>", end=False) + hostile
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
        # More failures than the page lists: the tails of the last ones come with the rows.
        **{b"zz_fail_%03d.log" % i: ordinary(b"f", end=False) + b" cycle %d\n" % i
           for i in range(100)}})
    os.mkdir(os.path.join(batch, "folder.log"))  # unreadable


def count_shown(driver):
    """How many rows pass the filters, by the pager's words "Rows A to B of N, ..."."""
    words = driver.find_element("id", "page").text.split()
    return int(words[5].rstrip(",").replace(",", "")) if words[0] == "Rows" else 0


def rows_shown(driver):
    return js(driver, """[...document.querySelectorAll('#rows tbody tr:not([hidden])')]
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
    wait(lambda: f"{saved} is not saved", lambda: os.path.exists(saved)
         and not os.path.exists(saved + ".part") and os.path.getsize(saved))
    time.sleep(0.2)  # and Chromium may still be writing a large one
    with open(saved, encoding="utf-8", newline="") as f:
        return f.read()


def make_many(batch, count):
    """`count` tiny logs (hard links to five, under the file system's limit of links), their
    names in no order, each of the five with its own control file and Chi2."""
    os.makedirs(batch)
    for i in range(count):
        if i % 60000 == 0:
            source = os.path.join(batch, "..", f"source{i // 60000}")
            with open(source, "wb") as f:
                f.write(ordinary(b"c%d" % (i // 60000), b" => Chi2: %d Rp: 1\n" % (i // 60000)))
        os.link(source, os.path.join(batch, f"S{i % 13}_task{i * 7919 % 1000003}.log"))


def check_many(driver, page, csv_text):
    """Past 2^18 rows every order the page makes is right: the natural order of the names at
    the start (their numbers, S0 to S12 and task numbers, are whole), a text column's sort (ties
    in row order) and the saved CSV."""
    rows = list(csv.reader(io.StringIO(csv_text)))[1:]
    open_page(driver, page)
    for key in (lambda row: [int(n) for n in re.findall(r"\d+", row[0])], lambda row: row[3]):
        exported = [row[0] for row in csv.reader(io.StringIO(saved_csv(driver)))][1:]
        by_key = [row[0] for row in sorted(rows, key=key)]  # stable: ties in row order
        check(exported == by_key, f"order at {len(rows)} rows: {exported[:3]} {by_key[:3]}")
        driver.find_element("xpath", "//th/button[text()='control_file']").click()
    print(f"browser test in {driver.browser}: {len(rows)} rows in order")


def check_extremes(driver, page):
    """A logarithmic axis or a histogram over figures at the ends of the doubles, zoomed out
    past them by a link or by keys: the page answers, and no text says NaN or Infinity."""
    for hash in ("view=hist&y=log&zoom=-400,1", "view=hist&y=log&zoom=1,400", "y=log",
                 "view=hist&y=log", "view=hist", "view=rank&y=log", "y=log&q=1e-300",
                 "view=hist&q=308", "view=hist&y=log&q=small"):
        open_page(driver, f"{page}#{hash}")
        chart = driver.find_element("id", "chart")
        if hash.endswith("small"):  # four runs, zoomed in once and out eleven times
            chart.click()
            chart.send_keys("+" + "-" * 11)
            check("zoom=" in js(driver, "location.hash"), f"#{hash}: not zoomed")
        texts = [driver.find_element("id", "thin").text]
        for key in ("\ue011", "\ue010"):  # Home, End: the first and the last mark's tips
            chart.send_keys(key)
            texts.append(driver.find_element("id", "tip").text)
        check(not any(re.search("NaN|Infinity", t) for t in texts) and not problems(driver),
              f"#{hash}: {texts} {problems(driver)}")


def check_page(driver, page, csv_text, out_dir):
    """The checks, the same in both browsers; both fail the command after an alert."""
    truth = list(csv.DictReader(io.StringIO(csv_text)))
    open_page(driver, page + "#sort=constructor&figure=__proto__")  # inherited names: ignored
    check(not problems(driver), f"the page loads with {problems(driver)}")
    check(js(driver, "document.getElementsByTagName('*').length") <= 1500,
          "the page holds more than 1,500 elements")
    # The rows shown first carry the texts of the rows, made a cell at a time.
    heads = js(driver, "[...document.querySelectorAll('#rows th button')]"
                       ".map((b) => b.textContent)")
    texts = ("control_file", "result", "reason")
    by_log = {row["log"]: [row[name] for name in texts] for row in truth}
    for cells in rows_shown(driver):
        check([cells[heads.index(name)] for name in texts] == by_log[cells[0]], f"row {cells}")

    # The header counts are the status filter, and agree with the rows.
    for status, count, off in js(driver, """[...document.querySelectorAll('#counts button')]
            .map((b) => [b.dataset.status, +b.querySelector('b').textContent
            .replaceAll(',', ''), b.disabled])"""):
        button = driver.find_element("css selector", f"#counts button[data-status={status}]")
        check(count == sum(row["status"] == status for row in truth), f"header count {status}")
        check(off == (count == 0), f"{status} disabled: {off}")  # when no run has it
        if not off:
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
    values = sorted(float(r["chi2"]) for r in truth if r["status"] == "ok" and r["chi2"])
    for direction in ("ascending", "descending"):
        driver.find_element("xpath", "//th/button[text()='chi2']").click()
        sort = driver.find_element("xpath", "//th[button[text()='chi2']]")
        cells = [cells[5] for cells in rows_shown(driver)]
        check(sort.get_attribute("aria-sort") == direction
              and [float(c) for c in cells[:len(values)]] == values
              and cells[len(values):] == [""] * (count_shown(driver) - len(values)),
              f"sorted {direction}: {cells}")
        values.reverse()
    check(js(driver, "location.hash") == "#sort=-chi2&status=ok", "the URL keeps the view")
    ok.click()

    # A point of the chart names its log; Enter shows its row.
    driver.get(page + "#x=pos&sort=")
    first = next(row for row in truth if row["chi2"] or row["status"] != "ok")
    chart = driver.find_element("id", "chart")
    chart.send_keys("\ue011")  # Home
    tip = driver.find_element("id", "tip").text
    chart.send_keys("\ue007")  # Enter
    check(tip.splitlines()[0] == first["log"] == driver.find_element(
        "css selector", "tr.sel .pick").text, f"the first point says {tip!r}, Enter selects it")

    # A failed run's tail ends with its log's last line: listed, in the table, and for a
    # failure past the listed ones (its tail comes with the rows).
    last_line = " last words: </script><script>alert(3)</script>"
    summary = f"//summary[code[text()='batch/{HOSTILE}']]"
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
    zoomed, thin = js(driver, "[location.hash, document.getElementById('thin').textContent]")
    driver.find_element("id", "zoom-reset").click()
    check(names[:5] == ["T5K.log", "T12.25K.log", "T12.5K.log", "T20K.log", "T100K.log"]
          and note == "Status ok. cpu_seconds 1e-05, chi2 1e-05, rp 2." and "bins" in thin
          and "zoom=" in zoomed and js(driver, "location.hash") == "#view=hist"
          and not problems(driver), f"{names} {note} {thin} {zoomed}")

    # The rows as CSV are the rows of --csv; nothing hostile ran, and hostile text shows as text.
    driver.get(page + "#sort=")
    exported = saved_csv(driver)
    check(exported == csv_text, f"CSV export differs:\n{exported}\n{csv_text}")
    check(js(driver, "document.images.length") == 0, "an image appeared")
    check(HOSTILE in driver.find_element("tag name", "body").text, "the hostile name shows")
    shot = os.path.join(out_dir, {"chromium": "report_test.png"}.get(
        driver.browser, f"report_test_{driver.browser}.png"))
    driver.save_screenshot(shot)
    print(f"browser test in {driver.browser}: {len(truth)} rows checked; screenshot in {shot}")


def check_rows_page(driver, page):
    """The page of the same rows read back with --from-rows (which holds the columns of the page
    of the logs: rows_round_trip.py): a failed run's last record where the page of the logs
    shows the end of its log, which the detail says."""
    # The page before is ready too: until the new one is, its mark says it is not the one.
    driver.execute_script("document.documentElement.dataset.ready = 'before'")
    open_page(driver, f"{page}#q=fail_099")
    check(not problems(driver), f"the rows page loads with {problems(driver)}")
    driver.find_element("css selector", "td .pick").click()
    note = driver.find_element("id", "detail-note").text
    tail = driver.find_element("id", "detail-tail").text
    check("made from rows" in note and tail.splitlines() == [" cycle 99"],
          f"the rows page's detail: {note!r} {tail!r}")
    print(f"browser test in {driver.browser}: the page from rows shows a run's last record")


def make_extremes(batch):
    figures = ["1E300", "1", "1E-300", "1.7976931348623157E308", "-1.5E308", "-1E308", "1E308",
               "1.5E308"] + [f"small{i}" for i in range(1, 5)]
    write_logs(batch, {f"r{i:02}_{figure}.log": ordinary(b"x", b" => Chi2: %s Rp: 1\n" % figure
               .replace("small", "").encode()) for i, figure in enumerate(figures)})


def make_series(before, after):
    """A temperature series of 120 steps refined before and after a better low-temperature
    model: Chi2 3.4 -> 1.6 at 4 K, 60 % worse at 203 K and 263 K, the 138 K run failed before
    and converges after, the 230 K run stops after; 238 K only before, 300 K only after."""
    logs = {before: {}, after: {}}
    seed = 7
    for t in sorted({4 + 2 * i for i in range(118)} | {203, 263, 300}):
        seed = (seed * 1103515245 + 12345) % 2 ** 31
        old = 1.5 + 1.9 * 2.718281828 ** (-(t - 4) / 60) + seed % 100 / 1000
        new = {4: 1.6, 203: old * 1.6, 263: old * 1.6}.get(t, 1.45 + old / 20 + seed % 37 / 1000)
        name, control = f"LaMnO3_T{t}K.log", b"LaMnO3_T%dK" % t
        chi2 = lambda value: ordinary(control, b" => Rp: 7.12  Rwp: 9.48  Rexp: 6.02  Chi2: %.3f\n"
                                      % value, b"41.25")
        if t != 300:
            logs[before][name] = (ordinary(control, b" => Abnormal end of run\n", None, False)
                                  if t == 138 else chi2(3.4 if t == 4 else old))
        if t != 238:
            logs[after][name] = ordinary(control, cpu=None) if t == 230 else chi2(new)
    for folder, folder_logs in logs.items():
        write_logs(folder, folder_logs)


def canvas_has(driver, canvas, colour):
    """Whether the canvas `canvas` holds pixels of the page's style colour `colour`."""
    return js(driver, f"""((id, colour) => {{
        const canvas = document.getElementById(id);
        const c = document.createElement('canvas').getContext('2d');
        c.fillStyle = getComputedStyle(document.documentElement).getPropertyValue('--' + colour).trim();
        c.fillRect(0, 0, 1, 1);
        const [r, g, b] = c.getImageData(0, 0, 1, 1).data;
        const d = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data;
        for (let i = 0; i < d.length; i += 4) {{
          if (d[i] === r && d[i + 1] === g && d[i + 2] === b && d[i + 3] === 255) return true;
        }}
        return false;
      }})(...{json.dumps([canvas, colour])})""")


# The compare page's classes at a threshold of 50 % for the series of make_series.
CLASSES_AT_50 = {"better": 4, "worse": 2, "unchanged": 111, "no_figure": 0, "fixed": 1,
                 "broken": 1, "failed": 0, "before": 1, "after": 1}


def check_compare(driver, page, csv_text, apart, out_dir):
    """The compare page: legend, both series, the change view and the counts at a threshold
    set in the URL, the sort by the change, the export; the page of two batches apart."""
    open_page(driver, page + "#threshold=50")
    check(not problems(driver), f"the compare page loads with {problems(driver)}")
    legend = driver.find_element("id", "chart").get_attribute("aria-description")
    check(legend == "Legend: \u25cf before; \u25a0 after; \u25b3 failed before; "
          "\u25b2 failed after", f"legend: {legend}")
    for canvas, colour in (("chart", "before"), ("chart", "accent"), ("change", "best"),
                           ("change", "fail")):
        check(canvas_has(driver, canvas, colour), f"no {colour} in #{canvas}")
    counts = dict(js(driver, """[...document.querySelectorAll('#classes button')].map((b) =>
        [b.dataset.class, +b.querySelector('b').textContent.replaceAll(',', '')])"""))
    threshold = js(driver, "document.getElementById('threshold').value")
    check(counts == CLASSES_AT_50 and threshold == "50", f"counts at 50 %: {counts}")
    # Those better, worse or unchanged, each with a relative change, are drawn; the first is
    # the best relative change.
    note = driver.find_element("id", "change-note").text
    check(note.startswith("117 runs ok in both"), f"change note: {note}")
    driver.find_element("id", "change").send_keys("\ue011")  # Home
    tip = driver.find_element("id", "change-tip").text
    check(tip.splitlines()[0] == "LaMnO3_T4K.log", f"the first change says {tip!r}")
    # The worse runs only, a class pressed; the table sorted by the relative change.
    driver.find_element("css selector", "#classes button[data-class=worse]").click()
    driver.find_element("xpath", "//th/button[text()='change %']").click()
    shown = [cells[0] for cells in rows_shown(driver)]
    url = js(driver, "location.hash")
    check(shown == ["LaMnO3_T203K.log", "LaMnO3_T263K.log"]
          and url == "#sort=relative&threshold=50&class=worse", f"worse: {shown} at {url}")
    driver.save_screenshot(os.path.join(out_dir, f"compare_test_{driver.browser}.png"))
    # Another figure sorts by its own change: Rp is the same in every run, so the rows keep
    # their order.
    sorted_by = "document.querySelector('th[aria-sort]')?.textContent || ''"
    driver.execute_script("location.hash = '#threshold=50&figure=rp'")
    wait(lambda: "no unsorted table", lambda: js(driver, sorted_by) == "")
    unsorted = rows_shown(driver)
    driver.execute_script("location.hash = '#sort=relative&threshold=50&figure=rp'")
    wait(lambda: "no sort by the change of rp", lambda: js(driver, sorted_by) == "change %")
    check(rows_shown(driver) == unsorted, "the rows by the change of rp are not in row order")
    # All rows, as --compare --csv writes them.
    driver.get(page)
    exported = saved_csv(driver, "tabrun-compare.csv")
    check(exported == csv_text, f"the compare page's CSV differs:\n{exported}\n{csv_text}")
    # Two batches with no name in common: the page says so, and shows the runs of each.
    open_page(driver, apart)
    check("nothing could be paired" in driver.find_element("id", "apart").text
          and count_shown(driver) == 2 and not problems(driver), "the page of batches apart")
    print(f"browser test in {driver.browser}: the compare page checked")


def check_live(driver, tabrun, scratch):
    """The live page of --html --watch: it reloads itself as the runs go on and comes back with
    the same view, the selected run and the scroll; a running run is counted and marked apart,
    not as a failure."""
    batch = os.path.join(scratch, "live")
    write_logs(batch, {**{f"T{i}K.log": ordinary(b"t", b" => Chi2: %d Rp: 1\n" % i)
                          for i in range(1, 60)},
                       "dies.log": ordinary(b"d", b" => Abnormal end of run: singular matrix\n",
                                            end=False),
                       "runs.log": ordinary(b"r", end=False, cpu=None) + b" cycle 1\n"})
    page = os.path.join(scratch, "live.html")
    watch = subprocess.Popen([tabrun, "--html", "--watch", "--output", page, "--running-for",
                              "600", batch])
    try:
        wait(lambda: "the watch writes no page", lambda: os.path.exists(page), 30)
        open_page(driver, "file://" + page + "#q=T")
        live = js(driver, "document.getElementById('live').textContent")
        check(re.fullmatch(r"live, updated \d\d:\d\d:\d\d", live), f"the live line: {live}")
        running = js(driver, """[document.querySelector('#counts button[data-status="running"]')
            .textContent, document.querySelector('#failed').textContent.includes('runs.log')]""")
        check(running[0].startswith("running 1") and not running[1],
              f"a running run is counted apart, not failed: {running}")
        driver.execute_script("document.querySelector('#rows tbody tr button').click();"
                              "window.scrollTo(0, 400); window.stayed = 1;")
        before = js(driver, "[document.getElementById('detail-title').textContent, scrollY]")
        with open(os.path.join(batch, "runs.log"), "ab") as f:
            f.write(b" Normal end\n CPU Time: 3 s\n")

        def reloaded():
            try:
                return js(driver, "!window.stayed && document.documentElement.dataset.ready === '1'"
                          " && document.querySelector('#counts button[data-status=running] b')"
                          ".textContent === '0'")
            except Exception:  # the page is being reloaded
                return False
        wait(lambda: "the live page does not reload", reloaded, 20)
        after = js(driver, """[location.hash, scrollY, document.getElementById('detail-title')
            .textContent, document.getElementById('detail').hidden,
            document.getElementById('q').value]""")
        check(after[0] == "#q=T" and abs(after[1] - before[1]) < 2 and after[2] == before[0]
              and not after[3] and after[4] == "T" and not problems(driver),
              f"the view after a reload: {after}, {before} before; {problems(driver)}")
    finally:
        watch.send_signal(signal.SIGINT)
        status = watch.wait(timeout=30)
    check(status == 0, f"the watch ends with {status}")
    print(f"browser test in {driver.browser}: the live page reloads, keeps its view, runs apart")


def main():
    tabrun, out_dir = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    scratch = tempfile.mkdtemp(prefix="tabrun-browser.")

    def run(name, *args):
        """Runs tabrun ARGS in `scratch` into the file `name`; returns its URL, the exit status
        and the text."""
        with open(os.path.join(scratch, name), "wb") as f:
            status = subprocess.run([tabrun, *args], cwd=scratch, stdout=f).returncode
        with open(os.path.join(scratch, name), encoding="utf-8", errors="replace", newline="") as f:
            return "file://" + os.path.join(scratch, name), status, f.read()

    try:
        make_batch(os.path.join(scratch, "batch"))
        make_extremes(os.path.join(scratch, "extremes"))
        make_many(os.path.join(scratch, "many"), 300000)
        make_series(os.path.join(scratch, "before"), os.path.join(scratch, "after"))
        page, html_status, _ = run("batch.html", "--html", "batch")
        csv_status, csv_text = run("batch.csv", "--csv", "batch")[1:]
        check(html_status == csv_status == 1, "--html and --csv exit with 1 for this batch")
        pages = [run(name + ".html", *args)[0] for name, args in (
            ("rows", ("--html", "--from-rows", "batch.csv")), ("extremes", ("--html", "extremes")),
            ("many", ("--html", "many")), ("compare", ("--compare", "--html", "before", "after")),
            ("apart", ("--compare", "--html", "before/LaMnO3_T4K.log", "after/LaMnO3_T6K.log")))]
        many_csv = run("many.csv", "--csv", "many")[2]
        compare_csv = run("compare.csv", "--compare", "--csv", "before", "after")[2]
        for name in sys.argv[3:] or ("chromium", "firefox"):
            driver = start_browser(name)
            try:
                check_page(driver, page, csv_text, out_dir)
                check_rows_page(driver, pages[0])
                check_extremes(driver, pages[1])
                check_many(driver, pages[2], many_csv)
                check_compare(driver, pages[3], compare_csv, pages[4], out_dir)
                check_live(driver, tabrun, scratch)
            finally:
                stop_browser(driver)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
