// The findings, worst first, each with links to its evidence. Findings of the same rule share an explanation.
import { type Data, type Finding, grouped } from "./data.js";
import { h, section } from "./dom.js";
import { type EvidencePlaces } from "./evidence.js";
import { counted } from "./format.js";

function seen(finding: Finding, places: EvidencePlaces): HTMLElement[] {
  const links = places.links(finding);
  return [
    h("h3", {}, h("span", { class: `badge ${finding.severity}` }, finding.severity), " ", finding.text),
    h("p", { class: "where" }, h("b", {}, "Evidence: "), links.flatMap((link, i) => (i === 0 ? [link] : [", ", link])),
      finding.more === 0 ? null : ` and ${counted(finding.more, "more place")}`),
  ];
}

// Findings of the same rule.
function article(findings: Finding[], places: EvidencePlaces): HTMLElement {
  const [first] = findings;
  return h("article", { class: `finding ${first?.severity ?? ""}` },
    findings.map((each) => seen(each, places)),
    h("p", { class: "why" }, first?.why),
    h("p", { class: "next" }, h("b", {}, "Next: "), first?.next, h("span", { class: "rule" }, first?.rule)));
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
    data.unfinished.length === 0 ? null : [
      h("p", { class: "bad" }, "Not all rules and tables could be finished, so more may be wrong:"),
      h("ul", {}, data.unfinished.map((line) => h("li", {}, line)))],
    [...grouped(findings, (each) => each.rule).values()].map((each) => article(each, places)));
}
