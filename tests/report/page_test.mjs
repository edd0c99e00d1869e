// The page in a real browser, as people use it: filters, search, keys, links, charts, colours, widths, and hostile text.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { cpSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import test, { after, before } from "node:test";
import { pathToFileURL } from "node:url";

import { browserRequire, capture, folder, generate, part, report, velstat } from "./support.mjs";

const { chromium } = browserRequire("playwright-core");
const axe = browserRequire.resolve("axe-core/axe.min.js");
const models = ["default", "actuator-timeout", "amplifier-timeout", "clock-jump", "damaged-log", "double-click", "dropped-events",
  "failing-sensor", "firmware-restart", "garbage", "idle", "refusing-driver"];

let browser;
before(async () => {
  // Chromium's sandbox refuses to run as root.
  const args = process.getuid() === 0 ? ["--no-sandbox"] : [];
  browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args });
});
after(() => browser.close());

// Opens a page, and fails if it logs an error, throws one, or asks for anything but itself.
async function withPage(file, use, options = {}) {
  const page = await browser.newPage({ viewport: { width: 1280, height: 900 }, ...options });
  const errors = [];
  page.on("pageerror", (error) => errors.push(error.message));
  page.on("console", (message) => ["error", "warning"].includes(message.type()) && errors.push(message.text()));
  page.on("request", (request) => request.url().startsWith(pathToFileURL(file).href) || errors.push(request.url()));
  try {
    await page.goto(pathToFileURL(file).href + (options.hash ?? ""));
    await page.waitForSelector("html[data-ready=yes]");
    await use(page);
  } finally {
    await page.close();
  }
  assert.deepEqual(errors, []);
}

const pages = new Map();
function pageOf(model) {
  if (!pages.has(model)) {
    pages.set(model, report(model, [capture(model)]));
  }
  return pages.get(model);
}

const lines = (...args) => velstat(["decode", "--format", "text", ...args]).toString("latin1").trim().split("\n");
const status = (page) => page.locator("#records .status").textContent();
const number = (count) => count.toLocaleString("en-US");

test("every chart of the default device has pixels, and every section is linked", async () => {
  await withPage(pageOf("default"), async (page) => {
    const drawn = await page.locator("canvas").evaluateAll((canvases) => canvases.map((canvas) => {
      const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
      return data.some((value, i) => i % 4 === 3 && value !== 0);
    }));
    assert.equal(drawn.length, 6);
    assert.ok(drawn.every(Boolean));
    assert.ok(await page.locator("svg.timeline rect.bar").count() > 3);
    assert.equal(await page.locator("svg.box").count(), 6);
    const links = await page.locator("nav a").evaluateAll((all) => all.map((link) => [link.textContent, link.hash]));
    for (const [text, hash] of links) {
      assert.equal(await page.locator(`section${hash} h2`).textContent(), text);
    }
    assert.deepEqual(links.map(([, hash]) => hash), ["#findings", "#device", "#presses", "#latencies", "#assets", "#sensors",
      "#metrics", "#handlers", "#reports", "#log", "#records"]);
  });
});

test("filters and search show the records that velstat decode shows", async () => {
  const input = capture("default");
  await withPage(pageOf("default"), async (page) => {
    assert.equal(await status(page), `${number(lines(input).length)} records`);
    await page.selectOption("#filter-category", "zorb");
    const zorb = lines("--category", "zorb", input);
    assert.equal(await status(page), `${number(zorb.length)} of 3,328 records`);
    await page.selectOption("#filter-component", "latency");
    await page.fill("#search", "PLAYASSET");
    const found = lines("--category", "zorb", "--component", "latency", input).filter((line) => /playasset/i.test(line));
    assert.equal(await status(page), `${number(found.length)} of 3,328 records`);
    await page.locator("#record-list").focus();
    for (const line of found.slice(0, 5)) {
      await page.keyboard.press("ArrowDown");
      assert.equal(await page.locator(".exact").textContent(), line);
    }
    await page.fill("#search", "nothing has these words");
    assert.equal(await status(page), "0 of 3,328 records");
    assert.equal(await page.locator("#record-list .row").count(), 0);
  });
});

