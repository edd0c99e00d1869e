// Charts of latencies: their distribution and their course in time, with those of the reference if there is one.
import uPlot from "uplot";

import { type Data, type Latency } from "./data.js";
import { h, section, table } from "./dom.js";
import { count, milliseconds } from "./format.js";

const height = 190;
const bucketsIn = 20; // of the natural logarithm, as in velstat/report/latencies.cpp

interface Line {
  label: string;
  colour: string; // a variable of the style sheet
  filled?: boolean;
  points?: boolean;
}

function colour(name: string): string {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

// Numbers such as 1, 2, 5 and 10 in a range; if these are too many, only powers of ten.
function roundNumbers(low: number, high: number, most: number): number[] {
  const numbers: number[] = [];
  for (let power = 10 ** Math.floor(Math.log10(low)); power <= high; power *= 10) {
    numbers.push(...[1, 1.5, 2, 3, 5, 7].map((factor) => Number((factor * power).toPrecision(2))));
  }
  const inside = numbers.filter((number) => number >= low && number <= high);
  return inside.length <= most ? inside : inside.filter((number) => Number.isInteger(Math.log10(number)));
}

// A chart that is drawn again when its element's width or the colour scheme changes.
function chart(label: string, axis: string, logarithmic: boolean, data: uPlot.AlignedData, lines: Line[]): HTMLElement {
  const place = h("div", { class: "chart", role: "img", "aria-label": label });
  let shown: uPlot | undefined;
  let width = 0;
  const draw = () => {
    width = place.clientWidth;
    if (width === 0) {
      return;
    }
    shown?.destroy();
    const axes = { stroke: colour("--muted"), grid: { stroke: colour("--line"), width: 1 }, ticks: { stroke: colour("--line"), width: 1 } };
    shown = new uPlot({
      width, height, cursor: { y: false, drag: { x: false, y: false } }, legend: { show: false },
      scales: { x: { time: false, ...(logarithmic ? { distr: 3, range: (_, low, high) => [low, high] } : {}) } },
      axes: [{ ...axes, label: axis, labelSize: 18, labelFont: "12px system-ui", size: 34,
        ...(logarithmic ? { splits: (_: uPlot, __: number, low: number, high: number) => roundNumbers(low, high, width / 60),
          filter: (_: uPlot, splits: number[]) => splits } : {}),
        values: (_, values) => values.map((value) => (value === null ? "" : String(Number(value.toPrecision(6))))) },
        { ...axes, size: 48 }],
      series: [{}, ...lines.map((line) => ({
        label: line.label, stroke: colour(line.colour), width: 2, spanGaps: true,
        ...(line.filled === true ? { fill: `${colour(line.colour)}30` } : {}),
        points: { show: line.points === true, size: 5, fill: colour(line.colour) },
      }))],
    }, data, place);
  };
  new ResizeObserver(() => {
    if (place.clientWidth !== width) {
      draw();
    }
  }).observe(place);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", draw);
  return place;
}

function key(lines: Line[]): HTMLElement {
  return h("p", { class: "key" }, lines.map((line) => h("span", { class: line.colour.slice(2) }, line.label)));
}

// Shows shares instead of counts, so that a few presses can be compared with many.
function distribution(device: Latency, good: Latency | undefined): HTMLElement {
  const both = [device, ...(good === undefined ? [] : [good])];
  const buckets = both.flatMap((each) => each.distribution.map(([bucket]) => bucket));
  const first = Math.min(...buckets) - 1;
  const last = Math.max(...buckets) + 1;
  const all = Array.from({ length: last - first + 1 }, (_, i) => first + i);
  const share = (each: Latency) => {
    const counts = new Map(each.distribution);
    return all.map((bucket) => (100 * (counts.get(bucket) ?? 0)) / each.count);
  };
  const lines: Line[] = [{ label: "device", colour: "--accent", filled: true }, { label: "reference", colour: "--good", filled: true }];
  const shown = lines.slice(0, both.length);
  return h("figure", {},
    h("figcaption", {}, "How long: percent of all, over milliseconds", both.length > 1 ? key(shown) : null),
    chart(`Distribution of ${device.kind}: median ${milliseconds(device.p50)}, 99 percent up to ${milliseconds(device.p99)}`, "ms", true,
      [all.map((bucket) => Math.exp(bucket / bucketsIn) / 1000), ...both.map(share)] as uPlot.AlignedData, shown));
}

function course(device: Latency): HTMLElement {
  const points = device.course.length < 100;
  const lines: Line[] = [{ label: "greatest", colour: "--accent", points }, { label: "mean", colour: "--muted" }];
  const exact = device.count === device.course.length;
  // Times may go back between logs, or after a restart.
  const sorted = [...device.course].sort(([a], [b]) => a - b);
  return h("figure", {},
    h("figcaption", {}, "When: milliseconds, over the co-processor's seconds", exact ? null : key(lines)),
    chart(`Course of ${device.kind}, up to ${milliseconds(device.max)}`, "s", false,
      [sorted.map(([time]) => time / 1e6), sorted.map(([, greatest]) => greatest / 1000),
        ...(exact ? [] : [sorted.map(([, , mean]) => mean / 1000)])] as uPlot.AlignedData, exact ? lines.slice(0, 1) : lines));
}

export function latenciesSection(data: Data): HTMLElement | null {
  const { latencies } = data.device;
  const reference = data.reference?.latencies ?? [];
  const good = (kind: string) => reference.find((each) => each.kind === kind);
  const absent = reference.filter((each) => !latencies.some((mine) => mine.kind === each.kind));
  if (latencies.length === 0 && absent.length === 0) {
    return null;
  }
  const lacking = (each: Latency) => each.count === 0;
  const rows = [...latencies, ...absent.map((each): Latency => ({ ...each, count: 0 }))];
  return section("latencies", "Latencies",
    table<Latency>("Latencies", [
      { title: "Latency", of: (each) => each.kind },
      { title: "Count", of: (each) => count(each.count), number: true },
      ...(["min", "p50", "p99", "max"] as const).map((name, i) => ({
        title: ["Least", "Median", "99 %", "Greatest"][i] ?? "", number: true,
        of: (each: Latency) => (lacking(each) ? "–" : milliseconds(each[name])),
      })),
      { title: "Slowest", of: (each) => (lacking(each) ? "never" : h("a", { href: `#record-${each.slowest}` }, `record ${count(each.slowest)}`)) },
      ...(data.reference === null ? [] : (["p50", "p99", "max"] as const).map((name, i) => ({
        title: `Reference: ${["median", "99 %", "greatest"][i] ?? ""}`, number: true, of: (each: Latency) => {
          const found = good(each.kind);
          return found === undefined ? "–" : milliseconds(found[name]);
        },
      }))),
    ], rows, (each) => ({ class: lacking(each) ? "bad" : "" })),
    latencies.filter((each) => each.distribution.length > 0).map((each) => [
      h("h3", {}, each.kind),
      h("div", { class: "charts" }, distribution(each, good(each.kind)), course(each)),
    ]));
}
