// What the tests of the page share: the command, captures of models, and the pages' parts.
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { gunzipSync } from "node:zlib";

export const { VELSTAT, PAGE, ROOT } = process.env;
export const require = createRequire(join(PAGE, "package.json"));
export const browserRequire = createRequire(join(process.env.BROWSER_PACKAGES, "package.json"));

export const folder = mkdtempSync(join(tmpdir(), "velstat-report-"));
process.on("exit", () => rmSync(folder, { recursive: true }));

/** The standard output, as bytes, of a command that succeeds. */
export function velstat(args, options = {}) {
  const done = spawnSync(VELSTAT, args, { maxBuffer: 1 << 30, ...options });
  if (done.status !== 0) {
    throw new Error(`velstat ${args.join(" ")}: status ${done.status}: ${done.stderr}`);
  }
  return done.stdout;
}

const captures = new Map();

/** A capture of one of the models. */
export function capture(model) {
  if (!captures.has(model)) {
    const path = join(folder, model);
    velstat(["capture", "--model", join(ROOT, "models", `${model}.json`), "--out", path]);
    captures.set(model, path);
  }
  return captures.get(model);
}

/** A file of so many made-up records. */
export function generate(name, count) {
  const path = join(folder, name);
  writeFileSync(path, velstat(["generate", "records", "--seed", "7", "--count", String(count)]));
  return path;
}

/** The page of these inputs; options as for velstat report. */
export function report(name, args, options = {}) {
  const path = join(folder, `${name}.html`);
  velstat(["report", ...args, "-o", path], options);
  return path;
}

/** What a page has between the tags of one of its elements. */
export function part(page, id) {
  const [, text] = new RegExp(` id="${id}">([^<]*)<`).exec(readFileSync(page, "latin1"));
  return text;
}

/** A page's decoder with the page's records, or with others. */
export async function decoderOf(page, records, times) {
  const bundle = join(folder, "decoder.mjs");
  require("esbuild").buildSync({ entryPoints: [join(PAGE, "src/decoder.ts")], bundle: true, format: "esm", outfile: bundle });
  const { Decoder } = await import(bundle);
  const data = JSON.parse(part(page, "data"));
  return Decoder.load(gunzipSync(Buffer.from(part(page, "decoder"), "base64")),
    records ?? new Uint8Array(Buffer.from(part(page, "record-bytes"), "base64")), times ?? data.records.times);
}