test("keys move in the list of records, of which only those in view exist", async () => {
  await withPage(pageOf("default"), async (page) => {
    const heading = () => page.locator(".details h3").textContent();
    await page.locator("#record-list").focus();
    for (const [key, expected] of [["Home", 1], ["ArrowDown", 2], ["End", 3328], ["ArrowUp", 3327], ["Home", 1], ["ArrowUp", 1]]) {
      await page.keyboard.press(key);
      assert.equal((await heading()).trim(), `Record ${number(expected)}`);
      const active = await page.locator("#record-list").getAttribute("aria-activedescendant");
      assert.equal(await page.locator(`#${active}`).getAttribute("aria-selected"), "true");
      assert.equal(await page.locator("#record-list [aria-selected=true]").count(), 1);
    }
    await page.keyboard.press("PageDown");
    assert.ok(Number((await heading()).replace(/\D/g, "")) > 10);
    assert.ok(await page.locator("#record-list .row").count() < 80);
  });
});

test("every link of every model's findings leads to its evidence", async () => {
  for (const model of models) {
    await withPage(pageOf(model), async (page) => {
      const findings = JSON.parse(part(pageOf(model), "data")).findings;
      assert.equal(await page.locator(".finding .where").count(), findings.length, model);
      const links = await page.locator(".finding .where a").evaluateAll((all) => all.map((link) => link.hash));
      assert.ok(links.length >= findings.length, model);
      for (const hash of new Set(links)) {
        await page.evaluate((target) => { location.hash = target; }, hash);
        const [, kind, place] = /^#(record|press)-(\d+)$/.exec(hash) ?? [];
        if (kind === "record") {
          await page.locator(".details h3", { hasText: `Record ${number(Number(place))} ` }).waitFor();
        } else if (kind === "press") {
          await page.locator("#presses p", { hasText: `Press ${number(Number(place))} of ` }).waitFor();
        }
        const target = kind === "record" ? "#record-list [aria-selected=true]" : kind === "press" ? "#presses svg" : hash;
        const box = await page.locator(target).boundingBox();
        assert.ok(box !== null && box.y < 900 && box.y + box.height > 0, `${model} ${hash}`);
      }
    });
  }
});

test("the fault of a model is at the top of its page", async () => {
  const expected = {
    "actuator-timeout": /timeout or fault of the actuator/, "amplifier-timeout": /amplifier was not ready/,
    "clock-jump": /clock of the co-processor went back/, "damaged-log": /log is damaged/, "double-click": /pairs of single clicks/,
    "dropped-events": /events of 'gyro' were dropped/, "failing-sensor": /'Gyro' left 1 of 1 questions unanswered/,
    "firmware-restart": /firmware restarted/,
  };
  for (const [model, words] of Object.entries(expected)) {
    await withPage(pageOf(model), async (page) => {
      const first = page.locator(".finding h3").first();
      assert.match(await first.textContent(), words);
      assert.ok((await first.boundingBox()).y < 300);
    });
  }
});

test("a press without its haptic is shown first, with the fault on the time axis", async () => {
  await withPage(pageOf("actuator-timeout"), async (page) => {
    assert.match(await page.locator("#presses .fault-text").textContent(), /^Press 1 of 2: 1 click, no haptic/);
    assert.equal(await page.locator("#presses .cross").count(), 1);
    assert.equal(await page.locator("#presses .label.fault").textContent(), "timeout");
    await page.getByRole("button", { name: "Next" }).first().click();
    assert.match(await page.locator("#presses .fault-text").textContent(), /^Press 2 of 2/);
    await page.selectOption("#presses select", { index: 0 });
    assert.match(await page.locator("#presses p").first().textContent(), /^2 of 2 presses; 2 of them lack a haptic/);
    assert.equal(await page.locator("#presses .cross").count(), 2);
  });
});

test("disabled assets that clicks need stand out", async () => {
  await withPage(pageOf("amplifier-timeout"), async (page) => {
    assert.equal(await page.locator("#assets td.unexpected").count(), 6);
    assert.match(await page.locator("#assets p").textContent(), /^6 of the assets that ordinary clicks need are disabled: Slow-SingleDown/);
  });
  await withPage(pageOf("default"), async (page) => {
    assert.equal(await page.locator("#assets td.unexpected").count(), 0);
    assert.equal(await page.locator("#assets td.off").count(), 27);
  });
});

