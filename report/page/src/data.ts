// The data that velstat report has put into the page: small tables, findings and which records the page holds.
import type { Times } from "./decoder.js";

export type Cell = string | number | null;

/** The rows of a query. */
export interface Table {
  columns: string[];
  rows: Cell[][];
  /** There were more rows than the page takes. */
  more?: boolean;
}

export type Row = Record<string, Cell>;

export interface Input {
  name: string;
  kind: string;
  size: number;
  device: string;
  model: string;
  plugIn: string;
  api: number;
}

export interface Evidence {
  source: string;
  report: number | null;
  path: string;
  /** The record's number, from 1. */
  record: number | null;
  /** The tables that the rule looks at. */
  tables: string[];
}

export interface Finding {
  rule: string;
  severity: "error" | "warning" | "note";
  text: string;
  why: string;
  next: string;
  more: number;
  evidence: Evidence;
}

export interface Latency {
  kind: string;
  count: number;
  min: number;
  p50: number;
  p99: number;
  max: number;
  slowest: number;
  /** Buckets of 5 %, and how many there are in each. */
  distribution: [bucket: number, count: number][];
  course: [time: number, greatest: number, mean: number, record: number][];
}

export interface Device {
  inputs: Input[];
  tables: Record<string, Table>;
  latencies: Latency[];
}

export interface Data {
  device: Device;
  reference: Device | null;
  findings: Finding[];
  rules: number;
  /** The rules and queries that did not finish, such as for lack of time or memory. */
  unfinished: string[];
  records: {
    count: number;
    categories: [name: string, count: number][];
    /** Which records the page has: the number of the first, from 1, and how many. */
    parts: [first: number, count: number][];
    times: Times;
  };
}

/** A table's rows by the names of their columns. */
export function rowsOf(device: Device, name: string): Row[] {
  const table = device.tables[name];
  return table === undefined
    ? []
    : table.rows.map((row) => Object.fromEntries(table.columns.map((column, i) => [column, row[i] ?? null])));
}

export function textAt(row: Row | undefined, column: string): string {
  const cell = row?.[column];
  return cell === null || cell === undefined ? "" : String(cell);
}

export function numberAt(row: Row | undefined, column: string): number {
  return Number(row?.[column] ?? 0);
}

/** Items grouped by their keys; groups are in the order of their first items. */
export function grouped<Item>(rows: Item[], key: (row: Item) => string): Map<string, Item[]> {
  const groups = new Map<string, Item[]>();
  for (const row of rows) {
    const name = key(row);
    const group = groups.get(name);
    if (group === undefined) {
      groups.set(name, [row]);
    } else {
      group.push(row);
    }
  }
  return groups;
}

/** Converts between a record's place in the page and its number in the input. */
export class Numbering {
  private readonly before: number[] = []; // records of the page before each part

  constructor(private readonly parts: [first: number, count: number][]) {
    let count = 0;
    for (const [, length] of parts) {
      this.before.push(count);
      count += length;
    }
  }

  /** The record's number, from 1. */
  numberOf(index: number): number {
    const part = this.lastAtMost(this.before, index);
    return (this.parts[part]?.[0] ?? 1) + index - (this.before[part] ?? 0);
  }

  /** The record's place in the page; undefined if it was left out. */
  indexOf(number: number): number | undefined {
    const part = this.lastAtMost(this.parts.map(([first]) => first), number);
    const [first, count] = this.parts[part] ?? [0, 0];
    return number >= first && number < first + count ? (this.before[part] ?? 0) + number - first : undefined;
  }

  /** Whether records were left out just before this one. */
  followsGap(index: number): boolean {
    return index > 0 && this.numberOf(index) !== this.numberOf(index - 1) + 1;
  }

  private lastAtMost(sorted: number[], value: number): number {
    let low = 0;
    let high = sorted.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if ((sorted[middle] ?? 0) <= value) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return Math.max(0, low - 1);
  }
}
