// Presses of the button on a time axis: finger, button, amplifier, haptic, stage and force.
import { type Device, type Row, grouped, numberAt, rowsOf, textAt } from "./data.js";
import { type Child, h, section, svg, table } from "./dom.js";
import { type Shown } from "./evidence.js";
import { count, counted, milliseconds } from "./format.js";

interface Mark {
  record: number;
  time: number;
  place: number;
  lane: string;
  label: string;
  edge: string;
  value: number | null;
}

export interface Press {
  number: number;
  began: number;
  ended: number;
  clicks: number;
  edges: number;
  haptics: number;
  marks: Mark[];
}

const labelWidth = 78;
const laneHeight = 34;
const axisHeight = 26;

export function pressesOf(device: Device): Press[] {
  const marks = grouped(rowsOf(device, "marks"), (row) => textAt(row, "press"));
  return rowsOf(device, "presses").map((row) => ({
    number: numberAt(row, "press"),
    began: numberAt(row, "began"),
    ended: numberAt(row, "ended"),
    clicks: numberAt(row, "clicks"),
    edges: numberAt(row, "edges"),
    haptics: numberAt(row, "haptics"),
    marks: (marks.get(textAt(row, "press")) ?? []).map(markOf),
  }));
}

function markOf(row: Row): Mark {
  return {
    record: numberAt(row, "record"), time: numberAt(row, "time"), place: numberAt(row, "place"), lane: textAt(row, "lane"), label: textAt(row, "label"),
    edge: textAt(row, "edge"), value: row["value"] === null ? null : numberAt(row, "value"),
  };
}

export function shownBy(presses: Press[]): Shown[] {
  return presses.map((press) => ({ press: press.number, records: new Set(press.marks.map((mark) => mark.record)) }));
}

function hasFault(press: Press): boolean {
  return press.haptics < press.edges || press.marks.some((mark) => mark.edge === "fault");
}

function describe(press: Press): string {
  const silent = press.edges - press.haptics;
  return `${counted(press.clicks, "click")}, ${silent <= 0 ? "a haptic for each edge" :
    press.haptics === 0 ? "no haptic" : `${silent} of ${counted(press.edges, "edge")} without a haptic`}`;
}

function niceStep(span: number, steps: number): number {
  const raw = Math.max(span / steps, 1);
  const power = 10 ** Math.floor(Math.log10(raw));
  return [1, 2, 5, 10].map((factor) => factor * power).find((step) => step >= raw) ?? raw;
}

// The bars of a lane: each from its beginning to its end, to a fault, or to the beginning of the next one.
function bars(marks: Mark[], end: number): { from: Mark; to: number; fault: boolean }[] {
  const found: { from: Mark; to: number; fault: boolean }[] = [];
  let open: Mark | undefined;
  for (const mark of marks) {
    if (open !== undefined && mark.edge !== "point") {
      found.push({ from: open, to: mark.time, fault: mark.edge === "fault" });
      open = undefined;
    }
    if (mark.edge === "begin") {
      open = mark;
    }
  }
  if (open !== undefined) {
    found.push({ from: open, to: end, fault: false });
  }
  return found;
}

// Draws presses above each other, each from its own beginning.
function drawing(presses: Press[], width: number, label: string): SVGElement {
  const places = new Map(presses.flatMap((press) => press.marks.map((mark) => [mark.lane, mark.place])));
  const lanes = [...places.keys()].sort((a, b) => (places.get(a) ?? 0) - (places.get(b) ?? 0));
  const span = Math.max(1, ...presses.map((press) => press.ended - press.began));
  const height = lanes.length * laneHeight + axisHeight;
  const x = (time: number) => labelWidth + (time / span) * (width - labelWidth - 12);
  const single = presses.length === 1;
  const layer = svg("g", { class: single ? "" : "many" });
  const texts = svg("g");
  for (const press of presses) {
    lanes.forEach((lane, place) => {
      const marks = press.marks.filter((mark) => mark.lane === lane);
      const top = place * laneHeight;
      const at = (mark: Mark) => x(mark.time - press.began);
      if (marks.some((mark) => mark.edge === "value")) {
        const greatest = Math.max(1, ...presses.flatMap((each) => each.marks.filter((mark) => mark.lane === lane).map((mark) => mark.value ?? 0)));
        const y = (mark: Mark) => top + laneHeight - 5 - ((mark.value ?? 0) / greatest) * (laneHeight - 11);
        const path = marks.map((mark, i) => (i === 0 ? `M${at(mark)},${y(mark)}` : `H${at(mark)}V${y(mark)}`)).join("");
        layer.append(svg("path", { d: path, class: `curve ${lane.toLowerCase()}` }));
        if (single) {
          texts.append(svg("text", { x: labelWidth - 6, y: top + laneHeight / 2 + 16, class: "scale" }, `max ${count(greatest)}`));
        }
        return;
      }
      for (const bar of bars(marks, press.ended)) {
        layer.append(svg("rect", { x: at(bar.from), y: top + 8, width: Math.max(1.5, x(bar.to - press.began) - at(bar.from)),
          height: laneHeight - 16, rx: 2, class: `bar ${lane.toLowerCase()} ${bar.fault ? "fault" : ""}` },
          svg("title", {}, `${lane}: ${bar.from.label}, ${milliseconds(bar.to - bar.from.time)}${bar.fault ? ", ended in a fault" : ""}`)));
      }
      let free = 0; // where the next label may begin
      const shown = marks.filter((mark) => mark.edge !== "begin" && mark.edge !== "end");
      for (const [i, mark] of shown.entries()) {
        const fault = mark.edge === "fault";
        const size = fault ? 6 : 5;
        const middle = top + laneHeight / 2;
        layer.append(svg("path", { class: fault ? "cross" : `point ${mark.edge}`,
          d: fault ? `M${at(mark) - size},${middle - size}l${2 * size},${2 * size}m0,${-2 * size}l${-2 * size},${2 * size}`
            : `M${at(mark)},${middle - size}l${size},${size}l${-size},${size}l${-size},${-size}z` },
          svg("title", {}, `${mark.label} after ${milliseconds(mark.time - press.began)}`)));
        const begin = at(mark) + size + 3;
        const room = mark.label.length * 6.2;
        const next = shown[i + 1];
        if (single && begin >= free && begin + room < (next === undefined ? width : at(next) - 8)) {
          texts.append(svg("text", { x: begin, y: middle + 4, class: fault ? "label fault" : "label" }, mark.label));
          free = begin + room + 10;
        }
      }
    });
  }
  const step = niceStep(span, Math.max(2, width / 110));
  const ticks = Array.from({ length: Math.floor(span / step) + 1 }, (_, i) => i * step);
  return svg("svg", { class: "timeline", width, height, viewBox: `0 0 ${width} ${height}`, role: "img", "aria-label": label },
    lanes.map((lane, place) => [
      svg("line", { x1: 0, x2: width, y1: (place + 1) * laneHeight, y2: (place + 1) * laneHeight, class: "rule-line" }),
      svg("text", { x: 0, y: place * laneHeight + laneHeight / 2 + 4, class: "lane" }, lane),
    ]),
    ticks.map((time) => [
      svg("line", { x1: x(time), x2: x(time), y1: 0, y2: lanes.length * laneHeight, class: "tick" }),
      svg("text", { x: x(time), y: height - 8, class: "tick-label" }, `${time / 1000}`),
    ]),
    svg("text", { x: 0, y: height - 8, class: "lane" }, "ms"),
    layer, texts);
}

