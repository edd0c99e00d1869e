// Builds the page that velstat report fills in: the script, checked by tsc and bundled with uPlot, the style, and the
// decoder as WebAssembly.   node build.mjs FILE, or: node build.mjs --check FILE
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { gunzipSync, gzipSync } from "node:zlib";

import { build, transform } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));

function hash(text) {
  return `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
}

function decoder(source) {
  const folder = mkdtempSync(join(tmpdir(), "velstat-page-"));
  try {
    const file = join(folder, "decoder.wasm");
    execFileSync(join(source, "wasm", "build.sh"), [file], { stdio: "inherit" });
    return gzipSync(readFileSync(file), { level: 9 }).toString("base64");
  } finally {
    rmSync(folder, { recursive: true });
  }
}

async function page(source) {
  execFileSync(process.execPath, [join(here, "node_modules/typescript/bin/tsc"), "-p", here], { stdio: "inherit" });
  // The page is a copy of uPlot, which goes with its licence.
  const licence = readFileSync(join(here, "node_modules/uplot/LICENSE"), "utf8").trim();
  const options = { absWorkingDir: here, bundle: true, minify: true, write: false, legalComments: "none",
                    banner: { js: `/* uPlot: ${licence} */` } };
  const script = (await build({ ...options, entryPoints: ["src/main.ts"], format: "iife", target: "es2022" })).outputFiles[0].text.trim();
  const style = (await transform(
    readFileSync(join(here, "node_modules/uplot/dist/uPlot.min.css"), "utf8") + readFileSync(join(here, "page.css"), "utf8"),
    { loader: "css", minify: true })).code.trim();
  // The ends of elements inside them would end them.
  if (/<\/(script|style)/i.test(script + style)) {
    throw new Error("the script or the style ends its own element");
  }
  const values = { SCRIPT_HASH: hash(script), STYLE_HASH: hash(style), STYLE: style, SCRIPT: script, DECODER: decoder(source) };
  return readFileSync(join(here, "page.html"), "utf8").replace(/@([A-Z_]+)@/g, (whole, name) => values[name] ?? whole);
}

// The page with the decoder unpacked: another version of node may pack it otherwise.
function comparable(text) {
  return text.replace(/(id="decoder">)([^<]*)/, (_, tag, packed) =>
    tag + createHash("sha256").update(gunzipSync(Buffer.from(packed, "base64"))).digest("hex"));
}

const check = process.argv[2] === "--check";
const [file, source = join(here, "..")] = process.argv.slice(check ? 3 : 2);
const text = await page(source);
if (!check) {
  writeFileSync(file, text);
} else if (comparable(readFileSync(file, "utf8")) !== comparable(text)) {
  console.error(`${file}: not what its sources give; run: report/build.sh`);
  process.exit(1);
}
