// The haptic assets as a grid of events and speeds, in which disabled assets are marked.
import { type Data, type Device, type Row, grouped, numberAt, rowsOf, textAt } from "./data.js";
import { type Child, h, section } from "./dom.js";
import { type EvidencePlaces, mark } from "./evidence.js";

function cell(row: Row | undefined, good: Row | undefined, places: EvidencePlaces): HTMLElement {
  if (row === undefined) {
    return h("td", { class: "absent" }, "–");
  }
  const [source, report, path] = [textAt(row, "source"), textAt(row, "report"), textAt(row, "path")];
  const enabled = numberAt(row, "enabled") === 1;
  const unexpected = !enabled && numberAt(row, "ordinary") === 1;
  const differs = good !== undefined && textAt(good, "value") !== textAt(row, "value");
  const details = textAt(row, "details").split(" ").filter((part) => part !== "");
  return h("td", { id: places.idOf(source, report, path), class: enabled ? "on" : unexpected ? "off unexpected" : "off" },
    h("strong", {}, enabled ? "on" : unexpected ? "OFF" : "off"), " ", mark(places.severityAt(source, report, path)),
    details.map((part) => h("span", { class: "part" }, part)),
    differs ? h("span", { class: "differs" }, `reference: ${textAt(good, "value")}`) : null);
}

function grid(rows: Row[], reference: Map<string, Row>, places: EvidencePlaces): HTMLElement {
  const speeds = [...grouped(rows, (row) => textAt(row, "speed")).keys()];
  const events = grouped(rows, (row) => textAt(row, "event"));
  return h("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Haptic assets" },
    h("table", { class: "grid" },
      h("thead", {}, h("tr", {}, h("th", { scope: "col" }, "Event"), speeds.map((speed) => h("th", { scope: "col" }, speed)))),
      h("tbody", {}, [...events].map(([event, slots]) => h("tr", {}, h("th", { scope: "row" }, event),
        speeds.map((speed) => {
          const row = slots.find((each) => textAt(each, "speed") === speed);
          return cell(row, row && reference.get(textAt(row, "path")), places);
        }))))));
}

function disabledText(rows: Row[]): Child {
  const off = rows.filter((row) => numberAt(row, "enabled") === 0 && numberAt(row, "ordinary") === 1);
  return off.length === 0
    ? "All assets that ordinary clicks need are enabled."
    : `${off.length} of the assets that ordinary clicks need are disabled: ${off.map((row) => textAt(row, "path")).join(", ")}.`;
}

export function assetsSection(data: Data, places: EvidencePlaces): HTMLElement | null {
  const rows = rowsOf(data.device, "assets");
  if (rows.length === 0) {
    return null;
  }
  const reference = new Map((data.reference === null ? [] : rowsOf(data.reference as Device, "assets"))
    .map((row) => [textAt(row, "path"), row]));
  const reports = grouped(rows, (row) => `${textAt(row, "source")}, report ${numberAt(row, "report") + 1}`);
  return section("assets", "Haptic assets",
    h("p", {}, disabledText(rows)),
    [...reports].map(([title, assets]) => [reports.size > 1 ? h("h3", {}, title) : null, grid(assets, reference, places)]));
}
