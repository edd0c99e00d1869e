// The decoder in the page against velstat decode: the same texts, names and fields.
import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import test from "node:test";

import { capture, decoderOf, folder, part, report, velstat } from "./support.mjs";

const noTimes = { flags: 0, vel: "0", calendar: "0", boot: "0", zones: [] };

// A small generator with a seed: the same records in every run.
function* random(seed) {
  for (let state = seed; ; ) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    yield state >>> 24;
  }
}

const upTo = (last) => [...Array(last + 1).keys(), 255];

// Every id that has a name, some that have none, with payloads that are random or small.
function recordsOfEveryKind() {
  const bytes = random(12);
  const records = [];
  for (const type of upTo(14)) {
    for (const category of upTo(14)) {
      for (const component of upTo(12)) {
        for (const event of upTo(22)) {
          const record = Buffer.alloc(48);
          const small = bytes.next().value % 2 === 0;
          for (let i = 4; i < 48; ++i) {
            record[i] = small && i > 7 && i % 4 !== 0 ? 0 : bytes.next().value;
          }
          record.set([type, event, component, category]);
          records.push(record);
        }
      }
    }
  }
  return Buffer.concat(records);
}

// Lines with their lengths before them: a text may hold newlines.
function* framed(output) {
  for (let at = 0; at < output.length; ) {
    const length = output.readUInt32LE(at);
    yield output.toString("latin1", at + 4, at + 4 + length);
    at += 4 + length;
  }
}

const page = report("default", [capture("default")]);

test("the text of a record of every combination of ids is that of velstat decode", async () => {
  const records = recordsOfEveryKind();
  const decoder = await decoderOf(page, new Uint8Array(records), noTimes);
  const file = join(folder, "every-kind.bin");
  writeFileSync(file, records);
  let count = 0;
  for (const line of framed(velstat(["decode", "--format", "text", "--framed", file]))) {
    assert.equal(decoder.text(count), line, `record ${count}`);
    ++count;
  }
  assert.equal(count, records.length / 48);
  assert.equal(decoder.count, count);
});

test("names, times and fields are those of velstat decode --format json", async () => {
  const records = recordsOfEveryKind().subarray(0, 48 * 40000);
  const decoder = await decoderOf(page, new Uint8Array(records), noTimes);
  const file = join(folder, "kinds.bin");
  writeFileSync(file, records);
  const shown = (value) => typeof value === "object" && !Array.isArray(value) ? value.name
    : Array.isArray(value) ? value.map((byte) => byte.toString(16).padStart(2, "0")).join(" ") : String(value);
  const lines = velstat(["decode", "--format", "json", file]).toString().trim().split("\n");
  lines.forEach((line, index) => {
    const expected = JSON.parse(line);
    assert.deepEqual([0, 1, 2, 3].map((part) => decoder.name(index, part)),
      [expected.category, expected.component, expected.event, expected.type]);
    assert.equal(decoder.timestamp(index), Number(expected.timestamp));
    const fields = (expected.payload ?? []).flatMap(({ layout, fields }) =>
      Object.entries(fields).map(([key, value]) => ({ layout, key, value: shown(value) })));
    assert.deepEqual(decoder.fields(index), fields, `record ${index}`);
  });
  assert.equal(lines.length, 40000);
});

// The last one moves the clocks by three hours while the records of the capture are made.
for (const zone of ["UTC", "Asia/Kolkata", "AAA0BBB-3,J311/18:50:05,J330/2"]) {
  test(`calendar and boot times are those of velstat decode in the zone ${zone}`, async () => {
    const options = { env: { ...process.env, TZ: zone } };
    const input = capture("default");
    const file = report("zone", [input], options);
    const decoder = await decoderOf(file);
    const lines = velstat(["decode", "--format", "text", input], options).toString("latin1").trim().split("\n");
    assert.equal(JSON.parse(part(file, "data")).records.times.zones.length, zone.includes(",") ? 2 : 1);
    assert.equal(decoder.count, lines.length);
    assert.ok(lines[0].includes("'calendar-time':") && lines[0].includes("'boot-timestamp':"));
    lines.forEach((line, index) => assert.equal(decoder.text(index), line));
    const all = Uint32Array.from(lines.keys());
    const words = /'calendar-time':[^,]*(\d\d:\d\d:\d\d)/.exec(lines.at(-1))[1];
    assert.deepEqual([...decoder.search(words, all)], [...all].filter((index) => lines[index].includes(words)));
  });
}

test("search finds the records whose text has the words, in any case", async () => {
  const decoder = await decoderOf(page);
  const all = Uint32Array.from({ length: decoder.count }, (_, i) => i);
  const texts = [...all].map((index) => decoder.text(index).toLowerCase());
  for (const words of ["ckp_HALDENplayasset", "'zorb'", "}", "{  'category':", "a", "nowhere", "'binary-data':[3,0,3,7", "["]) {
    const expected = [...all].filter((index) => texts[index].includes(words.toLowerCase()));
    assert.deepEqual([...decoder.search(words, all)], expected, words);
  }
  assert.equal(decoder.search("", all).length, decoder.count);
  assert.equal(decoder.search("\u20ac", all).length, 0);
});
