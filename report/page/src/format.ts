// Formats numbers for people.

export function count(number: number): string {
  return number.toLocaleString("en-US");
}

export function counted(number: number, what: string): string {
  return `${count(number)} ${what}${number === 1 ? "" : "s"}`;
}

/** Microseconds as milliseconds, with three or four digits. */
export function milliseconds(microseconds: number): string {
  const value = microseconds / 1000;
  return `${value >= 100 ? value.toFixed(0) : value >= 10 ? value.toFixed(1) : value.toFixed(2)} ms`;
}

export function decimal(value: number): string {
  return Number.isInteger(value) ? String(value) : String(Number(value.toPrecision(5)));
}

export function bytes(size: number): string {
  return size < 1e6 ? `${(size / 1e3).toFixed(1)} KB` : `${(size / 1e6).toFixed(1)} MB`;
}
