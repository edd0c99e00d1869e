// Links from findings to their evidence, and marks at the evidence.
import { type Data, type Finding, type Numbering } from "./data.js";
import { h } from "./dom.js";
import { count } from "./format.js";

/** The records that a press shows, for links into the time axis. */
export interface Shown {
  press: number;
  records: Set<number>;
}

// Which section shows which table of velstat query.
const sections: [tables: RegExp, id: string, title: string][] = [
  [/^handlers$/, "handlers", "handlers"],
  [/^services$/, "device", "services"],
  [/^metrics$/, "metrics", "metrics"],
  [/^log$/, "log", "log"],
  [/^(runs|clocks|defects)$/, "device", "logs and clocks"],
  [/^state$/, "sensors", "sensors"],
  [/./, "records", "records"],
];

export class EvidencePlaces {
  private readonly places = new Map<string, Finding[]>();
  private readonly ids = new Map<string, string>();

  constructor(private readonly data: Data, private readonly numbering: Numbering, private readonly presses: Shown[]) {
    for (const finding of data.findings) {
      const { source, report, path } = finding.evidence;
      if (report !== null && path !== "") {
        const key = this.key(source, report, path);
        this.places.set(key, [...(this.places.get(key) ?? []), finding]);
      }
    }
  }

  /** The id of the element that shows a value of a report, for links. */
  idOf(source: string, report: string | number, path: string): string {
    const key = this.key(source, report, path);
    const id = this.ids.get(key) ?? `value-${this.ids.size + 1}`;
    this.ids.set(key, id);
    return id;
  }

  /** The worst severity of what was found at a value; undefined if nothing was. */
  severityAt(source: string, report: string | number, path: string): Finding["severity"] | undefined {
    return this.places.get(this.key(source, report, path))?.[0]?.severity;
  }

  /** The worst severity of the findings that mention a name and have no record as evidence. */
  severityOf(name: string): Finding["severity"] | undefined {
    return this.data.findings.find((finding) =>
      name.length > 3 && finding.evidence.record === null && `${finding.text} ${finding.next}`.includes(name))?.severity;
  }

  recordsWithFindings(): Map<number, Finding> {
    const found = new Map<number, Finding>();
    for (const finding of [...this.data.findings].reverse()) {
      if (finding.evidence.record !== null) {
        found.set(finding.evidence.record, finding);
      }
    }
    return found;
  }

  links(finding: Finding): HTMLElement[] {
    const { source, report, path, record, tables } = finding.evidence;
    const links: HTMLElement[] = [];
    if (record !== null) {
      const press = this.presses.find((each) => each.records.has(record));
      if (press !== undefined) {
        links.push(h("a", { href: `#press-${press.press}` }, `press ${count(press.press)} on the time axis`));
      }
      if (this.numbering.indexOf(record) !== undefined) {
        links.push(h("a", { href: `#record-${record}` }, `record ${count(record)}`));
      }
    }
    const id = report === null ? undefined : this.idAt(source, report, path);
    if (id !== undefined && path !== "") {
      links.push(h("a", { href: `#${id}` }, path));
    } else if (report !== null && record === null && this.ids.has(this.key(source, report, ""))) {
      links.push(h("a", { href: `#${this.idOf(source, report, "")}` }, `report ${report + 1}`));
    }
    if (links.length === 0) {
      const [, id, title] = sections.find(([pattern]) => tables.some((table) => pattern.test(table))) ?? ["", "records", "records"];
      links.push(h("a", { href: `#${id}` }, title));
    }
    return links;
  }

  // The id of a value's element, or of that of the first value in a dictionary.
  private idAt(source: string, report: number, path: string): string | undefined {
    const key = this.key(source, report, path);
    return this.ids.get(key) ?? this.ids.get([...this.ids.keys()].find((each) => each.startsWith(`${key}/`)) ?? "");
  }

  private key(source: string, report: string | number, path: string): string {
    return `${source}\0${report}\0${path}`;
  }
}

/** A mark next to something that a finding is about. */
export function mark(severity: Finding["severity"] | undefined): HTMLElement | null {
  return severity === undefined ? null : h("a", { class: `badge ${severity}`, href: "#findings" }, severity);
}
