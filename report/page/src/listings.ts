// What is shown as plain tables: other values of reports, metrics, the log, and handlers that returned nothing.
import { type Data, type Row, grouped, numberAt, rowsOf, textAt } from "./data.js";
import { type Child, type Column, h, section, svg, table } from "./dom.js";
import { type EvidencePlaces, mark } from "./evidence.js";
import { count, counted, decimal } from "./format.js";

const tooMany = "There are more than the page takes; velstat query shows all.";

function more(data: Data, name: string): Child {
  return data.device.tables[name]?.more === true ? h("p", { class: "remark" }, tooMany) : null;
}

export function reportsSection(data: Data, places: EvidencePlaces): HTMLElement | null {
  const rows = rowsOf(data.device, "reports");
  if (rows.length === 0) {
    return null;
  }
  const key = (row: Row) => `${textAt(row, "title")}\0${textAt(row, "path")}`;
  const reference = data.reference === null ? undefined : new Map(rowsOf(data.reference, "reports").map((row) => [key(row), textAt(row, "value")]));
  const place = (row: Row) => [textAt(row, "source"), textAt(row, "report"), textAt(row, "path")] as const;
  const columns: Column<Row>[] = [
    { title: "Value", of: (row) => [textAt(row, "path"), " ", mark(places.severityAt(...place(row)))] },
    { title: "", of: (row) => textAt(row, "value"), number: true },
  ];
  if (reference !== undefined) {
    columns.push({ title: "Reference", of: (row) => reference.get(key(row)) ?? "–", number: true });
  }
  const reports = [...grouped(rows, (row) => `${textAt(row, "source")}\0${textAt(row, "report")}`).values()];
  return section("reports", "Reports", reports.map((values) => {
    const title = textAt(values[0], "title") || `report ${numberAt(values[0], "report") + 1}`;
    return h("details", { open: reports.length <= 3 },
      h("summary", { id: places.idOf(textAt(values[0], "source"), textAt(values[0], "report"), "") }, title),
      table(title, columns, values, (row) => ({
        id: places.idOf(...place(row)), class: places.severityAt(...place(row)) === undefined ? "" : "bad",
      })));
  }), more(data, "reports"));
}

// A box from the median to the 90th percentile, and a line from the least to the greatest.
function box(row: Row, low: number, high: number): SVGElement {
  const [width, height] = [180, 16];
  const x = (name: string) => 2 + ((numberAt(row, name) - low) / Math.max(high - low, 1e-9)) * (width - 4);
  return svg("svg", { class: "box", width, height, role: "img",
      "aria-label": `from ${textAt(row, "min")} to ${textAt(row, "max")}, median ${textAt(row, "p50")}` },
    svg("line", { x1: x("min"), x2: x("max"), y1: 8, y2: 8 }),
    svg("rect", { x: x("p50"), y: 3, width: Math.max(1, x("p90") - x("p50")), height: 10 }),
    svg("line", { x1: x("p50"), x2: x("p50"), y1: 1, y2: 15, class: "median" }),
    svg("line", { x1: x("p99"), x2: x("p99"), y1: 4, y2: 12 }));
}

