// The list of all records, with filters, search, and one record in full. Only the rows in view exist as elements.
import { type Data, type Finding, type Numbering } from "./data.js";
import { type Decoder, parts } from "./decoder.js";
import { type Child, h, section, terms } from "./dom.js";
import { mark } from "./evidence.js";
import { count, counted } from "./format.js";

const rowHeight = 24;
const spare = 8; // rows made above and below those in view

interface Kind {
  names: string[];
  shown: boolean;
}

export class RecordList {
  readonly element: HTMLElement;
  private readonly kinds = new Map<number, Kind>();
  private readonly all: Uint32Array;
  private chosen: Uint32Array;
  private selected = -1; // a place in `chosen`
  private readonly list = h("div", { class: "list", role: "listbox", tabindex: 0, "aria-label": "Records", id: "record-list" });
  private readonly body = h("div", { class: "body", role: "presentation" });
  private readonly status = h("p", { class: "status", role: "status" });
  private readonly details = h("div", { class: "details", "aria-live": "polite" });
  private readonly search = h("input", { type: "search", placeholder: "Search the exact texts", "aria-label": "Search the exact texts", id: "search" });
  private readonly onlyFindings = h("input", { type: "checkbox", id: "only-findings" });
  private readonly filters: HTMLSelectElement[];
  private readonly rows = new Map<number, HTMLElement>(); // those that exist, by their places in `chosen`

  constructor(private readonly data: Data, private readonly decoder: Decoder, private readonly numbering: Numbering,
              private readonly findings: Map<number, Finding>) {
    this.all = Uint32Array.from({ length: decoder.count }, (_, i) => i);
    this.chosen = this.all;
    decoder.kinds.forEach((kind, index) => {
      if (!this.kinds.has(kind)) {
        this.kinds.set(kind, { names: parts.map((_, part) => decoder.name(index, part)), shown: true });
      }
    });
    this.filters = parts.map((part, place) => h("select", { "aria-label": part, id: `filter-${part}` },
      h("option", { value: "" }, `every ${part}`), this.namesOf(place).map((name) => h("option", { value: name }, name))));
    this.list.append(this.body);
    this.element = this.build();
    this.listen();
    this.showCount();
  }

  /** Selects the record with this number and brings it into view; filters that hide it are cleared. */
  showRecord(number: number): void {
    const index = this.numbering.indexOf(number);
    if (index === undefined) {
      this.status.textContent = `Record ${count(number)} was left out of this page.`;
      return;
    }
    if (!this.chosen.includes(index)) {
      for (const filter of this.filters) {
        filter.value = "";
      }
      this.search.value = "";
      this.onlyFindings.checked = false;
      this.filter();
    }
    this.select(this.chosen.indexOf(index), true);
  }

  private build(): HTMLElement {
    const { records } = this.data;
    const left = records.count - this.decoder.count;
    return section("records", "Records",
      left === 0 ? null : h("p", { class: "remark" },
        `The page holds ${count(this.decoder.count)} of ${counted(records.count, "record")}: those around findings and presses, the first and
         the last, and blocks spread evenly over the rest. A dashed line is where records were left out; velstat decode shows all of them.`),
      h("div", { class: "controls" }, this.filters, this.search,
        this.findings.size === 0 ? null : h("label", {}, this.onlyFindings, " only evidence")),
      this.status,
      h("div", { class: "records" }, this.list, this.details));
  }

  private listen(): void {
    for (const control of [...this.filters, this.onlyFindings]) {
      control.addEventListener("change", () => this.filter());
    }
    this.search.addEventListener("input", () => this.filter());
    let waits = false;
    this.list.addEventListener("scroll", () => {
      if (!waits) {
        waits = true;
        requestAnimationFrame(() => {
          waits = false;
          this.draw();
        });
      }
    });
    new ResizeObserver(() => this.draw()).observe(this.list);
    this.list.addEventListener("click", (event) => {
      const place = (event.target as Element).closest<HTMLElement>("[role=option]")?.dataset["place"];
      if (place !== undefined) {
        this.select(Number(place), false);
      }
    });
    this.list.addEventListener("keydown", (event) => this.move(event));
  }

  private move(event: KeyboardEvent): void {
    const page = Math.max(1, Math.floor(this.list.clientHeight / rowHeight) - 1);
    const steps: Record<string, number> = {
      ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -this.chosen.length, End: this.chosen.length,
    };
    const by = steps[event.key];
    if (by !== undefined) {
      event.preventDefault();
      this.select(Math.min(Math.max(this.selected + by, 0), this.chosen.length - 1), true);
    }
  }

  // The names that the records have for their category, component, event or type.
  private namesOf(part: number): string[] {
    return [...new Set([...this.kinds.values()].map((kind) => kind.names[part] ?? ""))].sort((a, b) => a.localeCompare(b, "en", { numeric: true }));
  }

