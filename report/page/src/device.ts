// An overview of the device: inputs, services, logs, clocks, and the defects of the inputs.
import { type Data, type Device, type Row, numberAt, rowsOf, textAt } from "./data.js";
import { type Child, h, section, table, terms } from "./dom.js";
import { type EvidencePlaces, mark } from "./evidence.js";
import { bytes, count, counted } from "./format.js";

function seconds(microseconds: number): string {
  return `${(microseconds / 1e6).toFixed(6)} s`;
}

function overview(device: Device): Child {
  return device.inputs.map((input) => terms([
    ["Input", `${input.name}, ${input.kind}${input.size === 0 ? "" : `, ${bytes(input.size)}`}`],
    ...(input.device === "" ? [] : [["Device", input.device] as [string, Child]]),
    ...(input.model === "" ? [] : [["Model", input.model] as [string, Child]]),
    ...(input.plugIn === "" ? [] : [["Plug-in", `${input.plugIn}, api ${input.api}`] as [string, Child]]),
  ]));
}

function servicesTable(device: Device, places: EvidencePlaces): Child {
  const services = rowsOf(device, "services");
  if (services.length === 0) {
    return null;
  }
  const problem = (row: Row) => numberAt(row, "handlers") === 0 || numberAt(row, "opened") === 0;
  return [
    h("h3", {}, "Services"),
    table<Row>("Services", [
      { title: "Service", of: (row) => [textAt(row, "name"), " ", mark(places.severityOf(textAt(row, "name")))] },
      { title: "Usages", of: (row) => textAt(row, "usages") },
      { title: "State handlers", of: (row) => count(numberAt(row, "handlers")), number: true },
      { title: "Answered", of: (row) => count(numberAt(row, "answered")), number: true },
      { title: "", of: (row) => (problem(row) ? "not taken" : "") },
    ], services, (row) => ({ class: problem(row) ? "bad" : "" })),
  ];
}

function logsTable(device: Device): Child {
  const runs = rowsOf(device, "runs");
  if (runs.length === 0) {
    return null;
  }
  return [
    h("h3", {}, "Logs of the co-processor"),
    table<Row>("Logs of the co-processor", [
      { title: "Log", of: (row) => textAt(row, "log") || "–" },
      { title: "Begins", of: (row) => textAt(row, "start") },
      { title: "Records", of: (row) => count(numberAt(row, "records")), number: true },
      { title: "From", of: (row) => seconds(numberAt(row, "first_time")), number: true },
      { title: "To", of: (row) => seconds(numberAt(row, "last_time")), number: true },
      { title: "Numbers", of: (row) => `${textAt(row, "first_sequence")} to ${textAt(row, "last_sequence")}`, number: true },
      { title: "Missing", of: (row) => count(numberAt(row, "missing")), number: true },
    ], runs, (row) => ({ class: textAt(row, "start") !== "first" || numberAt(row, "missing") > 0 ? "bad" : "" })),
  ];
}

function remarks(device: Device): Child {
  const defects = rowsOf(device, "defects");
  const clocks = rowsOf(device, "clocks");
  return [
    clocks.length === 0 ? null : h("p", {}, clocks.map((row) =>
      `The co-processor's clock began at ${textAt(row, "zero")} UTC, as ${counted(numberAt(row, "lines"), "line")} tell. `)),
    defects.length === 0 ? null : [
      h("h3", {}, "Defects of the inputs"),
      h("ul", {}, defects.map((row) => h("li", {}, textAt(row, "text"), " ", h("span", { class: "rule" }, textAt(row, "kind"))))),
    ],
  ];
}

function about(device: Device, places: EvidencePlaces): Child {
  return [overview(device), servicesTable(device, places), logsTable(device), remarks(device)];
}

export function deviceSection(data: Data, places: EvidencePlaces): HTMLElement {
  const { categories } = data.records;
  return section("device", "Device",
    about(data.device, places),
    categories.length === 0 ? null : h("p", {}, `${counted(data.records.count, "record")}: `,
      categories.map(([name, number]) => `${name} ${count(number)}`).join(", ")),
    data.reference === null ? null : h("details", {}, h("summary", {}, "The reference"), about(data.reference, places)));
}
