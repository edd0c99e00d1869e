// The findings, worst first, each with links to its evidence.
import { type Data, type Finding } from "./data.js";
import { h, section } from "./dom.js";
import { type EvidencePlaces } from "./evidence.js";
import { counted } from "./format.js";

function finding(each: Finding, places: EvidencePlaces): HTMLElement {
  const links = places.links(each);
  return h("article", { class: `finding ${each.severity}` },
    h("h3", {}, h("span", { class: `badge ${each.severity}` }, each.severity), " ", each.text),
    h("p", { class: "why" }, each.why),
    h("p", { class: "next" }, h("b", {}, "Next: "), each.next),
    h("p", { class: "where" }, h("b", {}, "Evidence: "), links.flatMap((link, i) => (i === 0 ? [link] : [", ", link])),
      each.more === 0 ? null : ` and ${counted(each.more, "more place")}`,
      h("span", { class: "rule" }, each.rule)));
}

export function summaryOf(findings: Finding[]): string {
  const parts = (["error", "warning", "note"] as const).map((severity) => {
    const number = findings.filter((each) => each.severity === severity).length;
    return number === 0 ? "" : counted(number, severity);
  });
  return parts.filter((part) => part !== "").join(", ") || "Nothing found";
}

export function findingsSection(data: Data, places: EvidencePlaces): HTMLElement {
  const { findings } = data;
  return section("findings", "Findings",
    h("p", { class: "verdict" }, `${summaryOf(findings)} by ${counted(data.rules, "rule")}`,
      findings.length === 0 ? ". The rules know the faults that have been seen so far; the page shows everything else." : "."),
    findings.map((each) => finding(each, places)));
}