  private filter(): void {
    const wanted = this.filters.map((filter) => filter.value);
    for (const kind of this.kinds.values()) {
      kind.shown = wanted.every((name, part) => name === "" || kind.names[part] === name);
    }
    const shown = new Map([...this.kinds].map(([id, kind]) => [id, kind.shown]));
    const only = this.onlyFindings.checked;
    const passing = wanted.every((name) => name === "") && !only ? this.all : this.all.filter((index) =>
      shown.get(this.decoder.kinds[index] ?? 0) === true && (!only || this.findings.has(this.numbering.numberOf(index))));
    const index = this.chosen[this.selected];
    this.chosen = this.decoder.search(this.search.value, passing);
    this.selected = index === undefined ? -1 : this.chosen.indexOf(index);
    this.rows.clear();
    this.body.replaceChildren();
    this.list.scrollTop = Math.max(0, this.selected) * rowHeight;
    this.showCount();
    this.draw();
  }

  private showCount(): void {
    this.status.textContent = this.chosen.length === this.decoder.count
      ? counted(this.decoder.count, "record") : `${count(this.chosen.length)} of ${counted(this.decoder.count, "record")}`;
    this.body.style.height = `${this.chosen.length * rowHeight}px`;
  }

  private draw(): void {
    if (this.list.clientHeight === 0) {
      return;
    }
    const first = Math.max(0, Math.floor(this.list.scrollTop / rowHeight) - spare);
    const last = Math.min(this.chosen.length, Math.ceil((this.list.scrollTop + this.list.clientHeight) / rowHeight) + spare);
    for (const [place, row] of this.rows) {
      if (place < first || place >= last) {
        row.remove();
        this.rows.delete(place);
      }
    }
    for (let place = first; place < last; ++place) {
      if (!this.rows.has(place)) {
        const row = this.row(place);
        this.rows.set(place, row);
        this.body.append(row);
      }
    }
    this.showActive();
  }

  private row(place: number): HTMLElement {
    const index = this.chosen[place] ?? 0;
    const number = this.numbering.numberOf(index);
    const names = this.kinds.get(this.decoder.kinds[index] ?? 0)?.names ?? [];
    const finding = this.findings.get(number);
    const gap = place > 0 && this.numbering.followsGap(index);
    const row = h("div", {
      class: `row ${finding?.severity ?? ""} ${gap ? "gap" : ""}`, role: "option", id: `row-${place}`, "data-place": place,
      "aria-setsize": this.chosen.length, "aria-posinset": place + 1,
    },
      h("span", { class: "number" }, count(number)),
      h("span", { class: "time" }, (this.decoder.timestamp(index) / 1e6).toFixed(6)),
      names.map((name) => h("span", {}, name)),
      h("span", { class: "text" }, this.valuesOf(index)));
    row.style.transform = `translateY(${place * rowHeight}px)`;
    return row;
  }

  // The first fields of a record in one line.
  private valuesOf(index: number): string {
    return this.decoder.fields(index).slice(0, 8).map((field) => `${field.key} ${field.value}`).join(", ");
  }

  private select(place: number, scroll: boolean): void {
    this.selected = place;
    if (scroll) {
      const top = place * rowHeight;
      const view = this.list.clientHeight;
      if (top < this.list.scrollTop || top + rowHeight > this.list.scrollTop + view) {
        this.list.scrollTop = Math.max(0, top - view / 2);
      }
    }
    this.draw();
    this.showDetails();
  }

  private showActive(): void {
    for (const [place, row] of this.rows) {
      const selected = String(place === this.selected);
      if (row.getAttribute("aria-selected") !== selected) {
        row.setAttribute("aria-selected", selected);
      }
    }
    const active = this.rows.get(this.selected);
    if (active === undefined) {
      this.list.removeAttribute("aria-activedescendant");
    } else {
      this.list.setAttribute("aria-activedescendant", active.id);
    }
  }

  private showDetails(): void {
    const index = this.chosen[this.selected];
    this.details.replaceChildren(...(index === undefined ? [] : this.detailsOf(index)));
  }

  private detailsOf(index: number): HTMLElement[] {
    const number = this.numbering.numberOf(index);
    const finding = this.findings.get(number);
    const text = this.decoder.text(index);
    const copy = h("button", { type: "button" }, "Copy the text");
    copy.addEventListener("click", () => void navigator.clipboard.writeText(text));
    const bytes = Array.from(this.decoder.bytesOf(index), (byte) => byte.toString(16).padStart(2, "0"));
    const lines = Array.from({ length: Math.ceil(bytes.length / 16) }, (_, i) => bytes.slice(16 * i, 16 * i + 16).join(" "));
    const fields = this.decoder.fields(index).map((field): [string, Child] => [field.key, field.value]);
    return [
      h("h3", {}, `Record ${count(number)} `, mark(finding?.severity)),
      ...(finding === undefined ? [] : [h("p", {}, finding.text)]),
      h("pre", { class: "exact", tabindex: 0, "aria-label": "Exact text" }, text), copy,
      terms(fields),
      h("pre", { class: "bytes", tabindex: 0, "aria-label": "Bytes" }, lines.join("\n")),
    ];
  }
}
