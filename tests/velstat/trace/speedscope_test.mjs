// A trace in a real viewer: speedscope shows the expected tracks and slices.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import test from "node:test";

const { modules, withPage } = await import(pathToFileURL(process.env.BROWSER_MODULE));
const models = process.argv[2];
const folder = mkdtempSync(join(tmpdir(), "speedscope-"));
test.after(() => rmSync(folder, { recursive: true }));

function velstat(...args) {
  return execFileSync(process.env.VELSTAT, args, { maxBuffer: 1 << 28 });
}

function traceOf(model) {
  const capture = join(folder, model);
  velstat("capture", "--model", join(models, `${model}.json`), "--out", capture);
  return velstat("trace", capture, "-o", "-");
}

// Opens the trace as speedscope's own command does, without a server.
async function withTrace(trace, use) {
  const script = join(folder, "profile.js");
  writeFileSync(script, `speedscope.loadFileFromBase64("trace.json", "${trace.toString("base64")}")`);
  const viewer = pathToFileURL(join(modules, "speedscope/dist/release/index.html"));
  await withPage(async (page) => {
    await page.goto(`${viewer}#localProfilePath=${script}`);
    await page.getByText("(tid").first().waitFor();
    await use(page);
  });
}

// The names in the list of tracks, which a click on the title opens.
async function tracks(page) {
  await page.getByText(/\(tid \d+\)/).first().click();
  await page.getByText("Total Weight").waitFor();
  const text = await page.evaluate(() => document.body.innerText);
  return [...new Set(text.match(/[^\t\n]*\(pid \d+\), [^\t\n]*\(tid \d+\)(?=\t)/g))];
}

function tracksWithSlices(trace) {
  const events = JSON.parse(trace).traceEvents;
  const names = (kind) => new Map(events.filter((event) => event.name === kind)
    .map((event) => [kind === "process_name" ? event.pid : `${event.pid} ${event.tid}`, event.args.name]));
  const processes = names("process_name");
  const threads = names("thread_name");
  return new Set(events.filter((event) => event.ph === "X").map((event) =>
    `${processes.get(event.pid)} (pid ${event.pid}), ${threads.get(`${event.pid} ${event.tid}`)} (tid ${event.tid})`));
}

// How many pixels of the flame chart have a colour; its texts and lines are grey.
async function colouredPixels(page) {
  const image = (await page.screenshot()).toString("base64");
  return page.evaluate(async (data) => {
    const bytes = Uint8Array.from(atob(data), (character) => character.charCodeAt(0));
    const bitmap = await createImageBitmap(new Blob([bytes], { type: "image/png" }));
    const canvas = new OffscreenCanvas(bitmap.width, bitmap.height);
    const context = canvas.getContext("2d");
    context.drawImage(bitmap, 0, 0);
    const { data: pixels } = context.getImageData(0, 130, bitmap.width, bitmap.height - 130);
    let count = 0;
    for (let i = 0; i < pixels.length; i += 4) {
      count += Math.max(pixels[i], pixels[i + 1], pixels[i + 2]) - Math.min(pixels[i], pixels[i + 1], pixels[i + 2]) > 20;
    }
    return count;
  }, image);
}

test("each thread and the presses have a track", async () => {
  const trace = traceOf("default");
  await withTrace(trace, async (page) => {
    const shown = await tracks(page);
    assert.deepEqual(new Set(shown), tracksWithSlices(trace));
    assert.match(shown[0], /^fw \(pid \d+\), button press \(/);
    for (const group of ["fw threads", "fw thread states"]) {
      assert.ok(shown.filter((name) => name.startsWith(`${group} (`)).length > 5, group);
    }
  });
});

test("presses are drawn, and a haptic that failed is named", async () => {
  await withTrace(traceOf("actuator-timeout"), async (page) => {
    await page.waitForFunction(() => document.querySelector("canvas"));
    await assert.doesNotReject(async () => {
      for (let tries = 0; (await colouredPixels(page)) < 10000; ++tries) {
        assert.ok(tries < 20, "no slices in the picture");
      }
    });
    await page.getByText("Sandwich").click();
    await page.getByText("no haptic: HaldenCLTimeOut").first().waitFor();
    const names = await page.evaluate(() => document.body.innerText);
    for (const name of ["finger", "button down", "amplifier starts"]) {
      assert.ok(names.includes(name), name);
    }
  });
});

test("a device's text is text", async () => {
  const name = Buffer.alloc(16);
  name.write("<img src=x on=1");
  const record = Buffer.alloc(48);
  record.set([9, 0, 4, 0]);
  record.writeUInt32LE(1000, 8); // time
  record.writeUInt32LE(7, 20); // thread
  record.writeUInt32LE(100, 24); // duration
  name.copy(record, 32);
  const file = join(folder, "records");
  writeFileSync(file, record);
  await withTrace(velstat("trace", file, "-o", "-"), async (page) => {
    await page.getByText("Sandwich").click();
    await page.getByText("<img src=x on=1").first().waitFor();
    assert.equal(await page.locator("img").count(), 0);
  });
});