test("with a reference, both devices are shown and what differs is marked", async () => {
  const file = report("against", [capture("amplifier-timeout"), "--against", capture("default")]);
  await withPage(file, async (page) => {
    assert.equal(await page.locator("#reference-presses svg.timeline").count(), 1);
    assert.ok(await page.locator("#assets .differs").count() >= 6);
    assert.match(await page.locator("#latencies tr.bad").first().textContent(), /never/);
    assert.ok(await page.locator("#metrics .good svg").count() > 0);
    assert.match(await page.title(), /against default device/);
  });
});

test("a page with a sample says so, and marks where records were left out", async () => {
  const file = report("many", [generate("many.bin", 300000)]);
  await withPage(file, async (page) => {
    assert.match(await page.locator("#records .remark").textContent(), /holds [\d,]+ of 300,000 records/);
    const held = part(file, "record-bytes").length / 64; // 48 bytes are 64 digits
    assert.equal(await status(page), `${number(Math.floor(held))} records`);
    const second = JSON.parse(part(file, "data")).records.parts[1][0];
    await page.evaluate((target) => { location.hash = `#record-${target}`; }, second);
    await page.locator(".details h3", { hasText: number(second) }).waitFor();
    assert.equal(await page.locator(".row.gap").count() > 0, true);
    assert.equal(await page.locator(".exact").textContent(), lines("--skip", `${second - 1}`, "--limit", "1", join(folder, "many.bin"))[0]);
    await page.evaluate((target) => { location.hash = `#record-${target}`; }, second - 1);
    assert.match(await status(page), /was left out of this page/);
  });
});

// Text that would run a script, end an element, or change what is around it if it were anything but text.
const hostile = ["<script>window.hacked = 1</script>", "<img src=x onerror=\"window.hacked = 1\">", "</script><script>hacked = 1</script>",
  "<!--<script>", "javascript:hacked=1", "\"><svg onload=hacked=1>", "{{constructor.constructor('hacked=1')()}}", "\u202egnirts", "]]>&lt;b&gt;",
  "'; DROP TABLE log; --", "@DATA@ @SCRIPT@ $& $1"];

function hostileCapture() {
  const path = join(folder, "hostile");
  cpSync(capture("default"), path, { recursive: true });
  const escape = (text) => text.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll(">", "&gt;");
  const plist = (values) => `<?xml version="1.0"?><plist version="1.0"><dict>${Object.entries(values).map(([key, value]) =>
    `<key>${escape(key)}</key><string>${escape(value)}</string>`).join("")}</dict></plist>`;
  const sensor = Object.fromEntries(hostile.map((text, i) => [`extra${i}`, text]));
  const sensors = { sensorType: hostile[0], manufacturer: hostile[1], model: hostile[2], registers: hostile[1], client0: hostile[3], reportInterval: hostile[4],
    orientationMatrix: hostile.slice(0, 3).join(" | "), APEvents: `5 [enqueued=${hostile[0]} dropped=3]`, ...sensor };
  const assets = Object.fromEntries(hostile.map((text, i) => [`${hostile[i]}-${text}`, `enable=${text} slot=${text}`]));
  writeFileSync(join(folder, "sensor.plist"), plist(sensors));
  writeFileSync(join(folder, "assets.plist"), plist(assets));
  const services = hostile.map((name) => ({ name, usages: [], opened: false, "log lines": 0 }));
  writeFileSync(join(path, "manifest.json"), JSON.stringify({ version: hostile[0], device: hostile[1], model: hostile[2], "plug-in": hostile[3],
    api: 3, handlers: 0, services }));
  writeFileSync(join(path, "log.jsonl"), hostile.map((message) => JSON.stringify({ time: hostile[0], level: hostile[1], subsystem: message,
    category: message, message })).join("\n") + "\n");
  const store = join(path, "tally.sqlite");
  execFileSync("/usr/bin/python3", ["-c", `
import json, sqlite3, sys
store = sqlite3.connect(sys.argv[1])
table = next(name for name, sql in store.execute("SELECT name, sql FROM sqlite_master WHERE type = 'table'") if "key" in sql.lower())
keys = [row[0] for row in store.execute(f'SELECT DISTINCT key FROM "{table}"')]
for (key, text) in zip(keys, json.loads(sys.argv[2])):
    store.execute(f'UPDATE "{table}" SET key = ? WHERE key = ?', (text, key))
store.commit()`, store, JSON.stringify(hostile)]);
  return [path, join(folder, "sensor.plist"), join(folder, "assets.plist")];
}

