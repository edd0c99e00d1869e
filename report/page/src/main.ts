// Puts the page together from the data that velstat report has written into it.
import { assetsSection } from "./assets.js";
import { latenciesSection } from "./charts.js";
import { type Data, Numbering, numberAt, rowsOf } from "./data.js";
import { Decoder } from "./decoder.js";
import { deviceSection } from "./device.js";
import { h } from "./dom.js";
import { EvidencePlaces } from "./evidence.js";
import { findingsSection, summaryOf } from "./findings.js";
import { handlersSection, logSection, metricsSection, reportsSection } from "./listings.js";
import { RecordList } from "./records.js";
import { sensorsSection } from "./sensors.js";
import { Timeline, pressesOf, shownBy } from "./timeline.js";

function embedded(id: string): string {
  return document.getElementById(id)?.textContent ?? "";
}

function bytesOf(base64: string): Uint8Array<ArrayBuffer> {
  const text = atob(base64.trim());
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) {
    bytes[i] = text.charCodeAt(i);
  }
  return bytes;
}

async function unpacked(bytes: Uint8Array<ArrayBuffer>): Promise<ArrayBuffer> {
  return new Response(new Blob([bytes]).stream().pipeThrough(new DecompressionStream("gzip"))).arrayBuffer();
}

function timelineOf(data: Data, which: "device" | "reference"): Timeline | null {
  const device = data[which];
  const presses = device === null ? [] : pressesOf(device);
  if (device === null || presses.length === 0) {
    return null;
  }
  const total = numberAt(rowsOf(device, "presses")[0], "presses");
  return which === "device" ? new Timeline("presses", "Presses", presses, total)
    : new Timeline("reference-presses", "Presses of the reference", presses, total);
}

function titleOf(data: Data): string {
  const name = (device: Data["device"]) => device.inputs.map((input) => input.device || input.name).join(", ");
  return data.reference === null ? name(data.device) : `${name(data.device)} against ${name(data.reference)}`;
}

function show(data: Data, decoder: Decoder): void {
  const numbering = new Numbering(data.records.parts);
  const timeline = timelineOf(data, "device");
  const places = new EvidencePlaces(data, numbering, shownBy(pressesOf(data.device)));
  const list = decoder.count === 0 ? null : new RecordList(data, decoder, numbering, places.recordsWithFindings());
  // Findings are made last, as their links lead to elements of the other sections.
  const others = [
    deviceSection(data, places), timeline?.element ?? null, timelineOf(data, "reference")?.element ?? null, latenciesSection(data),
    assetsSection(data, places), sensorsSection(data, places), metricsSection(data, places), handlersSection(data, places),
    reportsSection(data, places), logSection(data), list?.element ?? null,
  ].filter((section) => section !== null);
  const sections = [findingsSection(data, places), ...others];

  document.title = `${titleOf(data)}: ${summaryOf(data.findings)}`;
  document.getElementById("title")?.replaceChildren(h("span", {}, titleOf(data)));
  document.getElementById("navigation")?.replaceChildren(...sections.map((section) =>
    h("a", { href: `#${section.id}` }, section.querySelector("h2")?.textContent)));
  document.getElementById("content")?.replaceChildren(...sections);

  const follow = () => {
    const target = /^#(record|press)-(\d+)$/.exec(location.hash);
    if (target === null) {
      const element = document.getElementById(location.hash.slice(1));
      const hidden = element?.closest("details");
      if (hidden != null) {
        hidden.open = true;
      }
      element?.scrollIntoView();
    } else if (target[1] === "record") {
      document.getElementById("records")?.scrollIntoView();
      list?.showRecord(Number(target[2]));
    } else {
      document.getElementById("presses")?.scrollIntoView();
      timeline?.showPress(Number(target[2]));
    }
  };
  addEventListener("hashchange", follow);
  // A link to the current address does not cause a hashchange event.
  document.addEventListener("click", (event) => {
    const link = (event.target as Element).closest("a");
    if (link !== null && link.hash !== "" && link.hash === location.hash) {
      follow();
    }
  });
  if (location.hash !== "") {
    follow();
  }
}

async function start(): Promise<void> {
  const data = JSON.parse(embedded("data")) as Data;
  const program = await unpacked(bytesOf(embedded("decoder")));
  show(data, await Decoder.load(program, bytesOf(embedded("record-bytes")), data.records.times));
  document.documentElement.dataset["ready"] = "yes";
}

start().catch((error: unknown) => {
  document.getElementById("content")?.replaceChildren(h("p", { class: "bad", role: "alert" }, `This page cannot be shown: ${String(error)}`));
  throw error;
});
