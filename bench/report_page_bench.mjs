// Measures the page of velstat report with 100,000 records in a browser: how long filters and searches take, and how many
// frames a second scrolling shows.
//     node bench/report_page_bench.mjs    (after ctest --preset release -R browser_packages)
import { spawnSync } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";

const root = join(dirname(fileURLToPath(import.meta.url)), "..");
const { chromium } = createRequire(join(root, "build/release/tests/browser/package.json"))("playwright-core");
const velstat = (...args) => spawnSync(join(root, "build/release/bin/velstat"), args, { maxBuffer: 1 << 28 }).stdout;
const rounds = 9;
const folder = mkdtempSync(join(tmpdir(), "velstat-bench-"));

const records = join(folder, "records.bin");
const file = join(folder, "page.html");
writeFileSync(records, velstat("generate", "records", "--count", "100000"));
velstat("report", records, "-o", file);
const browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args: process.getuid() === 0 ? ["--no-sandbox"] : [] });
const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
await page.goto(pathToFileURL(file).href);
await page.waitForSelector("html[data-ready=yes]");

// The time from the event until the list shows the result, including layout.
async function measured(selector, event, value) {
  const times = [];
  let shown = "";
  for (let round = 0; round < rounds; ++round) {
    await page.evaluate(() => { for (const each of document.querySelectorAll("#records select, #search")) { each.value = ""; } });
    await page.evaluate(() => document.querySelector("#search").dispatchEvent(new Event("input")));
    times.push(await page.evaluate(([selector, event, value]) => {
      const control = document.querySelector(selector);
      const begin = performance.now();
      control.value = value;
      control.dispatchEvent(new Event(event));
      document.querySelector("#record-list").getBoundingClientRect();
      return performance.now() - begin;
    }, [selector, event, value]));
    shown = await page.textContent("#records .status");
  }
  times.sort((a, b) => a - b);
  return { best: times[0], median: times[rounds >> 1], shown };
}

console.log("| filter | best, ms | median, ms | shows |\n|---|---|---|---|");
for (const [name, ...args] of [["category zorb", "#filter-category", "change", "zorb"], ["type event", "#filter-type", "change", "event"],
  ["search `ckp_HaldenPlayAsset`", "#search", "input", "ckp_HaldenPlayAsset"], ["search `zorb`", "#search", "input", "zorb"],
  ["search `7`", "#search", "input", "7"], ["search `not there`", "#search", "input", "not there"]]) {
  const { best, median, shown } = await measured(...args);
  console.log(`| ${name} | ${best.toFixed(1)} | ${median.toFixed(1)} | ${shown} |`);
}
await page.fill("#search", "");

// Scrolls seven rows a frame for three seconds. The main thread's processor time hardly depends on how
// busy the machine is.
const tools = await page.context().newCDPSession(page);
await tools.send("Performance.enable", { timeDomain: "threadTicks" });
const taskSeconds = async () => (await tools.send("Performance.getMetrics")).metrics.find(({ name }) => name === "TaskDuration").value;
const before = await taskSeconds();
const { frames, seconds } = await page.evaluate(() => new Promise((resolve) => {
  const list = document.querySelector("#record-list");
  list.scrollTop = 0;
  list.scrollIntoView();
  const begin = performance.now();
  let frames = 0;
  const step = (now) => {
    if (now - begin >= 3000) {
      resolve({ frames, seconds: (now - begin) / 1000 });
      return;
    }
    ++frames;
    list.scrollTop += 168;
    requestAnimationFrame(step);
  };
  requestAnimationFrame(step);
}));
const work = (1000 * (await taskSeconds() - before)) / frames;
console.log(`\nScrolling: ${work.toFixed(1)} ms of the main thread's processor time a frame; ${(frames / seconds).toFixed(1)} frames a second (${frames} in ${seconds.toFixed(2)} s)`);
await browser.close();
rmSync(folder, { recursive: true });