function marksTable(press: Press): Child {
  const steps = press.marks.filter((mark) => mark.edge !== "value");
  return h("details", {}, h("summary", {}, `Its ${counted(steps.length, "step")} as a table`),
    table<Mark>(`Steps of press ${press.number}`, [
      { title: "After", of: (mark) => milliseconds(mark.time - press.began), number: true },
      { title: "Lane", of: (mark) => mark.lane },
      { title: "Step", of: (mark) => mark.label },
      { title: "Record", of: (mark) => h("a", { href: `#record-${mark.record}` }, count(mark.record)), number: true },
    ], steps, (mark) => ({ class: mark.edge === "fault" ? "bad" : "" })));
}

/** A menu of presses, and the drawing of the chosen press or of all of them. */
export class Timeline {
  readonly element: HTMLElement;
  private readonly choice = h("select", { "aria-label": "Press" });
  private readonly about = h("p", { "aria-live": "polite" });
  private readonly picture = h("div", { class: "picture" });
  private readonly steps = h("div");
  private width = 0;

  constructor(id: string, title: string, private readonly presses: Press[], private readonly total: number) {
    const step = (by: number) => () => this.show(this.chosen() + by);
    const button = (label: string, by: number) => {
      const element = h("button", { type: "button" }, label);
      element.addEventListener("click", step(by));
      return element;
    };
    this.choice.append(h("option", { value: "-1" }, `All ${count(presses.length)} presses, one above the other`),
      ...presses.map((press, i) => h("option", { value: String(i) },
        `${hasFault(press) ? "⚠ " : ""}Press ${count(press.number)} of ${count(total)}: ${describe(press)}`)));
    this.choice.addEventListener("change", () => this.show(this.chosen()));
    this.element = section(id, title,
      h("div", { class: "controls" }, this.choice, button("Previous", -1), button("Next", 1)),
      this.about, this.picture, this.steps);
    const firstBad = presses.findIndex(hasFault);
    this.show(firstBad >= 0 ? firstBad : 0);
    new ResizeObserver(() => {
      if (this.picture.clientWidth !== this.width) {
        this.show(this.chosen());
      }
    }).observe(this.picture);
  }

  /** Shows the press with this number, if the page has it. */
  showPress(number: number): void {
    const place = this.presses.findIndex((press) => press.number === number);
    if (place >= 0) {
      this.show(place);
    }
  }

  private chosen(): number {
    return Number(this.choice.value);
  }

  private show(place: number): void {
    const chosen = Math.min(Math.max(place, -1), this.presses.length - 1);
    this.choice.value = String(chosen);
    this.width = this.picture.clientWidth;
    const press = this.presses[chosen];
    const silent = this.presses.filter((each) => each.haptics < each.edges).length;
    const text = press === undefined
      ? `${count(this.presses.length)} of ${count(this.total)} presses; ${silent === 0 ? "each edge of the button has its haptic" : `${silent} of them lack a haptic`}.`
      : `Press ${count(press.number)} of ${count(this.total)}: ${describe(press)}; ${milliseconds(press.ended - press.began)} from finger on to finger off.`;
    this.about.replaceChildren(h("span", { class: press !== undefined && hasFault(press) ? "fault-text" : "" }, text));
    this.picture.replaceChildren(drawing(press === undefined ? this.presses : [press], Math.max(320, this.width), text));
    this.steps.replaceChildren(...(press === undefined ? [] : [marksTable(press) as Node]));
  }
}