export function metricsSection(data: Data, places: EvidencePlaces): HTMLElement | null {
  const rows = rowsOf(data.device, "metrics");
  if (rows.length === 0) {
    return null;
  }
  const reference = new Map(data.reference === null ? [] : rowsOf(data.reference, "metrics").map((row) => [textAt(row, "key"), row]));
  const compared = data.reference !== null;
  const key: Column<Row> = { title: "Metric", of: (row) => [textAt(row, "key"), " ", mark(places.severityOf(textAt(row, "key")))] };
  const number = (title: string, name: string): Column<Row> => ({
    title, number: true, of: (row) => (row[name] === null || row[name] === undefined ? "" : decimal(numberAt(row, name))),
  });
  const good = (title: string, name: string): Column<Row> => ({
    title, number: true, of: (row) => {
      const found = reference.get(textAt(row, "key"));
      return found === undefined ? "–" : decimal(numberAt(found, name));
    },
  });
  const marked = (row: Row) => ({ class: places.severityOf(textAt(row, "key")) === undefined ? "" : "bad" });
  const scalars = rows.filter((row) => textAt(row, "kind") === "scalar");
  const distributions = rows.filter((row) => textAt(row, "kind") !== "scalar");
  const drawn = (row: Row): Child => {
    const both = [row, reference.get(textAt(row, "key"))].filter((each): each is Row => each !== undefined);
    const low = Math.min(...both.map((each) => numberAt(each, "min")));
    const high = Math.max(...both.map((each) => numberAt(each, "max")));
    return both.map((each, i) => h("div", { class: i === 0 ? "" : "good" }, box(each, low, high)));
  };
  return section("metrics", "Metrics",
    scalars.length === 0 ? null : table("Counters", [key, number("Value", "value"), ...(compared ? [good("Reference", "value")] : [])], scalars, marked),
    distributions.length === 0 ? null : table("Distributions",
      [key, number("Count", "count"), number("Mean", "mean"), ...(compared ? [good("Reference", "mean")] : []), number("Least", "min"),
        number("Median", "p50"), number("90 %", "p90"), number("99 %", "p99"), number("Greatest", "max"), { title: "Spread", of: drawn }],
      distributions, marked),
    more(data, "metrics"));
}

export function logSection(data: Data): HTMLElement | null {
  const rows = rowsOf(data.device, "log");
  if (rows.length === 0) {
    return null;
  }
  // Messages that differ only in numbers say the same.
  const kinds = [...grouped(rows, (row) => `${textAt(row, "level")}\0${textAt(row, "message").replace(/0x[0-9a-f]+|\d+/gi, "#")}`).values()]
    .sort((a, b) => b.length - a.length);
  const columns: Column<Row>[] = [
    { title: "Time", of: (row) => textAt(row, "time").replace("T", " ").replace("Z", "") },
    { title: "Level", of: (row) => textAt(row, "level") },
    { title: "Category", of: (row) => textAt(row, "category") },
    { title: "Message", of: (row) => textAt(row, "message") },
  ];
  return section("log", "Log",
    table<Row[]>("Kinds of log lines", [
      { title: "Lines", of: (lines) => count(lines.length), number: true },
      { title: "Level", of: (lines) => textAt(lines[0], "level") },
      { title: "Such as", of: (lines) => textAt(lines[0], "message") },
    ], kinds.slice(0, 20)),
    h("details", {}, h("summary", {}, `All ${counted(rows.length, "line")}`), table("Log", columns, rows)),
    more(data, "log"));
}

export function handlersSection(data: Data, places: EvidencePlaces): HTMLElement | null {
  const rows = rowsOf(data.device, "handlers");
  if (rowsOf(data.device, "services").length === 0 && rows.length === 0) {
    return null;
  }
  const failed = (row: Row) => numberAt(row, "failed") === 1;
  return section("handlers", "Handlers that returned nothing",
    rows.length === 0 ? h("p", {}, "All state handlers returned a record.") : table<Row>("Handlers that returned nothing", [
      { title: "Service", of: (row) => [textAt(row, "service") || "–", " ", failed(row) ? mark(places.severityOf(textAt(row, "service"))) : null] },
      { title: "Handlers", of: (row) => `${count(numberAt(row, "handlers"))} of ${count(numberAt(row, "all_handlers"))}`, number: true },
      { title: "Numbers", of: (row) => `${textAt(row, "first")} to ${textAt(row, "last")}`, number: true },
      { title: "Result", of: (row) => (row["result"] === null ? "" : `0x${numberAt(row, "result").toString(16)}`), number: true },
      { title: "", of: (row) => textAt(row, "result_text") },
    ], rows, (row) => ({ class: failed(row) ? "bad" : "" })),
    more(data, "handlers"));
}
