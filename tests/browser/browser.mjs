// What tests in a browser share.
import { createRequire } from "node:module";
import { join } from "node:path";

const folder = process.env.BROWSER_PACKAGES;
export const require = createRequire(join(folder, "package.json"));
export const modules = join(folder, "node_modules");

// Runs `use` with a page, and fails if the page logs an error or throws one.
export async function withPage(use, options = {}) {
  const { chromium } = require("playwright-core");
  // Chromium's sandbox refuses to run as root.
  const args = process.getuid() === 0 ? ["--no-sandbox"] : [];
  const browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args });
  try {
    const page = await browser.newPage({ viewport: { width: 1400, height: 800 }, ...options });
    const errors = [];
    page.on("pageerror", (error) => errors.push(error.message));
    page.on("console", (message) => message.type() === "error" && errors.push(message.text()));
    await use(page);
    if (errors.length !== 0) {
      throw new Error(`the page reports errors:\n${errors.join("\n")}`);
    }
  } finally {
    await browser.close();
  }
}
