// A card for each sensor: what it is, its matrices, registers, clients and dropped events.
import { type Data, type Row, grouped, numberAt, rowsOf, textAt } from "./data.js";
import { type Child, h, section } from "./dom.js";
import { type EvidencePlaces, mark } from "./evidence.js";
import { count } from "./format.js";

function matrix(text: string): Child {
  const rows = text.split(/[|,]/).map((row) => row.trim().split(/\s+/));
  if (rows.length < 2 || rows.some((row) => row.length !== rows[0]?.length)) {
    return text;
  }
  return h("table", { class: "matrix" }, h("tbody", {}, rows.map((row) => h("tr", {}, row.map((number) => h("td", {}, number))))));
}

function registers(text: string): Child {
  const parts = text.replace(/^"|"$/g, "").trim().split(/\s+/).map((part) => part.split("="));
  if (parts.some((part) => part.length !== 2)) {
    return text;
  }
  return h("span", { class: "registers" }, parts.map(([name, value]) => h("span", {}, h("b", {}, name), ` ${value ?? ""}`)));
}

function events(row: Row): Child {
  const dropped = numberAt(row, "dropped");
  const all = numberAt(row, "delivered") + dropped;
  if (!(all > 0) || dropped < 0) {
    return textAt(row, "value");
  }
  const share = (100 * dropped) / all;
  return [
    `${count(all)}, of which ${count(dropped)} were dropped (${share < 0.05 ? share.toFixed(3) : share.toFixed(1)} %)`,
    h("meter", { min: 0, max: 100, low: 1, high: 5, optimum: 0, value: share, "aria-label": "dropped events in percent" }),
  ];
}

function value(row: Row): Child {
  const text = textAt(row, "value");
  switch (textAt(row, "kind")) {
    case "matrix": return matrix(text);
    case "registers": return registers(text);
    case "events": return events(row);
    default: return text;
  }
}

function card(rows: Row[], good: Row[] | undefined, places: EvidencePlaces): HTMLElement {
  const [source, report] = [textAt(rows[0], "source"), textAt(rows[0], "report")];
  const named = (path: string) => textAt(rows.find((row) => textAt(row, "path") === path), "value");
  const names = rows.filter((row) => textAt(row, "kind") === "name");
  const title = textAt(names[0], "value") || "a sensor without a name";
  const reference = new Map(good?.map((row) => [textAt(row, "path"), textAt(row, "value")]));
  const items = rows.filter((row) => textAt(row, "kind") !== "name" || places.severityAt(source, report, textAt(row, "path")) !== undefined);
  return h("article", { class: "card", id: places.idOf(source, report, "") },
    h("h3", {}, title, " ", h("small", {}, names.slice(1).map((row) => named(textAt(row, "path"))).join(" · "))),
    h("dl", {}, items.map((row) => {
      const path = textAt(row, "path");
      const text = textAt(row, "value");
      const before = reference.get(path);
      return h("div", { id: places.idOf(source, report, path), class: `${textAt(row, "kind")} ${places.severityAt(source, report, path) ?? ""}` },
        h("dt", {}, path, " ", mark(places.severityAt(source, report, path))),
        h("dd", {}, value(row), before !== undefined && before !== text ? h("span", { class: "differs" }, `reference: ${before}`) : null));
    })));
}

function cardsOf(rows: Row[]): Row[][] {
  return [...grouped(rows, (row) => `${textAt(row, "source")}\0${textAt(row, "report")}`).values()];
}

function nameOf(rows: Row[]): string {
  return textAt(rows.find((row) => textAt(row, "kind") === "name"), "value");
}

export function sensorsSection(data: Data, places: EvidencePlaces): HTMLElement | null {
  const cards = cardsOf(rowsOf(data.device, "sensors"));
  const good = data.reference === null ? [] : cardsOf(rowsOf(data.reference, "sensors"));
  const lacking = good.map(nameOf).filter((name) => !cards.some((rows) => nameOf(rows) === name));
  if (cards.length === 0 && lacking.length === 0) {
    return null;
  }
  return section("sensors", "Sensors",
    lacking.length === 0 ? null : h("p", { class: "bad" }, `Only the reference has: ${lacking.join(", ")}.`),
    h("div", { class: "cards" }, cards.map((rows) => card(rows, good.find((each) => nameOf(each) === nameOf(rows)), places))));
}