test("hostile text is only ever text", async () => {
  const file = join(folder, "hostile.html");
  const inputs = hostileCapture();
  velstat(["report", ...inputs, "--against", ...inputs.slice(1, 2), "-o", file]);
  await withPage(file, async (page) => {
    await page.locator("details").evaluateAll((all) => all.forEach((each) => { each.open = true; }));
    assert.equal(await page.evaluate(() => window.hacked), undefined);
    assert.equal(await page.locator("script").count(), 4);
    assert.equal(await page.locator("img, iframe, object, embed, base, link, form").count(), 0);
    assert.equal(await page.locator("a").evaluateAll((all) => all.every((link) => link.getAttribute("href").startsWith("#"))), true);
    const attributes = await page.evaluate(() => [...document.querySelectorAll("*")].flatMap((each) => [...each.attributes])
      .map((each) => each.name).filter((name) => name.startsWith("on")));
    assert.deepEqual(attributes, []);
    const text = await page.locator("main").textContent();
    for (const each of hostile) {
      const shown = each.replace("\u202e", "\\u{202e}");
      assert.ok(text.includes(shown), shown);
    }
    for (const section of ["#device", "#assets", "#sensors", "#metrics", "#log"]) {
      assert.ok((await page.locator(section).textContent()).includes("<script>"), section);
    }
    assert.ok(!text.includes("\u202e"));
    await page.fill("#search", hostile[0]);
  });
});

test("a script or an image that got into the page would not run or load", async () => {
  const page = await browser.newPage();
  await page.goto(pathToFileURL(pageOf("default")).href);
  await page.waitForSelector("html[data-ready=yes]");
  const refused = await page.evaluate(() => new Promise((resolve) => {
    const directives = [];
    document.addEventListener("securitypolicyviolation", (event) => {
      directives.push(event.effectiveDirective);
      if (directives.length === 3) {
        resolve(directives.sort());
      }
    });
    const script = document.createElement("script");
    script.textContent = "window.hacked = 1";
    const style = document.createElement("style");
    style.textContent = "body { display: none }";
    const image = document.createElement("img");
    image.src = "https://example.invalid/x.png";
    document.body.append(script, style, image);
  }));
  assert.deepEqual(refused, ["img-src", "script-src-elem", "style-src-elem"]);
  assert.equal(await page.evaluate(() => window.hacked), undefined);
  await page.close();
});

for (const colorScheme of ["light", "dark"]) {
  for (const width of [1280, 400]) {
    test(`${colorScheme}, ${width} px wide: nothing hides, nothing that axe calls serious`, async () => {
      for (const model of ["default", "amplifier-timeout", "refusing-driver"]) {
        await withPage(pageOf(model), async (page) => {
          const background = await page.evaluate(() => getComputedStyle(document.body).backgroundColor);
          assert.equal(background, colorScheme === "light" ? "rgb(255, 255, 255)" : "rgb(20, 23, 28)");
          assert.ok(await page.evaluate(() => document.documentElement.scrollWidth) <= width, "the page is wider than the window");
          if (await page.locator("#record-list").count() > 0) {
            await page.locator("#record-list").focus();
            await page.keyboard.press("ArrowDown");
          }
          // The content-security-policy refuses scripts, but not those of the browser's own tools.
          await page.evaluate(readFileSync(axe, "utf8"));
          const { violations } = await page.evaluate(() => window.axe.run());
          const serious = violations.filter(({ impact }) => impact === "serious" || impact === "critical");
          assert.deepEqual(serious.map(({ id, nodes }) => [id, nodes[0].html]), [], model);
        }, { colorScheme, viewport: { width, height: 900 } });
      }
    });
  }
}

test("in print, what only works on a screen is left out", async () => {
  await withPage(pageOf("default"), async (page) => {
    await page.emulateMedia({ media: "print" });
    for (const [selector, shown] of [["nav", false], ["#presses .controls", false], ["#record-list", false], ["#findings", true], ["svg.timeline", true]]) {
      assert.equal(await page.locator(selector).first().isVisible(), shown, selector);
    }
  });
});
